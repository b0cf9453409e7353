#pragma once
// Memory modules as the driver of the memory controller sees them: sys/devices/system/edac/mc/mc*/{dimm,rank}*, of which
// dimm_label is what is printed on the board if somebody told the driver, and dimm_location where it is
// (Documentation/ABI/testing/sysfs-devices-edac). Needs no privilege. Which address lies in which is not told.

#include <string>
#include <string_view>
#include <vector>

namespace krel5::modules::memory {

struct EdacModule
{
    std::string m_label; ///< empty: not told
    std::string m_where; ///< "mc0 channel 1 slot 0"; where a module has several ranks, of each of them
};

/// Those with memory, ranks of one label as one, at most 1024. `root` ends with a slash.
std::vector<EdacModule> edacModules(std::string const& root);

/// Of the only one whose label is `slot`, or `bank` and `slot` as drivers join them, in capitals or not; empty
/// where there is none.
std::string edacPlace(std::vector<EdacModule> const& modules, std::string_view slot, std::string_view bank);

} // namespace krel5::modules::memory
