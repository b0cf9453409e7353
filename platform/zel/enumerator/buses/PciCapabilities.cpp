#include <zel/enumerator/buses/PciCapabilities.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <set>
#include <span>

namespace zel {

namespace {

constexpr std::size_t kStatus = 0x06, kHeaderType = 0x0E;
constexpr std::size_t kFirst = 0x34, kFirstOfCardBus = 0x14;
constexpr unsigned kNobody = 0xFFFF; // as vendor: what a bus reads where no device answers
constexpr unsigned kHasList = 0x10, kCardBus = 2;
constexpr std::size_t kHeaderEnd = 0x40,
                      kConventionalEnd = 0x100; // where the lists begin and the first one ends

// Ids of the "PCI Code and ID Assignment Specification", 2 and 3: index is the id.
constexpr std::array<char const*, 0x16> kNames{"",
                                               "Power management",
                                               "AGP",
                                               "Vital product data",
                                               "Slot identification",
                                               "Message signaled interrupts (MSI)",
                                               "CompactPCI hot swap",
                                               "PCI-X",
                                               "HyperTransport",
                                               "Vendor specific",
                                               "Debug port",
                                               "CompactPCI resource control",
                                               "Hot plug",
                                               "Bridge subsystem id",
                                               "AGP 8x",
                                               "Secure device",
                                               "PCI Express",
                                               "Message signaled interrupts (MSI-X)",
                                               "SATA configuration",
                                               "Advanced features",
                                               "Enhanced allocation",
                                               "Flattening portal bridge"};
constexpr std::array<char const*, 0x30> kExtendedNames{"",
                                                       "Advanced error reporting",
                                                       "Virtual channel",
                                                       "Device serial number",
                                                       "Power budgeting",
                                                       "Root complex links",
                                                       "Root complex internal link",
                                                       "Root complex event collector",
                                                       "Multi-function virtual channel",
                                                       "Virtual channel",
                                                       "Root complex registers",
                                                       "Vendor specific",
                                                       "Configuration access correlation",
                                                       "Access control services",
                                                       "Alternative routing id (ARI)",
                                                       "Address translation services",
                                                       "Single root I/O virtualization (SR-IOV)",
                                                       "Multi root I/O virtualization",
                                                       "Multicast",
                                                       "Page requests",
                                                       "",
                                                       "Resizable base address registers",
                                                       "Dynamic power allocation",
                                                       "Transaction processing hints",
                                                       "Latency tolerance reporting",
                                                       "Secondary PCI Express",
                                                       "Protocol multiplexing",
                                                       "Process address space ids",
                                                       "Lightweight notification",
                                                       "Downstream port containment",
                                                       "Power management substates (L1)",
                                                       "Precision time measurement",
                                                       "PCI Express over M-PHY",
                                                       "Function readiness notification",
                                                       "Readiness time reporting",
                                                       "Designated vendor specific",
                                                       "Resizable virtual base address registers",
                                                       "Data link features",
                                                       "Physical layer 16 GT/s",
                                                       "Lane margining",
                                                       "Hierarchy id",
                                                       "Native enclosure management",
                                                       "Physical layer 32 GT/s",
                                                       "Alternate protocols",
                                                       "System firmware intermediary",
                                                       "Shadow functions",
                                                       "Data object exchange",
                                                       ""};

std::uint32_t number(std::string_view space, std::size_t offset, std::size_t bytes)
{
    std::uint32_t value = 0;
    for (std::size_t i = bytes; i-- > 0;)
        value = value << 8 | static_cast<unsigned char>(space[offset + i]);
    return value;
}

std::string entry(std::size_t offset, std::uint32_t id, std::span<char const* const> names)
{
    std::array<char, 64> text{};
    char const* const name = id < names.size() ? names[id] : "";
    if (*name)
        std::snprintf(text.data(), text.size(), "0x%02zx %s", offset, name);
    else
        std::snprintf(text.data(), text.size(), "0x%02zx capability 0x%02x", offset, id);
    return text.data();
}

} // namespace

std::vector<std::string> pciCapabilitiesIn(std::string_view space)
{
    std::vector<std::string> all;
    bool const answers = space.size() >= kHeaderEnd && number(space, 0, 2) != kNobody;
    if (!answers || (number(space, kStatus, 2) & kHasList) == 0)
        return all;
    bool const isCardBus = (number(space, kHeaderType, 1) & 0x7F) == kCardBus;
    std::set<std::size_t> seen; // a broken list may lead back into itself
    for (std::size_t at = number(space, isCardBus ? kFirstOfCardBus : kFirst, 1) & 0xFC;
         at >= kHeaderEnd && at + 2 <= space.size() && seen.insert(at).second;
         at = number(space, at + 1, 1) & 0xFC)
        all.push_back(entry(at, number(space, at, 1), kNames));
    for (std::size_t at = kConventionalEnd;
         at >= kConventionalEnd && at + 4 <= space.size() && seen.insert(at).second;) {
        std::uint32_t const header = number(space, at, 4);
        if (header == 0 || header == 0xFFFFFFFF) // no list, or a device that does not answer
            break;
        all.push_back(entry(at, header & 0xFFFF, kExtendedNames));
        at = header >> 20 & 0xFFC;
    }
    return all;
}

} // namespace zel
