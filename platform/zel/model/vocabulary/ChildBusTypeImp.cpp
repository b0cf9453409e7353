#include <zel/model/vocabulary/ChildBusTypeImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/ChildBusType.def>
};

VocabularyTable const& ChildBusTypeImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    ChildBusTypeImp const& ChildBusTypeImp::accessor()                                                       \
    {                                                                                                        \
        static constinit ChildBusTypeImp const constant(Code::accessor);                                     \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/ChildBusType.def>

} // namespace zel
