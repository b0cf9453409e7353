#include <zel/model/vocabulary/linux/OperatingSystemLinux.h>

#include <zel/foundation/FileSystem.h>

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <string>

#include <sys/utsname.h>

namespace zel {

namespace {

constexpr std::size_t kOsReleaseLimit = 64u << 10;

// The text up to the first `separator`, which is removed from `rest` with it.
std::string_view takeUpTo(std::string_view& rest, char separator)
{
    std::size_t const end = std::min(rest.find(separator), rest.size());
    std::string_view const taken = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return taken;
}

// Values are plain or in single or double quotes; the escapes that os-release(5) allows do not occur in ids.
std::string_view unquoted(std::string_view value)
{
    while (!value.empty() && (value.back() == '\r' || value.back() == ' ' || value.back() == '\t'))
        value.remove_suffix(1);
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
        return value.substr(1, value.size() - 2);
    return value;
}

std::string_view valueOf(std::string_view osRelease, std::string_view key)
{
    std::string_view found;
    while (!osRelease.empty()) {
        std::string_view line = takeUpTo(osRelease, '\n');
        if (line.find('=') != std::string_view::npos && takeUpTo(line, '=') == key)
            found = unquoted(line);
    }
    return found;
}

bool contains(std::initializer_list<std::string_view> names, std::string_view name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

// Nothing for an id that is of neither family.
OperatingSystemDistributionImp const* distributionOfId(std::string_view id)
{
    if (contains({"rhel", "redhat", "fedora", "centos"}, id))
        return &OperatingSystemDistributionImp::LIN_REDHAT();
    if (contains({"suse", "sles", "sled", "opensuse"}, id) || id.starts_with("opensuse-"))
        return &OperatingSystemDistributionImp::LIN_SUSE();
    return nullptr;
}

} // namespace

OperatingSystemArchitectureImp architectureOfMachine(std::string_view machine)
{
    if (machine == "x86_64" || machine == "amd64")
        return OperatingSystemArchitectureImp::X86_64();
    if (contains({"i386", "i486", "i586", "i686"}, machine))
        return OperatingSystemArchitectureImp::X86_32();
    return OperatingSystemArchitectureImp::OTHER_ARCHITECTURE();
}

OperatingSystemMajorVersionImp majorVersionOfRelease(std::string_view release)
{
    std::string_view const series = takeUpTo(release, '.');
    std::size_t const end = release.find_first_not_of("0123456789");
    std::string_view const number = release.substr(0, end);
    if (series == "2" && number == "4")
        return OperatingSystemMajorVersionImp::LIN_2_4();
    if (series == "2" && number == "6")
        return OperatingSystemMajorVersionImp::LIN_2_6();
    return OperatingSystemMajorVersionImp::LIN_OTHER_KERNEL();
}

int minorNumberOfRelease(std::string_view release)
{
    constexpr int kLargest = 999999;
    takeUpTo(release, '.');
    takeUpTo(release, '.');
    int number = 0;
    auto const result = std::from_chars(release.data(), release.data() + release.size(), number);
    if (result.ec == std::errc::result_out_of_range)
        return kLargest;
    return std::clamp(number, 0, kLargest);
}

OperatingSystemDistributionImp distributionOfOsRelease(std::string_view osRelease)
{
    osRelease = osRelease.substr(0, kOsReleaseLimit);
    if (auto const* own = distributionOfId(valueOf(osRelease, "ID")))
        return *own;
    std::string_view relatives = valueOf(osRelease, "ID_LIKE");
    while (!relatives.empty()) {
        if (auto const* relative = distributionOfId(takeUpTo(relatives, ' ')))
            return *relative;
    }
    return OperatingSystemDistributionImp::LIN_OTHER_DIST();
}

OperatingSystemImp OperatingSystemImp::getCurrentOperatingSystem()
{
    utsname names{}; // stays empty, and thereby "other", when the call fails
    if (uname(&names) != 0)
        names = {};
    auto osRelease = FileSystem::readFile("/etc/os-release", kOsReleaseLimit);
    if (!osRelease.content)
        osRelease = FileSystem::readFile("/usr/lib/os-release", kOsReleaseLimit);

    OperatingSystemPlatformImp const platform = OperatingSystemPlatformImp::LINUX();
    return {platform, architectureOfMachine(names.machine), majorVersionOfRelease(names.release),
            distributionOfOsRelease(osRelease.content.value_or(std::string())),
            OperatingSystemMinorVersionImp(platform, minorNumberOfRelease(names.release))};
}

} // namespace zel
