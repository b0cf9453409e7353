#include <zel/model/vocabulary/AlertTypeImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/AlertType.def>
};

VocabularyTable const& AlertTypeImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    AlertTypeImp const& AlertTypeImp::accessor()                                                             \
    {                                                                                                        \
        static constinit AlertTypeImp const constant(Code::accessor);                                        \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/AlertType.def>

} // namespace zel
