#include <zel/model/vocabulary/OperatingSystemMajorVersionImp.h>

namespace zel {

OperatingSystemPlatformImp OperatingSystemMajorVersionImp::platform() const noexcept
{
    return isValid()
               ? OperatingSystemPlatformImp(static_cast<OperatingSystemPlatformImp::Code>(row().secondNumber))
               : OperatingSystemPlatformImp::OTHER_PLATFORM();
}

} // namespace zel
