// Reads sys/bus/pci/slots/*/address and, of functions, numa_node and
// aer_dev_{correctable,nonfatal,fatal} (Linux 4.19; Documentation/ABI/testing/sysfs-bus-pci-devices-aer_stats):
// one line a kind of error, the last line is the total.
#include <zel/enumerator/buses/PciCondition.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

constexpr char kSlots[] = "sys/bus/pci/slots";

/// The number behind "TOTAL_ERR_COR".
std::optional<std::uint64_t> totalIn(Root const& root, std::string const& path, char const* word)
{
    constexpr std::size_t kLimit = 1u << 14;
    auto const totals = text::keyValueLines(root.read(path, kLimit).value_or(""), ' ');
    auto const found = totals.find(word);
    return found == totals.end() ? std::nullopt : text::toUnsigned(found->second);
}

} // namespace

PciSlots::PciSlots(Root const& root)
{
    for (std::string const& name : root.list(kSlots))
        if (auto const address = root.text(std::string(kSlots) + "/" + name + "/address"))
            m_names.emplace(*address, name); // the first of two names stands
}

std::optional<std::string> PciSlots::nameOf(PciAddress const& address) const
{
    std::string const place = address.toString();
    auto const found = m_names.find(place.substr(0, place.rfind('.')));
    return found == m_names.end() ? std::nullopt : std::optional(found->second);
}

void addPciCondition(DeviceDescription& device, Root const& root, std::string const& function)
{
    constexpr std::int64_t kMostNodes = 1 << 10; // NODES_SHIFT; -1: no node
    auto const node = root.number(function + "/numa_node");
    if (node && *node < kMostNodes)
        device.add("NumaNode", narrow(node));
    device.add("CorrectableBusErrors", totalIn(root, function + "/aer_dev_correctable", "TOTAL_ERR_COR"));
    device.add("NonFatalBusErrors", totalIn(root, function + "/aer_dev_nonfatal", "TOTAL_ERR_NONFATAL"));
    device.add("FatalBusErrors", totalIn(root, function + "/aer_dev_fatal", "TOTAL_ERR_FATAL"));
}

} // namespace zel
