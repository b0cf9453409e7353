#include <zel/model/vocabulary/EventTypeImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/EventType.def>
};

VocabularyTable const& EventTypeImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    EventTypeImp const& EventTypeImp::accessor()                                                             \
    {                                                                                                        \
        static constinit EventTypeImp const constant(Code::accessor);                                        \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/EventType.def>

} // namespace zel
