#pragma once
// Sees what a test reports, for an author's own tests and tools.

#include <krel5/Export.h>

namespace krel5 {

class KrelString;
class Test;
class TestResult;

/// Registered with DiagModule::registerObserver; does not belong to the library and must outlive its
/// registration, and the threads of the test that report: a call that has begun is not waited for. Called on
/// the thread that reports, after the report has gone out. An exception that leaves an observer is told on standard
/// error and in the log and changes nothing: the test goes on, a result stands, and other observers are called.
class KREL5_EXPORT TestObserver
{
public:
    virtual ~TestObserver();
    virtual void onPercentDone(int percent);
    virtual void onProgress(KrelString const& text);
    /// `type` is the text of an EventType: "ERR", "WARNING", "INFORMATIVE", "PROGRESS".
    virtual void onEvent(KrelString const& type, KrelString const& eventKey, KrelString const& message);
    virtual void onResult(Test const& test, TestResult const& result);
};

} // namespace krel5
