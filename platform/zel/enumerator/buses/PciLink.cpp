// Reads sys/bus/pci/devices/*/{max_link_width,max_link_speed,current_link_width,current_link_speed}, of the
// function and, for what both ends of its link can do, of the bridge above it.
#include <zel/enumerator/buses/PciLink.h>

#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>

#include <algorithm>

namespace zel {

namespace {

constexpr std::int64_t kMaxLinkWidth = 32; // 255: the kernel could not ask the device

std::optional<std::uint32_t> widthIn(Root const& root, std::string const& path)
{
    auto const number = root.number(path);
    return number && *number > 0 && *number <= kMaxLinkWidth
               ? std::optional(static_cast<std::uint32_t>(*number))
               : std::nullopt;
}

/// "8.0 GT/s PCIe", before Linux 5.6 without the last word; "Unknown" and a number where the kernel has no name for it.
std::optional<double> speedIn(Root const& root, std::string const& path)
{
    return text::amountBefore(root.text(path).value_or(std::string()), " GT/s");
}

measure::Reading transfers(std::optional<double> speed)
{
    return measure::link(UnitType::TRANSFERSPERSECOND(), speed);
}

/// Why a fast card runs slowly: it sits in a slot that can do less, or the link came up below what both can. What is
/// above the first bridge has no such files.
void addBothEnds(DeviceDescription& device, Root const& root, std::string const& function)
{
    std::string const bridge = function.substr(0, function.rfind('/'));
    auto const here = widthIn(root, function + "/max_link_width");
    auto const there = widthIn(root, bridge + "/max_link_width");
    if (here && there)
        device.add("CommonLinkWidth", std::optional(std::min(*here, *there)));
    auto const own = speedIn(root, function + "/max_link_speed");
    auto const above = speedIn(root, bridge + "/max_link_speed");
    if (own && above)
        device.add("CommonLinkSpeed", transfers(std::min(*own, *above)));
}

} // namespace

bool addPciLink(DeviceDescription& device, Root const& root, std::string const& function)
{
    std::string const folder = function + "/";
    auto const maximum = widthIn(root, folder + "max_link_width");
    if (!maximum)
        return false;
    device.add("MaximumLinkWidth", maximum);
    device.add("MaximumLinkSpeed", transfers(speedIn(root, folder + "max_link_speed")));
    device.add("LinkWidth", widthIn(root, folder + "current_link_width"));
    device.add("LinkSpeed", transfers(speedIn(root, folder + "current_link_speed")));
    addBothEnds(device, root, function);
    return true;
}

} // namespace zel
