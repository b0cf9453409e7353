#pragma once
// Which run is current, for all who ask.

namespace zel {
class TestRunImp;
}

namespace krel5 {

/// Makes a run the current one for as long as the object lives. The facade takes reports about it and answers
/// the test's queries until closeForReports(); the backend finds it at zel::TestRunManager to the end, since
/// the final result goes out after the last report. Nobody else sets either of the two.
/// Thread rule: main thread; takes the library mutex.
class CurrentRun
{
public:
    explicit CurrentRun(zel::TestRunImp& run);
    CurrentRun(CurrentRun const&) = delete;
    CurrentRun& operator=(CurrentRun const&) = delete;
    ~CurrentRun();

    /// A thread that the test left behind has been heard before this returns, or is not heard any more.
    void closeForReports();
};

} // namespace krel5
