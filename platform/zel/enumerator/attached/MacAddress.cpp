#include <zel/enumerator/attached/MacAddress.h>

#include <zel/enumerator/root/Text.h>

#include <charconv>
#include <cstdio>

namespace zel {

std::optional<MacAddress> parseMac(std::string_view text) noexcept
{
    constexpr std::size_t kLength = 17;
    if (text.size() != kLength)
        return std::nullopt;
    MacAddress address{};
    unsigned all = 0;
    for (std::size_t i = 0; i < address.size(); ++i) {
        char const* const begin = text.data() + 3 * i;
        auto const [end, error] = std::from_chars(begin, begin + 2, address[i], 16);
        if (error != std::errc() || end != begin + 2 || (i + 1 < address.size() && *end != ':'))
            return std::nullopt;
        all |= address[i];
    }
    bool const isGroup = (address[0] & 1u) != 0; // broadcast among them
    return all != 0 && !isGroup ? std::optional(address) : std::nullopt;
}

std::string macText(MacAddress const& address)
{
    std::array<char, 24> buffer{};
    int const size = std::snprintf(buffer.data(), buffer.size(), "%02x:%02x:%02x:%02x:%02x:%02x", address[0],
                                   address[1], address[2], address[3], address[4], address[5]);
    return std::string(buffer.data(), static_cast<std::size_t>(size));
}

std::optional<std::string> infinibandAddress(std::string_view text)
{
    constexpr std::size_t kLength = 20 * 3 - 1;
    std::string const lower = text::lowered(text);
    for (std::size_t i = 0; i < lower.size(); ++i)
        if (std::string_view(i % 3 == 2 ? ":" : "0123456789abcdef").find(lower[i]) == std::string_view::npos)
            return std::nullopt;
    bool const isZero = lower.find_first_not_of("0:") == std::string::npos;
    return lower.size() == kLength && !isZero ? std::optional(lower) : std::nullopt;
}

} // namespace zel
