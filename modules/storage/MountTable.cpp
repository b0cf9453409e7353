#include <storage/MountTable.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace krel5::modules::storage {
namespace {

std::vector<std::string_view> pieces(std::string_view text, char separator)
{
    std::vector<std::string_view> out;
    while (!text.empty()) {
        std::size_t const end = std::min(text.find(separator), text.size());
        out.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return out;
}

template <typename Number>
std::optional<Number> number(std::string_view text, int base = 10)
{
    Number value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

/// The kernel writes blanks and backslashes of a path as "\" and three octal digits.
std::string unescaped(std::string_view text)
{
    std::string out;
    while (!text.empty()) {
        bool const mayBeEscaped = text[0] == '\\' && text.size() >= 4;
        auto const escaped = mayBeEscaped ? number<unsigned char>(text.substr(1, 3), 8) : std::nullopt;
        out += escaped ? static_cast<char>(*escaped) : text[0];
        text.remove_prefix(escaped ? 4 : 1);
    }
    return out;
}

bool hasOption(std::string_view options, std::string_view wanted)
{
    auto const all = pieces(options, ',');
    return std::find(all.begin(), all.end(), wanted) != all.end();
}

// id parent major:minor root directory options [optional fields] - type source super-options
std::optional<Mount> parseLine(std::string_view line)
{
    auto const fields = pieces(line, ' ');
    auto const dash = std::find(fields.begin(), fields.end(), "-");
    if (dash - fields.begin() < 6 || fields.end() - dash < 4)
        return std::nullopt;
    auto const device = parseDeviceNumber(fields[2]);
    if (!device)
        return std::nullopt;
    return Mount{*device, unescaped(fields[4]), hasOption(fields[5], "ro") || hasOption(*(dash + 3), "ro")};
}

} // namespace

std::optional<DeviceNumber> parseDeviceNumber(std::string_view text)
{
    auto const parts = pieces(text, ':');
    if (parts.size() != 2)
        return std::nullopt;
    auto const majorNumber = number<unsigned>(parts[0]), minorNumber = number<unsigned>(parts[1]);
    if (!majorNumber || !minorNumber)
        return std::nullopt;
    return DeviceNumber(*majorNumber, *minorNumber);
}

std::vector<Mount> parseMountInfo(std::string_view text)
{
    std::vector<Mount> mounts;
    for (std::string_view const line : pieces(text, '\n'))
        if (auto mount = parseLine(line))
            mounts.push_back(*std::move(mount));
    return mounts;
}

std::vector<std::string> writableMounts(std::vector<Mount> const& mounts,
                                        std::vector<DeviceNumber> const& devices)
{
    std::vector<std::string> directories;
    for (Mount const& mount : mounts) {
        bool const ours = std::find(devices.begin(), devices.end(), mount.m_device) != devices.end();
        bool const known =
            std::find(directories.begin(), directories.end(), mount.m_directory) != directories.end();
        if (ours && !known && !mount.m_readOnly)
            directories.push_back(mount.m_directory);
    }
    return directories;
}

} // namespace krel5::modules::storage
