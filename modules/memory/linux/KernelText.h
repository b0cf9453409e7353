#pragma once
// Numbers in the small text files of /proc and /sys.

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

namespace krel5::modules::memory {

/// The number at the start of `text`, blanks before it skipped; absent for "max" and for garbage.
inline std::optional<std::uint64_t> leadingNumber(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    std::uint64_t number = 0;
    auto const result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc())
        return std::nullopt;
    return number;
}

/// What follows `prefix` on the first line that starts with it.
inline std::optional<std::string> lineAfter(std::string const& path, std::string_view prefix)
{
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        if (line.starts_with(prefix))
            return line.substr(prefix.size());
    }
    return std::nullopt;
}

/// The number that follows `prefix` on its line; of the file's first line without one.
inline std::optional<std::uint64_t> numberIn(std::string const& path, std::string_view prefix = "")
{
    auto const text = lineAfter(path, prefix);
    return text ? leadingNumber(*text) : std::nullopt;
}

} // namespace krel5::modules::memory
