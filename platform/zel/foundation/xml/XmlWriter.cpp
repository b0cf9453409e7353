#include <zel/foundation/xml/XmlWriter.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace zel {
namespace {

using Unit = String::Unit;

constexpr unsigned kLinedDepth = 2;
constexpr std::size_t kLongestEscape = 6; // "\u0000", "&quot;"

// What stands as it is between quotes. DEL and C1 do too: XML carries them.
constexpr auto kPlain = [] {
    std::array<bool, 128> plain{};
    for (unsigned c = 0x20; c < 0x80; ++c)
        plain[c] = c != '"' && c != '&' && c != '<' && c != '>' && c != '\\';
    return plain;
}();

bool isPlain(Unit unit) { return unit < 0x80 && kPlain[unit]; }
bool isHigh(Unit unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLow(Unit unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }
bool isForXml(Unit unit) { return unit >= 0x20 && unit < 0xFFFE; }

char* put(char* to, std::string_view what) { return std::copy(what.begin(), what.end(), to); }

char* putUnit(char* to, Unit unit)
{
    constexpr char kHex[] = "0123456789ABCDEF";
    to = put(to, "\\u");
    for (int shift = 12; shift >= 0; shift -= 4)
        *to++ = kHex[(unit >> shift) & 0xF];
    return to;
}

// One character that does not stand as it is; takes one unit, or both of a pair.
char* putOther(char* to, Unit const*& at, Unit const* end)
{
    Unit const unit = *at++;
    switch (unit) {
    case '"':
        return put(to, "&quot;");
    case '&':
        return put(to, "&amp;");
    case '<':
        return put(to, "&lt;");
    case '>':
        return put(to, "&gt;");
    case '\\':
        return put(to, "\\\\");
    case '\t': // in an attribute, a reader of XML turns these into blanks unless they are references
        return put(to, "&#9;");
    case '\n':
        return put(to, "&#10;");
    case '\r':
        return put(to, "&#13;");
    default:
        break;
    }
    bool const isPair = isHigh(unit) && at < end && isLow(*at);
    if ((!isPair && (isHigh(unit) || isLow(unit))) || !isForXml(unit))
        return putUnit(to, unit);
    to += utf::encodeUtf8(at - 1, isPair ? 2 : 1, to);
    at += isPair ? 1 : 0;
    return to;
}

} // namespace

// A chunk at a time, so that the room made for the worst case stays small.
void XmlWriter::appendEscaped(std::string& out, String const& value)
{
    constexpr std::size_t kChunk = 1024;
    Unit const* at = value.ucs2();
    Unit const* const end = at + value.size();
    while (at < end) {
        std::size_t const before = out.size();
        std::size_t const units = std::min(kChunk, static_cast<std::size_t>(end - at));
        out.resize(before + (units + 1) * kLongestEscape); // a pair may take one unit of the next chunk
        char* to = out.data() + before;
        for (Unit const* const chunkEnd = at + units; at < chunkEnd;) {
            if (isPlain(*at))
                *to++ = static_cast<char>(*at++);
            else
                to = putOther(to, at, end);
        }
        out.resize(static_cast<std::size_t>(to - out.data()));
    }
}

void XmlWriter::open(std::string_view name)
{
    if (m_isTagOpen)
        m_out += '>';
    if (m_depth++ < kLinedDepth)
        m_out += '\n';
    m_out += '<';
    m_out += name;
    m_isTagOpen = true;
}

void XmlWriter::close(std::string_view name)
{
    --m_depth;
    if (m_isTagOpen) {
        m_out += "/>";
        m_isTagOpen = false;
        return;
    }
    if (m_depth == 0)
        m_out += '\n';
    m_out += "</";
    m_out += name;
    m_out += '>';
}

void XmlWriter::begin(std::string_view name)
{
    m_out += ' ';
    m_out += name;
    m_out += "=\"";
}

void XmlWriter::text(std::string_view name, String const& value)
{
    begin(name);
    appendEscaped(m_out, value);
    end();
}

void XmlWriter::textIfAny(std::string_view name, String const& value)
{
    if (!value.empty())
        text(name, value);
}

void XmlWriter::raw(std::string_view name, std::string_view value)
{
    begin(name);
    m_out += value;
    end();
}

void XmlWriter::number(std::string_view name, double value)
{
    char text[32];
    if (std::isnan(value))
        return raw(name, "NaN");
    if (std::isinf(value))
        return raw(name, value < 0 ? "-INF" : "INF");
    auto const result = std::to_chars(text, text + sizeof text, value);
    raw(name, std::string_view(text, static_cast<std::size_t>(result.ptr - text)));
}

void XmlWriter::flag(std::string_view name, bool value)
{
    if (value)
        raw(name, "true");
}

} // namespace zel
