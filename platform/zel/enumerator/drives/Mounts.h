#pragma once
// Mounted file systems, from /proc/self/mountinfo or, where that was not captured, from /proc/mounts.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel {

struct Mount
{
    std::string device;     ///< "8:4"; empty from /proc/mounts, which does not tell it
    std::string source;     ///< "/dev/sda4", or what the file system calls itself
    std::string mountPoint; ///< "/home"
    std::string fileSystem; ///< "ext4"
};

/// One entry a line, in the order of mounting, so that of two mounts at one place the later one is visible. A
/// line of another form is left out. Blanks are written as \040 in both files and read back here.
std::vector<Mount> parseMountInfo(std::string_view text);
std::vector<Mount> parseMounts(std::string_view text);

} // namespace zel
