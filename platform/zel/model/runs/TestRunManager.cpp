#include <zel/model/runs/TestRunManager.h>

#include <zel/foundation/Index.h>

namespace zel {

TestRunManager& TestRunManager::instance()
{
    static TestRunManager* const s_instance = new TestRunManager();
    return *s_instance;
}

TestRunImp& TestRunManager::addTestRun(TestRunImp run)
{
    m_runs.push_back(std::make_unique<TestRunImp>(std::move(run)));
    return *m_runs.back();
}

TestRunImp& TestRunManager::testRunAtIndex(std::size_t index)
{
    checkIndex(index, m_runs.size());
    return *m_runs[index];
}

void TestRunManager::clear()
{
    m_current = nullptr;
    m_runs.clear();
}

} // namespace zel
