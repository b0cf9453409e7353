#include <zel/model/vocabulary/OperatingSystemPlatformImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/OperatingSystemPlatform.def>
};

VocabularyTable const& OperatingSystemPlatformImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    OperatingSystemPlatformImp const& OperatingSystemPlatformImp::accessor()                                 \
    {                                                                                                        \
        static constinit OperatingSystemPlatformImp const constant(Code::accessor);                          \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/OperatingSystemPlatform.def>

} // namespace zel
