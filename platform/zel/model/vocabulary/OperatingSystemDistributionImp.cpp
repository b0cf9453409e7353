#include <zel/model/vocabulary/OperatingSystemDistributionImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, text, code, platform)                                                         \
    {#accessor, text, code, static_cast<int>(OperatingSystemPlatformImp::Code::platform)},
#include <zel/model/vocabulary/tables/OperatingSystemDistribution.def>
};

VocabularyTable const& OperatingSystemDistributionImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    OperatingSystemDistributionImp const& OperatingSystemDistributionImp::accessor()                         \
    {                                                                                                        \
        static constinit OperatingSystemDistributionImp const constant(Code::accessor);                      \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/OperatingSystemDistribution.def>

OperatingSystemPlatformImp OperatingSystemDistributionImp::platform() const noexcept
{
    return isValid()
               ? OperatingSystemPlatformImp(static_cast<OperatingSystemPlatformImp::Code>(row().secondNumber))
               : OperatingSystemPlatformImp::OTHER_PLATFORM();
}

} // namespace zel
