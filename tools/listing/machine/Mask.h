#pragma once
// Listings that may be given away: what tells one machine from others is replaced by a placeholder.
//
//     listing::Mask mask;
//     mask.apply(machine); // "Serial number: [Serial number 1]"

#include <listing/machine/Machine.h>

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace listing {

/// Replaced are the values of properties whose category says so (Property::isIdentifying), and the same values in
/// all other texts: a hardware address in the name of an interface or in a location, a host name, a serial number in a
/// path; besides these, whatever has the form of a hardware address or a UUID. A placeholder is "[{name of the
/// property} {number}]". Equal values have equal placeholders in all listings of one Mask; they are numbered as
/// they come, so that no value can be computed back. Guids of devices follow their masked locations.
class Mask
{
public:
    void apply(Machine& machine);

private:
    void learn(Property const& property);
    std::string learn(std::string const& label, std::string const& value);
    std::string nextPlaceholder(std::string const& label);
    std::string const& ofDigits(std::string const& label, std::string const& digits);
    struct Found
    {
        std::size_t kept;   ///< bytes before the secret that stay
        std::size_t length; ///< of those and the secret
        std::string placeholder;
    };
    std::optional<Found> secretAt(std::string const& text, std::size_t at);
    std::optional<Found> wordAt(std::string const& text, std::size_t at) const;
    bool mask(zel::String& text);
    void mask(Property& property);
    void mask(Device& device);

    std::map<std::string, std::string, std::less<>> m_words; // placeholders by the value as it stands
    std::unordered_map<std::string, std::string>
        m_digits;                                // by hexadecimal digits, whatever stands between them
    std::map<std::string, std::size_t> m_counts; // of placeholders, by label
};

} // namespace listing
