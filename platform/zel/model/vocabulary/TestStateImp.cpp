#include <zel/model/vocabulary/TestStateImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/TestState.def>
};

VocabularyTable const& TestStateImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    TestStateImp const& TestStateImp::accessor()                                                             \
    {                                                                                                        \
        static constinit TestStateImp const constant(Code::accessor);                                        \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/TestState.def>

} // namespace zel
