// Reads proc/self/mountinfo, links in sys/dev/block and sys/class/block, names of mappings
// (sys/block/dm-*/dm/name) and the `slaves` that mappings and arrays are made of. Needs no privilege.
#include <zel/enumerator/drives/MountedDevices.h>

#include <zel/enumerator/root/Text.h>

#include <algorithm>

namespace zel {

namespace {

constexpr unsigned kMaxStacked = 16; // mappings upon mappings
constexpr std::string_view kDev = "/dev/", kMapper = "/dev/mapper/";
constexpr std::size_t kMountsLimit = 8u << 20;

std::vector<Mount> readMounts(Root const& root)
{
    if (auto const content = root.read("proc/self/mountinfo", kMountsLimit))
        return parseMountInfo(*content);
    auto content = root.read("proc/self/mounts", kMountsLimit);
    if (!content)
        content = root.read("proc/mounts", kMountsLimit);
    return parseMounts(content.value_or(""));
}

std::string lastOf(std::string const& path) { return path.substr(path.rfind('/') + 1); }

/// "/dev/cciss/c0d0p1" -> "cciss!c0d0p1"; empty for what is not a device file, or a mapping's.
std::string kernelNameOf(std::string const& source)
{
    if (!source.starts_with(kDev) || source.starts_with(kMapper))
        return std::string();
    std::string name = source.substr(kDev.size());
    std::replace(name.begin(), name.end(), '/', '!');
    return name == "root" ? std::string() : name; // what some kernels call the root file system's device
}

std::string mappingNamed(Root const& root, std::string_view name)
{
    for (std::string const& device : root.list("sys/block"))
        if (text::indexAfter(device, "dm-") && root.text("sys/block/" + device + "/dm/name") == name)
            return device;
    return std::string();
}

/// Path of a block device, drive or partition; trees without sys/class have partitions below their drives
/// only.
std::string pathByName(Root const& root, std::string const& name)
{
    if (name.empty() || name.find("..") != std::string::npos)
        return std::string();
    // The drive of a partition by its name: "sda1" -> "sda", "nvme0n1p2" -> "nvme0n1"; "sdp1" -> "sdp".
    std::string const drive = name.substr(0, name.find_last_not_of("0123456789") + 1);
    std::string const numbered = drive.substr(0, drive.find_last_not_of('p') + 1);
    for (std::string const& path : {"sys/class/block/" + name, "sys/block/" + name,
                                    "sys/block/" + drive + "/" + name, "sys/block/" + numbered + "/" + name})
        if (auto const found = root.resolve(path))
            return *found;
    return std::string();
}

} // namespace

MountedDevices::MountedDevices(Root const& root)
{
    Mount const* system = nullptr;
    std::vector<Mount> const mounts = readMounts(root);
    for (Mount const& mount : mounts)
        if (mount.mountPoint == "/")
            system = &mount;
    std::string const path = system ? pathOf(root, *system) : std::string();
    if (!path.empty()) {
        addSystem(root, path, 0);
        m_mounts.emplace(lastOf(path), *system);
    }
    for (Mount const& mount : mounts)
        if (std::string const name = kernelNameOf(mount.source); !name.empty())
            m_mounts.emplace(name, mount);
}

Mount const* MountedDevices::find(std::string const& kernelName) const
{
    auto const found = m_mounts.find(kernelName);
    return found == m_mounts.end() ? nullptr : &found->second;
}

std::string MountedDevices::pathOf(Root const& root, Mount const& mount) const
{
    // The number first: it is right also when the source is "/dev/root" or a link. File systems over several
    // drives have a number of their own ("0:35") and name one drive as source.
    if (!mount.device.empty() && mount.device.find_first_not_of("0123456789:") == std::string::npos)
        if (auto const path = root.resolve("sys/dev/block/" + mount.device))
            return *path;
    if (mount.source.starts_with(kMapper))
        return pathByName(root, mappingNamed(root, std::string_view(mount.source).substr(kMapper.size())));
    return pathByName(root, kernelNameOf(mount.source));
}

void MountedDevices::addSystem(Root const& root, std::string const& path, unsigned depth)
{
    if (depth == kMaxStacked || !m_system.insert(lastOf(path)).second)
        return;
    std::string const folder = path.substr(0, path.rfind('/'));
    m_system.insert(lastOf(folder)); // the drive, when the path is a partition's
    if (path.find("/virtual/") == std::string::npos)
        return;
    for (std::string const& name : root.list(path + "/slaves"))
        if (auto const below = root.resolve(path + "/slaves/" + name))
            addSystem(root, *below, depth + 1);
        else if (std::string const other = pathByName(root, name); !other.empty())
            addSystem(root, other, depth + 1);
}

} // namespace zel
