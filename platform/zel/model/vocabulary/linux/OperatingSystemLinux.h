#pragma once
// How a Linux system's own description of itself maps onto the operating-system vocabulary. Text in, constant
// out.

#include <zel/model/vocabulary/OperatingSystemImp.h>

#include <string_view>

namespace zel {

/// `machine` as uname(2) gives it: "x86_64", "i686", "aarch64".
ZEL_EXPORT OperatingSystemArchitectureImp architectureOfMachine(std::string_view machine);

/// `release` as uname(2) gives it: "2.6.32-754.el6" is LIN_2_6, anything but 2.4 and 2.6 LIN_OTHER_KERNEL.
ZEL_EXPORT OperatingSystemMajorVersionImp majorVersionOfRelease(std::string_view release);

/// The third number of `release` ("6.1.12-amd64" gives 12); 0 when there is none, at most 999999.
ZEL_EXPORT int minorNumberOfRelease(std::string_view release);

/// From the keys ID and ID_LIKE of an os-release file (os-release(5)), the system's own id before its
/// relatives'. Lines that are not `KEY=value` are skipped; of equal keys the last wins; only the first 64 KiB
/// are read.
ZEL_EXPORT OperatingSystemDistributionImp distributionOfOsRelease(std::string_view osRelease);

} // namespace zel
