// Reads sys/bus/pci/devices/*/{max_link_width,max_link_speed,current_link_width,current_link_speed}.
#include <zel/enumerator/buses/PciLink.h>

namespace zel {

namespace {

constexpr std::int64_t kMaxLinkWidth = 32; // 255: the kernel could not ask the device

} // namespace

bool addPciLink(DeviceDescription& device, Root const& root, std::string const& function)
{
    std::string const folder = function + "/";
    auto const width = [&](char const* name) -> std::optional<std::uint32_t> {
        auto const number = root.number(folder + name);
        return number && *number > 0 && *number <= kMaxLinkWidth
                   ? std::optional(static_cast<std::uint32_t>(*number))
                   : std::nullopt;
    };
    auto const speed = [&](char const* name) -> std::optional<String> {
        auto const line = root.text(folder + name);
        return line && !line->starts_with("Unknown") ? std::optional(String(*line)) : std::nullopt;
    };
    auto const maximum = width("max_link_width");
    if (!maximum)
        return false;
    device.add("MaximumLinkWidth", maximum);
    device.add("MaximumLinkSpeed", speed("max_link_speed"));
    device.add("LinkWidth", width("current_link_width"));
    device.add("LinkSpeed", speed("current_link_speed"));
    return true;
}

} // namespace zel
