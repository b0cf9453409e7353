#include <memory/linux/ControlGroups.h>

#include <memory/linux/KernelText.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <vector>

namespace krel5::modules::memory {
namespace {

struct Version
{
    char const* m_fileSystem;
    char const* m_controller; ///< a hierarchy of version 1 has some controllers, that of version 2 has all
    char const* m_limit;
    char const* m_used;
    char const* m_cache; ///< in memory.stat: file pages unused for long, those of the groups below counted in
};

constexpr Version kVersions[] = {
    {"cgroup", "memory", "/memory.limit_in_bytes", "/memory.usage_in_bytes", "total_inactive_file "},
    {"cgroup2", "", "/memory.max", "/memory.current", "inactive_file "},
};

bool isListed(std::string const& list, std::string const& name)
{
    return ("," + list + ",").find("," + name + ",") != std::string::npos;
}

/// The group's path in the hierarchy, "" for its top; absent when the process is in none.
std::optional<std::string> groupOf(std::string const& root, Version const& version)
{
    std::ifstream file(root + "proc/self/cgroup"); // "4:memory:/a/b", in version 2 "0::/a/b"
    std::string number, controllers, path;
    while (std::getline(file, number, ':') && std::getline(file, controllers, ':') &&
           std::getline(file, path))
        if (*version.m_controller ? isListed(controllers, version.m_controller) : number == "0")
            return path == "/" ? "" : path;
    return std::nullopt;
}

struct Mount
{
    std::string m_top; ///< what of the hierarchy is mounted: in a container often the container's own group
    std::string m_point;
};

/// proc(5): "36 35 98:0 /top /mount/point options [optional ...] - type source options"
std::optional<Mount> mountOf(std::string const& root, Version const& version)
{
    std::ifstream file(root + "proc/self/mountinfo");
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::vector<std::string> const fields{std::istream_iterator<std::string>(words), {}};
        auto const dash = std::find(fields.begin(), fields.end(), "-");
        if (dash - fields.begin() < 6 || fields.end() - dash < 4 || dash[1] != version.m_fileSystem)
            continue;
        if (*version.m_controller == '\0' || isListed(dash[3], version.m_controller))
            return Mount{fields[3] == "/" ? "" : fields[3], fields[4] == "/" ? "" : fields[4]};
    }
    return std::nullopt;
}

/// The group's path below what is mounted. Groups outside of that cannot be seen; its top is then the nearest.
std::string pathBelow(Mount const& mount, std::string const& group)
{
    bool const below = (group + "/").starts_with(mount.m_top + "/");
    bool const climbs = (group + "/").find("/../") != std::string::npos; // out of the process's name space
    return below && !climbs ? group.substr(mount.m_top.size()) : "";
}

std::optional<std::uint64_t> leftIn(std::string const& folder, Version const& version)
{
    auto const limit = numberIn(folder + version.m_limit);
    auto const used = numberIn(folder + version.m_used);
    if (!limit || !used)
        return std::nullopt;
    auto const cache = numberIn(folder + "/memory.stat", version.m_cache).value_or(0);
    auto const taken = *used - std::min(*used, cache);
    return *limit - std::min(*limit, taken);
}

std::optional<std::uint64_t> leftBy(std::string const& root, Version const& version)
{
    auto const group = groupOf(root, version);
    auto const mount = mountOf(root, version);
    if (!group || !mount)
        return std::nullopt;
    std::string const top = root + mount->m_point;
    std::optional<std::uint64_t> left;
    for (std::string path = pathBelow(*mount, *group);;) {
        if (auto const here = leftIn(top + path, version))
            left = std::min(left.value_or(UINT64_MAX), *here);
        if (path.empty())
            return left;
        path.resize(path.rfind('/'));
        // Only version 1 has the file: with 0 in it, what the groups below take is not counted here.
        if (numberIn(top + path + "/memory.use_hierarchy") == 0u)
            return left;
    }
}

} // namespace

std::optional<std::uint64_t> leftByControlGroups(std::string const& root)
{
    std::optional<std::uint64_t> left;
    for (Version const& version : kVersions)
        if (auto const here = leftBy(root, version))
            left = std::min(left.value_or(UINT64_MAX), *here);
    return left;
}

} // namespace krel5::modules::memory
