#include <zel/model/vocabulary/ParameterSourceImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/ParameterSource.def>
};

VocabularyTable const& ParameterSourceImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    ParameterSourceImp const& ParameterSourceImp::accessor()                                                 \
    {                                                                                                        \
        static constinit ParameterSourceImp const constant(Code::accessor);                                  \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/ParameterSource.def>

} // namespace zel
