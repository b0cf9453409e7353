#include <libKrel5/facades/CurrentRun.h>

#include <libKrel5/basics/LibraryMutex.h>

#include <krel5/DiagModule.h>

#include <zel/model/runs/TestRunManager.h>

namespace krel5 {

CurrentRun::CurrentRun(zel::TestRunImp& run)
{
    zel::AutoMutex const guard(libraryMutex());
    zel::TestRunManager::instance().setCurrent(&run);
    DiagModule::s_testRunImp = &run;
}

CurrentRun::~CurrentRun()
{
    zel::AutoMutex const guard(libraryMutex());
    DiagModule::s_testRunImp = nullptr;
    zel::TestRunManager::instance().setCurrent(nullptr);
}

void CurrentRun::closeForReports()
{
    zel::AutoMutex const guard(libraryMutex());
    DiagModule::s_testRunImp = nullptr;
}

} // namespace krel5
