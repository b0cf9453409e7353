#include <zel/enumerator/drives/Mounts.h>

#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

constexpr std::size_t kMaxMounts = 65536;

bool isOctal(char digit) { return digit >= '0' && digit <= '7'; }

std::string unescaped(std::string_view text)
{
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool const escape = text[i] == '\\' && i + 3 < text.size() && text[i + 1] >= '0' &&
                            text[i + 1] <= '3' && isOctal(text[i + 2]) && isOctal(text[i + 3]);
        if (!escape) {
            plain += text[i];
            continue;
        }
        plain += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0'));
        i += 3;
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
        std::size_t dash = 6; // optional fields stand before it, any number of them
        while (dash < fields.size() && fields[dash] != "-")
            ++dash;
        if (dash + 2 >= fields.size())
            return std::nullopt;
        return Mount{std::string(fields[2]), unescaped(fields[dash + 2]), unescaped(fields[4]),
                     unescaped(fields[dash + 1])};
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
