#pragma once
// The work of an indicator module: which indicators look at which devices, and when.

#include <krel5/TestResult.h>

#include <vector>

namespace zel {
class DeviceImp;
class IndicatorRunImp;
} // namespace zel

namespace krel5 {

class CommInterface;

/// Serves the indicator runs of the state manager until somebody asks to stop. Thread rule: main thread; devices, runs and
/// alerts may come and go meanwhile, from other threads and from the functions that it calls.
class IndicatorLoop
{
public:
    static constexpr unsigned kPause = 100; ///< milliseconds between two passes

    explicit IndicatorLoop(CommInterface& comm) : m_comm(comm) {}
    /// Returns PASS when the module is to stop. What a function throws goes through.
    TestResult run();
    /// Calls what is due or forced, and every free indicator, each once; runs that are added meanwhile too, but for those of a
    /// device that was called, went and came back: they have their turn in the next pass. Then frees what was removed. Ends
    /// early at a stop request.
    void pass();

    /// Ties the indicators of this module that are for the device to it, where they are not yet. Under the library mutex.
    static void tie(zel::DeviceImp& device);
    /// Gives the device the runs of the indicators that are tied to it and that the other side has asked for: it cannot ask
    /// for those of a device that it does not know yet. The console makes its runs itself. Under the library mutex.
    static void watch(zel::DeviceImp& device);

private:
    zel::IndicatorRunImp* next();
    bool wasCalledBefore(zel::IndicatorRunImp const& run) const;
    void call(zel::IndicatorRunImp& run);

    CommInterface& m_comm;
    zel::IndicatorRunImp const* m_last = nullptr; // that was called in this pass
    std::vector<zel::IndicatorRunImp const*>
        m_ended{}; // called in this pass, which their devices did not outlive
};

} // namespace krel5
