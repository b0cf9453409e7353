#include <zel/model/vocabulary/ModuleTypeImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/ModuleType.def>
};

VocabularyTable const& ModuleTypeImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    ModuleTypeImp const& ModuleTypeImp::accessor()                                                           \
    {                                                                                                        \
        static constinit ModuleTypeImp const constant(Code::accessor);                                       \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/ModuleType.def>

} // namespace zel
