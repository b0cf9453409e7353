#include <storage/MountTable.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace krel5::modules::storage {
namespace {

std::vector<std::string_view> words(std::string_view line)
{
    std::vector<std::string_view> out;
    while (!line.empty()) {
        std::size_t const end = std::min(line.find(' '), line.size());
        if (end > 0)
            out.push_back(line.substr(0, end));
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    return out;
}

std::optional<unsigned> number(std::string_view text)
{
    unsigned value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

/// The kernel writes blanks and backslashes of a path as "\" and three octal digits.
std::string unescaped(std::string_view text)
{
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const digit = [&](std::size_t place) {
            return i + place < text.size() && text[i + place] >= '0' && text[i + place] <= '7'
                       ? text[i + place] - '0'
                       : -1;
        };
        if (text[i] == '\\' && digit(1) >= 0 && digit(1) < 4 && digit(2) >= 0 && digit(3) >= 0) {
            out += static_cast<char>(digit(1) * 64 + digit(2) * 8 + digit(3));
            i += 3;
        } else {
            out += text[i];
        }
    }
    return out;
}

bool hasOption(std::string_view options, std::string_view wanted)
{
    while (!options.empty()) {
        std::size_t const end = std::min(options.find(','), options.size());
        if (options.substr(0, end) == wanted)
            return true;
        options.remove_prefix(std::min(end + 1, options.size()));
    }
    return false;
}

// id parent major:minor root directory options [optional fields] - type source super-options
std::optional<Mount> parseLine(std::string_view line)
{
    auto const fields = words(line);
    auto const dash = std::find(fields.begin(), fields.end(), "-");
    if (dash - fields.begin() < 6 || fields.end() - dash < 4)
        return std::nullopt;
    std::size_t const colon = fields[2].find(':');
    if (colon == std::string_view::npos)
        return std::nullopt;
    auto const majorNumber = number(fields[2].substr(0, colon));
    auto const minorNumber = number(fields[2].substr(colon + 1));
    if (!majorNumber || !minorNumber)
        return std::nullopt;
    return Mount{{*majorNumber, *minorNumber},
                 unescaped(fields[4]),
                 hasOption(fields[5], "ro") || hasOption(*(dash + 3), "ro")};
}

} // namespace

std::vector<Mount> parseMountInfo(std::string_view text)
{
    std::vector<Mount> mounts;
    while (!text.empty()) {
        std::size_t const end = std::min(text.find('\n'), text.size());
        if (auto mount = parseLine(text.substr(0, end)))
            mounts.push_back(*std::move(mount));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
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
