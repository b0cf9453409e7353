#include <zel/model/vocabulary/OperatingSystemDistributionImp.h>

namespace zel {

OperatingSystemPlatformImp OperatingSystemDistributionImp::platform() const noexcept
{
    return isValid()
               ? OperatingSystemPlatformImp(static_cast<OperatingSystemPlatformImp::Code>(row().secondNumber))
               : OperatingSystemPlatformImp::OTHER_PLATFORM();
}

} // namespace zel
