#include <zel/model/vocabulary/TipTypeImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/TipType.def>
};

VocabularyTable const& TipTypeImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    TipTypeImp const& TipTypeImp::accessor()                                                                 \
    {                                                                                                        \
        static constinit TipTypeImp const constant(Code::accessor);                                          \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/TipType.def>

} // namespace zel
