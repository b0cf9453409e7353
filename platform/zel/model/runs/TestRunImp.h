#pragma once

#include <zel/model/devices/DeviceImp.h>
#include <zel/model/module/TestImp.h>
#include <zel/model/runs/TestRunEventImp.h>
#include <zel/model/vocabulary/TestStateImp.h>

#include <deque>
#include <optional>

namespace zel {

/// One run of one test on one device: its parameters, its progress, its events, its result.
class ZEL_EXPORT TestRunImp
{
public:
    /// A new run of its own guid. Takes a copy of the test's parameters as they are now. Running a run
    /// without test or device is refused.
    TestRunImp(TestImp* test, DeviceImp* device);

    /// A run that was made elsewhere, under the guid that it has there. It names its test by guid, or by key in
    /// the module, and its device by guid; until bind() it has neither. State, pass, times, events and result
    /// are set as they are. Throws StateException for an empty guid.
    static TestRunImp restored(String const& guid, String const& testGuidOrKey, String const& deviceGuid);
    /// A value that the run was given elsewhere; taken in by bind().
    struct ParameterValue
    {
        String key;
        ValueImp value; ///< a text for a parameter of another type is read as in a settings file
        ParameterSourceImp source;
    };
    void restoreParameter(ParameterValue value) { m_restoredParameters.push_back(std::move(value)); }
    /// The values that the run was given, bound or not. What the others have is the test's default.
    std::vector<ParameterValue> givenParameters() const;
    /// From here on the run is of this test and this device, with the test's parameters and the restored
    /// values in them. Throws StateException, and the run stays as it is, when it names another test or
    /// device, or has a value that the test has no parameter for or that the parameter cannot take.
    void bind(TestImp& test, DeviceImp& device);
    /// A copy that is of no test and device yet: it names them, and has the values that this run was given.
    TestRunImp unbound() const;
    /// What the run names, bound or not; empty: nothing.
    String const& testGuidOrKey() const noexcept { return m_test ? m_test->guid() : m_testName; }
    String const& deviceGuid() const noexcept { return m_device ? m_device->guid() : m_deviceName; }

    String const& guid() const noexcept { return m_guid; }
    TestImp* test() const noexcept { return m_test; }
    DeviceImp* device() const noexcept { return m_device; }

    unsigned currentPass() const noexcept { return m_currentPass; }
    void setCurrentPass(unsigned pass) noexcept { m_currentPass = pass; }
    TestStateImp const& state() const noexcept { return m_state; }
    void setState(TestStateImp const& state) { m_state = state; }

    /// Percent, 0 to 100; -1 before the first report.
    int percentComplete() const noexcept { return m_percentComplete; }
    void setPercentComplete(int percent) noexcept { m_percentComplete = percent; }
    unsigned estimatedTimeLeft() const noexcept { return m_estimatedTimeLeft; } ///< seconds
    void setEstimatedTimeLeft(unsigned seconds) noexcept { m_estimatedTimeLeft = seconds; }
    String const& progressInformation() const noexcept { return m_progressInformation; }
    void setProgressInformation(String const& text) { m_progressInformation = text; }

    /// Seconds for which the test is to be repeated; 0: run once.
    unsigned minTime() const noexcept { return m_minTime; }
    void setMinTime(unsigned seconds) noexcept { m_minTime = seconds; }
    /// Milliseconds since the process's steady clock began.
    std::uint64_t beginningTime() const noexcept { return m_beginningTime; }
    void setBeginningTime(std::uint64_t milliseconds) noexcept { m_beginningTime = milliseconds; }

    void addEvent(TestRunEventImp event);
    /// Takes the oldest event that nobody has taken yet.
    std::optional<TestRunEventImp> nextEvent();
    /// Those that nobody has taken yet, the oldest first.
    std::deque<TestRunEventImp> const& events() const noexcept { return m_events; }
    void clearEvents() { m_events.clear(); }

    /// A question of the test ended without an answer, by a stop or the end of input: what the test makes of
    /// the answer that it got is nobody's finding, unless it had reported an error before.
    void interrupt() noexcept { m_isInterrupted |= !m_hasErrors; }
    bool isInterrupted() const noexcept { return m_isInterrupted; }
    /// Whether it has reported an error, taken by somebody or not.
    bool hasErrors() const noexcept { return m_hasErrors; }
    /// Of a run that was made elsewhere: what its events do not tell any more.
    void restoreFindings(bool hadErrors, bool isInterrupted) noexcept
    {
        m_hasErrors |= hadErrors;
        m_isInterrupted = isInterrupted;
    }

    TestResultImp const& result() const noexcept { return m_result; }
    void setFinalResult(TestResultImp const& result) { m_result = result; }
    /// What whoever reads the result must know beside it: that the settings forced it, say. Empty: nothing.
    String const& resultNote() const noexcept { return m_resultNote; }
    void setResultNote(String const& note) { m_resultNote = note; }
    /// The settings gave the result, and the test did not run.
    bool isResultForced() const noexcept { return m_isResultForced; }
    void setResultForced(bool isForced) { m_isResultForced = isForced; }

    /// The run's own copy of the test's parameter; null when it has none of that key.
    ParameterImp* parameter(String const& key);
    ParameterImp const* parameter(String const& key) const;
    std::deque<ParameterImp> const& parameters() const noexcept { return m_parameters; }

    /// "{test key} on {device name} ({device location}), pass {n}".
    String toString() const;

private:
    String m_guid;
    TestImp* m_test;
    DeviceImp* m_device;
    String m_testName, m_deviceName; // of a restored run
    std::vector<ParameterValue> m_restoredParameters;
    unsigned m_currentPass = 1;
    TestStateImp m_state = TestStateImp::NOTSTARTED();
    int m_percentComplete = -1;
    unsigned m_estimatedTimeLeft = 0;
    String m_progressInformation;
    unsigned m_minTime = 0;
    std::uint64_t m_beginningTime = 0;
    std::deque<TestRunEventImp> m_events;
    bool m_hasErrors = false; // an event of type ERR was added
    bool m_isInterrupted = false;
    TestResultImp m_result;
    String m_resultNote;
    bool m_isResultForced = false;
    std::deque<ParameterImp> m_parameters;
};

} // namespace zel
