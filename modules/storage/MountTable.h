#pragma once
// Which file systems live on a drive.
//
//     for (std::string const& directory : writableMounts(parseMountInfo(text), familyOf("/dev/sda")))
//         ...
//
// Thread rule: plain functions on values.

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace krel5::modules::storage {

using DeviceNumber = std::pair<unsigned, unsigned>; ///< major, minor

/// Reads "8:1", as the kernel writes them; nothing where it is anything else.
std::optional<DeviceNumber> parseDeviceNumber(std::string_view text);

struct Mount
{
    DeviceNumber m_device;
    std::string m_directory;
    bool m_readOnly = false;
};

/// Reads the text of /proc/self/mountinfo (proc(5)). Lines that are not of its form are skipped.
std::vector<Mount> parseMountInfo(std::string_view text);

/// Directories of the mounts of these devices that are not read-only, in the table's order, each once.
std::vector<std::string> writableMounts(std::vector<Mount> const& mounts,
                                        std::vector<DeviceNumber> const& devices);

} // namespace krel5::modules::storage
