#include <zel/enumerator/drives/Mounts.h>

#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <charconv>

namespace zel {

namespace {

constexpr std::size_t kMaxMounts = 65536;

/// Blanks and backslashes stand as three octal digits: "two\040words".
std::string unescaped(std::string_view text)
{
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::string_view const digits = text.substr(i).substr(1, 3);
        unsigned number = 256; // more than a character has
        auto const end = std::from_chars(digits.data(), digits.data() + digits.size(), number, 8).ptr;
        bool const isEscape = text[i] == '\\' && end - digits.data() == 3 && number < 256;
        plain += isEscape ? static_cast<char>(number) : text[i];
        i += isEscape ? 3 : 0;
    }
    return plain;
}

template <typename ParseLine>
std::vector<Mount> parseLines(std::string_view text, ParseLine parseLine)
{
    std::vector<Mount> mounts;
    for (std::string_view const line : text::split(text, '\n')) {
        std::optional<Mount> mount = parseLine(text::split(line, ' '));
        if (mount && mounts.size() < kMaxMounts)
            mounts.push_back(std::move(*mount));
    }
    return mounts;
}

} // namespace

std::vector<Mount> parseMountInfo(std::string_view text)
{
    // 36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=continue
    return parseLines(text, [](std::vector<std::string_view> const& fields) -> std::optional<Mount> {
        constexpr std::ptrdiff_t kBefore = 6, kBehind = 3; // the dash itself, type, source
        if (fields.size() < kBefore)
            return std::nullopt;
        // Optional fields stand before the dash, any number of them.
        auto const dash = std::find(fields.begin() + kBefore, fields.end(), "-");
        if (fields.end() - dash < kBehind)
            return std::nullopt;
        return Mount{std::string(fields[2]), unescaped(dash[2]), unescaped(fields[4]), unescaped(dash[1])};
    });
}

std::vector<Mount> parseMounts(std::string_view text)
{
    return parseLines(text, [](std::vector<std::string_view> const& fields) -> std::optional<Mount> {
        if (fields.size() < 4)
            return std::nullopt;
        return Mount{std::string(), unescaped(fields[0]), unescaped(fields[1]), unescaped(fields[2])};
    });
}

} // namespace zel
