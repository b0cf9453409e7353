#include <zel/model/vocabulary/TestResultImp.h>

namespace zel {

TestResultImp TestResultImp::overallResult(Array<TestResultImp> const& results)
{
    if (results.empty())
        return {};
    TestResultImp overall = results[0];
    for (TestResultImp const& result : results) {
        if (result.priority() > overall.priority())
            overall = result;
    }
    return overall;
}

} // namespace zel
