#include <zel/model/vocabulary/UnitType.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/UnitType.def>
};

VocabularyTable const& UnitType::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    UnitType const& UnitType::accessor()                                                                     \
    {                                                                                                        \
        static constinit UnitType const constant(Code::accessor);                                            \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/UnitType.def>

} // namespace zel
