#include <zel/model/vocabulary/DataTypeImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/DataType.def>
};

VocabularyTable const& DataTypeImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    DataTypeImp const& DataTypeImp::accessor()                                                               \
    {                                                                                                        \
        static constinit DataTypeImp const constant(Code::accessor);                                         \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/DataType.def>

} // namespace zel
