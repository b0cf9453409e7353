#pragma once
// Names of sound cards, from /proc/asound/cards.

#include <map>
#include <string>
#include <string_view>

namespace zel {

struct SoundCardName
{
    std::string driver; ///< "HDA-Intel"
    std::string name;   ///< "HDA Intel PCH"
};

/// By card number. A line of another form is left out.
std::map<unsigned, SoundCardName> parseSoundCards(std::string_view text);

} // namespace zel
