// Reads proc/net/if_inet6 (net/ipv6/addrconf.c), proc/net/fib_trie and proc/net/route (net/ipv4/fib_trie.c).
#include <zel/enumerator/attached/InternetAddresses.h>

#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <set>

namespace zel {

namespace {

constexpr std::size_t kLimit = 4u << 20;
constexpr std::size_t kMostAddresses = 256; ///< of one interface; a machine of containers may have thousands

/// Words of a line with any number of blanks between them.
std::vector<std::string_view> wordsOf(std::string_view line)
{
    std::vector<std::string_view> words;
    for (std::size_t at = line.find_first_not_of(" \t"); at != std::string_view::npos;
         at = line.find_first_not_of(" \t", at)) {
        std::size_t const end = std::min(line.find_first_of(" \t", at), line.size());
        words.push_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

std::optional<std::uint32_t> version4(std::string_view text)
{
    auto const parts = text::split(text, '.');
    std::uint32_t address = 0;
    for (std::string_view const part : parts) {
        auto const octet = text::toUnsigned(part);
        if (!octet || *octet > 255)
            return std::nullopt;
        address = address << 8 | static_cast<std::uint32_t>(*octet);
    }
    return parts.size() == 4 ? std::optional(address) : std::nullopt;
}

/// Addresses of this machine, loopback left out:
///        |-- 192.168.1.10
///           /32 host LOCAL
std::set<std::uint32_t> localAddresses(std::string const& trie)
{
    constexpr std::uint32_t kLoopback = 127;
    std::set<std::uint32_t> found;
    std::optional<std::uint32_t> last;
    for (std::string_view const line : text::split(trie, '\n')) {
        std::string_view const entry = text::trimmed(line);
        if (entry.starts_with("|-- "))
            last = version4(entry.substr(4));
        else if (entry == "/32 host LOCAL" && last && *last >> 24 != kLoopback)
            found.insert(*last);
    }
    return found;
}

struct Network
{
    std::string interface;
    std::uint32_t address = 0, mask = 0;
};

std::uint32_t swapped(std::uint32_t word)
{
    return word >> 24 | (word >> 8 & 0xFF00u) | (word << 8 & 0xFF0000u) | word << 24;
}
bool isPrefix(std::uint32_t mask) { return mask != 0 && (~mask & (~mask + 1)) == 0; }

/// Networks that are reached without a gateway. The words are printed as they stand in memory, so their order of
/// bytes is that of the machine which wrote the file: the mask tells it.
std::vector<Network> networks(std::string const& routes)
{
    constexpr std::size_t kInterface = 0, kDestination = 1, kGateway = 2, kFlags = 3, kMask = 7;
    constexpr std::uint64_t kUp = 0x1, kReject = 0x200; // RTF_UP, RTF_REJECT
    std::vector<Network> found;
    for (std::string_view const line : text::split(routes, '\n')) {
        auto const words = wordsOf(line);
        if (words.size() <= kMask || words[kGateway] != "00000000")
            continue;
        auto const flags = text::toHexadecimal(words[kFlags]);
        auto const address = text::toHexadecimal(words[kDestination]),
                   mask = text::toHexadecimal(words[kMask]);
        if (!flags || (*flags & (kUp | kReject)) != kUp || !address || !mask || (*address | *mask) >> 32 != 0)
            continue;
        Network network{std::string(words[kInterface]), static_cast<std::uint32_t>(*address),
                        static_cast<std::uint32_t>(*mask)};
        if (isPrefix(swapped(network.mask))) {
            network.address = swapped(network.address);
            network.mask = swapped(network.mask);
        }
        if (isPrefix(network.mask))
            found.push_back(std::move(network));
    }
    return found;
}

/// The one with the longest prefix that holds the address; null when two interfaces have it.
Network const* networkOf(std::uint32_t address, std::vector<Network> const& networks)
{
    Network const* best = nullptr;
    bool isShared = false;
    for (Network const& network : networks) {
        if ((address & network.mask) != network.address || (best && network.mask < best->mask))
            continue;
        isShared = best && network.mask == best->mask && network.interface != best->interface;
        best = &network;
    }
    return isShared ? nullptr : best;
}

std::string version4Text(std::uint32_t address, std::uint32_t mask)
{
    std::array<char, 24> text{};
    int const size =
        std::snprintf(text.data(), text.size(), "%u.%u.%u.%u/%d", address >> 24, address >> 16 & 0xFF,
                      address >> 8 & 0xFF, address & 0xFF, std::popcount(mask));
    return std::string(text.data(), static_cast<std::size_t>(size));
}

void addText(std::vector<std::string>& texts, std::string text)
{
    if (texts.size() < kMostAddresses)
        texts.push_back(std::move(text));
}

} // namespace

std::optional<std::string> version6Text(std::string_view digits)
{
    constexpr std::size_t kGroups = 8, kDigits = 4;
    if (digits.size() != kGroups * kDigits)
        return std::nullopt;
    std::array<std::uint64_t, kGroups> groups{};
    std::size_t longest = 0, start = kGroups; // of the run of zeros; one group alone is not shortened
    for (std::size_t i = 0, run = 0; i < kGroups; ++i) {
        auto const group = text::toHexadecimal(digits.substr(i * kDigits, kDigits));
        if (!group || digits.substr(i * kDigits, kDigits).find_first_of("xX") != std::string_view::npos)
            return std::nullopt;
        groups[i] = *group;
        run = *group == 0 ? run + 1 : 0;
        if (run > 1 && run > longest) {
            longest = run;
            start = i + 1 - run;
        }
    }
    std::string text;
    for (std::size_t i = 0; i < kGroups; ++i) {
        if (i == start) {
            text += "::";
            i += longest - 1;
            continue;
        }
        std::array<char, 8> group{};
        std::snprintf(group.data(), group.size(), "%x", static_cast<unsigned>(groups[i]));
        text += (text.empty() || text.back() == ':' ? "" : ":") + std::string(group.data());
    }
    return text;
}

std::map<std::string, InternetAddresses> internetAddresses(Root const& root)
{
    std::map<std::string, InternetAddresses> found;
    std::string const version6 = root.read("proc/net/if_inet6", kLimit).value_or("");
    for (std::string_view const line : text::split(version6, '\n')) {
        auto const words = wordsOf(line); // address, number, prefix length, scope, flags, name
        auto const address = words.size() == 6 ? version6Text(words[0]) : std::nullopt;
        auto const length = address ? text::toHexadecimal(words[2]) : std::nullopt;
        if (length && *length <= 128)
            addText(found[std::string(words[5])].version6, *address + "/" + std::to_string(*length));
    }
    auto const reached = networks(root.read("proc/net/route", kLimit).value_or(""));
    for (std::uint32_t const address : localAddresses(root.read("proc/net/fib_trie", kLimit).value_or("")))
        if (Network const* const network = networkOf(address, reached))
            addText(found[network->interface].version4, version4Text(address, network->mask));
    return found;
}

} // namespace zel
