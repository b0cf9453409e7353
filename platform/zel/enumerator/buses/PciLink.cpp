// Reads sys/bus/pci/devices/*/{max_link_width,max_link_speed,current_link_width,current_link_speed}, of the
// function and, for what both ends of its link can do, of the bridge above it.
#include <zel/enumerator/buses/PciLink.h>

#include <algorithm>
#include <cstdlib>

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

/// "8.0 GT/s PCIe"; before Linux 5.6 without the last word.
std::optional<std::string> speedIn(Root const& root, std::string const& path)
{
    auto line = root.text(path);
    return line && !line->starts_with("Unknown") ? line : std::nullopt;
}

/// Thousandths of a billion transfers a second, of "8.0 GT/s PCIe"; nothing for another form.
std::optional<unsigned> transfers(std::string const& speed)
{
    std::size_t const end = speed.find(" GT/s");
    std::size_t const dot = std::min(speed.find('.'), end);
    constexpr std::size_t kMostDigits = 4;
    if (end == std::string::npos || dot == 0 || dot > kMostDigits ||
        speed.find_first_not_of("0123456789.") != end)
        return std::nullopt;
    std::string const fraction = dot == end ? "" : speed.substr(dot + 1, end - dot - 1);
    unsigned const whole = static_cast<unsigned>(std::atoi(speed.c_str()));
    return whole * 1000 + static_cast<unsigned>(std::atoi((fraction + "000").substr(0, 3).c_str()));
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
    auto const ownRate = own ? transfers(*own) : std::nullopt;
    auto const aboveRate = above ? transfers(*above) : std::nullopt;
    if (ownRate && aboveRate)
        device.add("CommonLinkSpeed", *ownRate <= *aboveRate ? own : above);
}

} // namespace

bool addPciLink(DeviceDescription& device, Root const& root, std::string const& function)
{
    std::string const folder = function + "/";
    auto const maximum = widthIn(root, folder + "max_link_width");
    if (!maximum)
        return false;
    device.add("MaximumLinkWidth", maximum);
    device.add("MaximumLinkSpeed", speedIn(root, folder + "max_link_speed"));
    device.add("LinkWidth", widthIn(root, folder + "current_link_width"));
    device.add("LinkSpeed", speedIn(root, folder + "current_link_speed"));
    addBothEnds(device, root, function);
    return true;
}

} // namespace zel
