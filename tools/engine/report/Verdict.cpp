#include <engine/report/Verdict.h>

#include <zel/model/vocabulary/TestResultImp.h>

namespace engine {

Grade gradeOf(std::string_view result)
{
    using Code = zel::TestResultImp::Code;
    switch (zel::TestResultImp::getConstantByString(zel::String(result)).code()) {
    case Code::PASS:
        return Grade::Passed;
    case Code::FAIL:
        return Grade::Failed;
    case Code::WARN:
        return Grade::Warned;
    case Code::USERABORTED:
    case Code::TESTINGHALTED:
    case Code::MAXTIMEEXCEEDED:
    case Code::TIMEDOUT:
    case Code::DEVICEABORTED:
        return Grade::Stopped;
    case Code::UNKNOWNERROR: // also of a text that is none of these
    case Code::TESTNOTSTARTED:
    case Code::TESTINGINPROGRESS:
    case Code::INTERNALERROR:
    case Code::EXECFAILED:
    case Code::MODULEFAILEDTOSTART:
    case Code::DUPLICATEGUID:
    case Code::EXITEDABNORMALLY:
        return Grade::Broken;
    case Code::DEVICEBUSY:
    case Code::INSUFFICIENTPRIVILEGE:
    case Code::NOTSUPPORTED:
    case Code::CANNOTRUN:
    case Code::BADPARAMS:
    case Code::NOMEDIA:
    case Code::NODEVICE:
    case Code::NOTEST:
    case Code::NOMODULE:
    case Code::INCORRECTMEDIA:
    case Code::NOCABLE:
    case Code::NOCONNECTION:
    case Code::NOINDICATOR:
    case Code::DEVICENOTTESTABLE:
    case Code::DEVICEDISABLED:
    case Code::MISCONFIGURED:
    case Code::DEVICETESTINGBLOCKED:
    case Code::NODIALTONE:
    case Code::NOTAPPLICABLE:
    case Code::NOSIGNAL:
    case Code::LOWSIGNALSTRENGTH:
    case Code::INDETERMINATE:
    case Code::SKIPPED:
    case Code::COMPLETED:
        return Grade::NotTested;
    }
    return Grade::Broken;
}

char const* wordOf(Grade grade)
{
    switch (grade) {
    case Grade::Passed:
        return "PASS";
    case Grade::NotTested:
        return "NOT TESTED";
    case Grade::Warned:
        return "WARNING";
    case Grade::Stopped:
        return "STOPPED";
    case Grade::Broken:
        return "BROKEN";
    case Grade::Failed:
        return "FAIL";
    }
    return "";
}

} // namespace engine
