#include <zel/model/vocabulary/TestResultImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/TestResult.def>
};

VocabularyTable const& TestResultImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    TestResultImp const& TestResultImp::accessor()                                                           \
    {                                                                                                        \
        static constinit TestResultImp const constant(Code::accessor);                                       \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/TestResult.def>

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
