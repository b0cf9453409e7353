#pragma once

#include <zel/model/runs/TestRunImp.h>

#include <memory>
#include <vector>

namespace zel {

/// The runs that this process is to execute, in order. One per process.
/// Thread rule: the main flow fills the queue and works through it. The current run is set by the main flow
/// under the library's mutex; any other thread asks for it, and works on it, under that mutex.
class ZEL_EXPORT TestRunManager
{
public:
    static TestRunManager& instance();

    TestRunImp& addTestRun(TestRunImp run);
    std::size_t testRunCount() const noexcept { return m_runs.size(); }
    /// Throws IndexOutOfBoundsException.
    TestRunImp& testRunAtIndex(std::size_t index);

    /// The run that is executing now, until its final result is out; null between runs.
    TestRunImp* current() const noexcept { return m_current; }
    void setCurrent(TestRunImp* run) noexcept { m_current = run; }
    void clear();

private:
    std::vector<std::unique_ptr<TestRunImp>> m_runs;
    TestRunImp* m_current = nullptr;
};

} // namespace zel
