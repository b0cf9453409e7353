#include <zel/model/vocabulary/LanguageImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/Language.def>
};

VocabularyTable const& LanguageImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    LanguageImp const& LanguageImp::accessor()                                                               \
    {                                                                                                        \
        static constinit LanguageImp const constant(Code::accessor);                                         \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/Language.def>

} // namespace zel
