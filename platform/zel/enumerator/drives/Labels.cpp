// Reads `dev` and `uevent` (PARTNAME; PARTUUID since Linux 6.9) of a block device, and run/udev/data/b{number}, in which the
// device manager keeps what it found on it. Needs no privilege.
#include <zel/enumerator/drives/Labels.h>

#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

using Lines = std::map<std::string, std::string, std::less<>>;

constexpr std::size_t kLimit = 1u << 16;

void addFirst(DeviceDescription& device, char const* key, Lines const& lines,
              std::initializer_list<char const*> names)
{
    for (char const* const name : names)
        if (auto const found = lines.find(name); found != lines.end())
            if (auto const text = text::meaningful(std::string_view(found->second)))
                return device.add(key, text);
}

/// "8:1": what stands in a file name.
bool isDeviceNumber(std::string const& number)
{
    return !number.empty() && number.find_first_not_of("0123456789:") == std::string::npos;
}

} // namespace

void addLabels(DeviceDescription& device, Root const& root, std::string const& path)
{
    Lines const kernel = text::keyValueLines(root.read(path + "/uevent", kLimit).value_or(""));
    auto const number = root.text(path + "/dev");
    Lines const manager =
        number && isDeviceNumber(*number)
            ? text::keyValueLines(root.read("run/udev/data/b" + *number, kLimit).value_or(""))
            : Lines();
    addFirst(device, "FileSystemLabel", manager, {"E:ID_FS_LABEL"});
    addFirst(device, "FileSystemUuid", manager, {"E:ID_FS_UUID"});
    Lines both = kernel;
    both.insert(manager.begin(), manager.end());
    addFirst(device, "PartitionLabel", both, {"PARTNAME", "E:PARTNAME"});
    addFirst(device, "PartitionUuid", both, {"PARTUUID", "E:ID_PART_ENTRY_UUID"});
}

} // namespace zel
