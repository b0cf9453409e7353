#include <zel/enumerator/drives/ScsiVpd.h>

#include <zel/enumerator/root/Text.h>

#include <array>

namespace zel {

namespace {

// A page begins with device type, page code and two bytes of length, the greater first; a designator on page
// 0x83 with code set, type, a reserved byte and one byte of length. Both headers have four bytes.
constexpr std::size_t kHeader = 4;
// What Linux writes for an ATA drive into its T10 designator: vendor, model, serial number, padded with blanks.
constexpr std::size_t kModelLength = 40, kSerialLength = 20;
constexpr std::string_view kAtaVendor = "ATA     ";
constexpr unsigned kTypeT10 = 1;

unsigned byteAt(std::string_view page, std::size_t at) { return static_cast<unsigned char>(page[at]); }

/// What follows the header of a page with that code, as far as header and content agree.
std::string_view payload(std::string_view page, unsigned code)
{
    if (page.size() < kHeader || byteAt(page, 1) != code)
        return {};
    return page.substr(kHeader, byteAt(page, 2) << 8 | byteAt(page, 3));
}

} // namespace

std::optional<std::string> vpdSerialNumber(std::string_view page)
{
    return text::meaningful(payload(page, 0x80));
}

std::optional<AtaIdentity> vpdAtaIdentity(std::string_view page)
{
    std::string_view rest = payload(page, 0x83);
    while (rest.size() >= kHeader) {
        std::string_view const designator = rest.substr(kHeader, byteAt(rest, 3));
        bool const isT10 = (byteAt(rest, 1) & 0x0F) == kTypeT10;
        if (isT10 && designator.starts_with(kAtaVendor) &&
            designator.size() >= kAtaVendor.size() + kModelLength + kSerialLength)
            return AtaIdentity{
                text::meaningful(designator.substr(kAtaVendor.size(), kModelLength)).value_or(""),
                text::meaningful(designator.substr(kAtaVendor.size() + kModelLength, kSerialLength))
                    .value_or("")};
        rest.remove_prefix(kHeader + designator.size());
    }
    return std::nullopt;
}

MediumFacts vpdMediumFacts(std::string_view page)
{
    // 0: not told, 1: nothing rotates, up to 0x400 and 0xFFFF reserved.
    constexpr unsigned kSlowest = 0x401, kReserved = 0xFFFF;
    static constexpr std::array<char const*, 6> kForms{nullptr,    "5.25 inch", "3.5 inch",
                                                       "2.5 inch", "1.8 inch",  "less than 1.8 inch"};
    MediumFacts facts;
    std::string_view const content = payload(page, 0xB1);
    if (content.size() < 4)
        return facts;
    unsigned const rate = byteAt(content, 0) << 8 | byteAt(content, 1);
    if (rate >= kSlowest && rate != kReserved)
        facts.revolutions = rate;
    if (unsigned const form = byteAt(content, 3) & 0x0F; form > 0 && form < kForms.size())
        facts.formFactor = kForms[form];
    return facts;
}

} // namespace zel
