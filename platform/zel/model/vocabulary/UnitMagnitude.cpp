#include <zel/model/vocabulary/UnitMagnitude.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/UnitMagnitude.def>
};

VocabularyTable const& UnitMagnitude::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    UnitMagnitude const& UnitMagnitude::accessor()                                                           \
    {                                                                                                        \
        static constinit UnitMagnitude const constant(Code::accessor);                                       \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/UnitMagnitude.def>

} // namespace zel
