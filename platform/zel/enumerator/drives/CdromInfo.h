#pragma once
// What optical drives can do, from /proc/sys/dev/cdrom/info: a table with one column a drive.

#include <zel/enumerator/root/Root.h>
#include <zel/model/vocabulary/CapabilityImp.h>

#include <map>
#include <string>
#include <string_view>

namespace zel {

/// Capabilities by drive name ("sr0"); every drive named has at least CDROM.
using OpticalDrives = std::map<std::string, CapabilityImp, std::less<>>;
OpticalDrives parseCdromInfo(std::string_view text);
/// Of that machine.
OpticalDrives opticalDrives(Root const& root);
/// The member of an optical drive's capabilities that names it best: the one of greatest rank.
CapabilityImp opticalType(CapabilityImp const& capabilities);

} // namespace zel
