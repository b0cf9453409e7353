#include <zel/enumerator/attached/SoundCardNames.h>

#include <zel/enumerator/root/Text.h>

namespace zel {

std::map<unsigned, SoundCardName> parseSoundCards(std::string_view text)
{
    //  0 [PCH            ]: HDA-Intel - HDA Intel PCH
    //                       HDA Intel PCH at 0xdf240000 irq 141
    constexpr unsigned kMaxCards = 256;
    std::map<unsigned, SoundCardName> cards;
    for (std::string_view const line : text::split(text, '\n')) {
        std::size_t const open = line.find('['), close = line.find("]: ", open);
        if (close == std::string_view::npos)
            continue;
        auto const number = text::indexAfter(text::trimmed(line.substr(0, open)), "");
        std::string_view const rest = text::trimmed(line.substr(close + 3));
        std::size_t const dash = rest.find(" - ");
        if (number && *number < kMaxCards && dash != std::string_view::npos)
            cards[*number] = {std::string(rest.substr(0, dash)), std::string(rest.substr(dash + 3))};
    }
    return cards;
}

} // namespace zel
