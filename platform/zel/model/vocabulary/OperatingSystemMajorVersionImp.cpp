#include <zel/model/vocabulary/OperatingSystemMajorVersionImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, text, code, platform)                                                         \
    {#accessor, text, code, static_cast<int>(OperatingSystemPlatformImp::Code::platform)},
#include <zel/model/vocabulary/tables/OperatingSystemMajorVersion.def>
};

VocabularyTable const& OperatingSystemMajorVersionImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    OperatingSystemMajorVersionImp const& OperatingSystemMajorVersionImp::accessor()                         \
    {                                                                                                        \
        static constinit OperatingSystemMajorVersionImp const constant(Code::accessor);                      \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/OperatingSystemMajorVersion.def>

OperatingSystemPlatformImp OperatingSystemMajorVersionImp::platform() const noexcept
{
    return isValid()
               ? OperatingSystemPlatformImp(static_cast<OperatingSystemPlatformImp::Code>(row().secondNumber))
               : OperatingSystemPlatformImp::OTHER_PLATFORM();
}

} // namespace zel
