#include <zel/model/vocabulary/OperatingSystemArchitectureImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, text, code, longText) {#accessor, text, code, 0, longText},
#include <zel/model/vocabulary/tables/OperatingSystemArchitecture.def>
};

VocabularyTable const& OperatingSystemArchitectureImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    OperatingSystemArchitectureImp const& OperatingSystemArchitectureImp::accessor()                         \
    {                                                                                                        \
        static constinit OperatingSystemArchitectureImp const constant(Code::accessor);                      \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/OperatingSystemArchitecture.def>

} // namespace zel
