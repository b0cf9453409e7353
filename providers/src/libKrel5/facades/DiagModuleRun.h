#pragma once
// Runs the queued test runs, one after the other, and says how it went.

#include <libKrel5/internal/backends/CommInterface.h>

#include <krel5/TestResult.h>

namespace zel {
class DeviceImp;
class TestRunImp;
} // namespace zel

namespace krel5 {

class CurrentRun;
class Test;

/// The part of DiagModule that runs tests; works on the facade's state. Thread rule: main thread.
struct DiagModuleRun
{
    /// Works through the queue of zel::TestRunManager. The result is the first other than PASS, or PASS when
    /// all passed; a stop ends the queue, and then it is never PASS.
    static TestResult runAll(CommInterface& comm);

    /// Ties each test of the module that applies to the device to it; a test that enumerates only once may
    /// move here from another device.
    static void associateTests(zel::DeviceImp& device);

    /// How much of the minimum time has gone, in percent from 0 to 100; only in minimum-time mode.
    static int minimumTimePercent();

private:
    static TestResult runOne(CommInterface& comm, zel::TestRunImp& run);
    static TestResult runUnlessRefused(zel::TestRunImp& run, Test& test);
    static void note(zel::TestRunImp& run, zel::String const& text);
    static TestResult runOnce(zel::TestRunImp& run, Test& test);
    static TestResult runForMinimumTime(zel::TestRunImp& run, Test& test);
    static TestResult callTest(zel::TestRunImp& run, Test& test);
    static void sendForcedEvents(zel::TestRunImp& run, Test& test);
    static CurrentRun begin(zel::TestRunImp& run);
    static void end(CurrentRun& current, zel::TestRunImp& run, TestResult const& result, double seconds);
    static Test& testOf(zel::TestRunImp& run);
};

} // namespace krel5
