#include <listing/Escapes.h>

#include <listing/Listing.h>

namespace listing {

std::string escaped(std::string const& text)
{
    std::string out;
    out.reserve(text.size());
    for (char const c : text)
        switch (c) {
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
        default:
            out += c;
        }
    return out;
}

std::string escaped(zel::String const& text) { return escaped(harmless(text)); }

} // namespace listing
