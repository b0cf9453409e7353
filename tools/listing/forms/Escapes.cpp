#include <listing/forms/Escapes.h>

#include <listing/forms/Listing.h>

#include <string_view>

namespace listing {

namespace {

// U+FFFE and U+FFFF are in no document, not even as references.
bool isNoCharacter(std::string_view text)
{
    return text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF");
}

} // namespace

std::string escaped(std::string const& text)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
        switch (char const c = text[i]) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&#39;";
            break;
        case '\xEF':
            if (isNoCharacter(std::string_view(text).substr(i))) {
                out += "\xEF\xBF\xBD";
                i += 2;
                break;
            }
            [[fallthrough]];
        default:
            out += c;
        }
    return out;
}

std::string escaped(zel::String const& text) { return escaped(harmless(text)); }

} // namespace listing
