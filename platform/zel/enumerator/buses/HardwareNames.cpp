#include <zel/enumerator/buses/HardwareNames.h>

#include <zel/enumerator/root/Text.h>

#include <array>
#include <cstdio>

namespace zel {

namespace {

class NoNames final : public HardwareNames
{
public:
    HardwareName pci(PciId const&) const override { return {}; }
    HardwareName usb(UsbId const&) const override { return {}; }
};

std::string described(HardwareName const& name, char const* kind, std::uint16_t vendor, std::uint16_t product)
{
    std::string joined = joinName(name.vendor, name.product);
    if (!joined.empty())
        return joined;
    std::string const ids = hexadecimal4(vendor) + ":" + hexadecimal4(product);
    return (name.vendor ? shortVendor(*name.vendor) + " " : std::string()) + kind + " device " + ids;
}

/// Cuts one legal form off the end; false when there is none.
bool cutLegalForm(std::string_view& vendor)
{
    static constexpr std::array<std::string_view, 22> kForms{"Inc",
                                                             "Incorporated",
                                                             "Corporation",
                                                             "Corp",
                                                             "Co",
                                                             "Ltd",
                                                             "Limited",
                                                             "LLC",
                                                             "GmbH",
                                                             "AG",
                                                             "S.A",
                                                             "SA",
                                                             "B.V",
                                                             "plc",
                                                             "Pte",
                                                             "Company",
                                                             "Intl",
                                                             "AB",
                                                             "Semiconductor",
                                                             "Electronics",
                                                             "Technologies",
                                                             "and subsidiaries"};
    constexpr std::string_view kBetween = "., ";
    std::string_view const rest = vendor.substr(0, vendor.find_last_not_of(kBetween) + 1);
    for (std::string_view const form : kForms) {
        if (!rest.ends_with(form))
            continue;
        std::string_view const before = rest.substr(0, rest.size() - form.size());
        if (before.empty() || kBetween.find(before.back()) == std::string_view::npos)
            continue;
        vendor = before;
        return true;
    }
    return false;
}

} // namespace

HardwareNames::~HardwareNames() = default;

HardwareNames const& HardwareNames::none()
{
    static NoNames const names;
    return names;
}

std::string hexadecimal4(std::uint16_t number)
{
    std::array<char, 8> buffer{};
    int const size = std::snprintf(buffer.data(), buffer.size(), "%04x", number);
    return std::string(buffer.data(), static_cast<std::size_t>(size));
}

std::string shortVendor(std::string_view vendor)
{
    vendor = text::trimmed(vendor);
    std::size_t const open = vendor.rfind('[');
    if (open != std::string_view::npos && vendor.ends_with(']') && open + 2 < vendor.size())
        return std::string(vendor.substr(open + 1, vendor.size() - open - 2));
    while (cutLegalForm(vendor))
        ;
    return std::string(vendor.substr(0, vendor.find_last_not_of(", ") + 1));
}

std::string joinName(std::optional<std::string> const& vendor, std::optional<std::string> const& product)
{
    if (!product || product->empty())
        return std::string();
    std::string const brief = vendor ? shortVendor(*vendor) : std::string();
    if (brief.empty() || String(*product).lowered().startsWith(String(brief).lowered()))
        return *product;
    return brief + " " + *product;
}

std::string nameOf(HardwareName const& name, PciId const& id)
{
    return described(name, "PCI", id.vendor, id.device);
}
std::string nameOf(HardwareName const& name, UsbId const& id)
{
    return described(name, "USB", id.vendor, id.product);
}

} // namespace zel
