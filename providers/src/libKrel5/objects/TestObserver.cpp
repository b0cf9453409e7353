#include <krel5/TestObserver.h>

namespace krel5 {

TestObserver::~TestObserver() = default;
void TestObserver::onPercentDone(int) {}
void TestObserver::onProgress(KrelString const&) {}
void TestObserver::onEvent(KrelString const&, KrelString const&, KrelString const&) {}
void TestObserver::onResult(Test const&, TestResult const&) {}

} // namespace krel5
