#include <zel/foundation/XmlScanner.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Utf.h>

#include <charconv>

namespace zel {
namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' ||
           static_cast<unsigned char>(c) >= 0x80;
}

bool isNameCharacter(char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '-' || c == '.'; }

// XML 1.0, production 2 "Char".
bool isXmlCharacter(std::uint32_t c)
{
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD) ||
           (c >= 0x10000 && c <= 0x10FFFF);
}

struct Entity
{
    std::string_view name;
    char character;
};
constexpr Entity kEntities[] = {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};

constexpr std::size_t kLongestReference = 16; // "#x", eight digits and ';', with room for leading zeros

} // namespace

bool XmlScanner::isName(std::string_view text)
{
    if (text.empty() || !isLetter(text.front()))
        return false;
    for (char c : text)
        if (!isNameCharacter(c))
            return false;
    return true;
}

std::uint32_t XmlScanner::characterOf(std::string_view reference)
{
    for (Entity const& one : kEntities)
        if (reference == one.name)
            return static_cast<unsigned char>(one.character);
    if (!reference.starts_with('#'))
        return kNoCharacter;
    bool const isHex = reference.starts_with("#x");
    reference.remove_prefix(isHex ? 2 : 1);
    std::uint32_t code = 0;
    auto const end = reference.data() + reference.size();
    auto const result = std::from_chars(reference.data(), end, code, isHex ? 16 : 10);
    return result.ec == std::errc() && result.ptr == end && isXmlCharacter(code) ? code : kNoCharacter;
}

std::string_view XmlScanner::foreignEncoding(std::string_view text)
{
    if (!text.starts_with("<?xml"))
        return {};
    std::string_view const declaration = text.substr(0, text.find("?>"));
    std::size_t const at = declaration.find("encoding");
    if (at == std::string_view::npos || !isSpace(declaration[5])) // "<?xml-encoding" declares nothing
        return {};
    std::size_t const first = declaration.find_first_of("\"'", at);
    std::size_t const last = declaration.find_first_of("\"'", first + 1);
    if (last == std::string_view::npos)
        return declaration.substr(at);
    std::string_view const name = declaration.substr(first + 1, last - first - 1);
    String const lowered = String(name).lowered();
    bool const isOurs = lowered == "utf-8" || lowered == "us-ascii" || lowered == "ascii";
    return isOurs ? std::string_view() : name;
}

void XmlScanner::fail(char const* reason, std::size_t offset)
{
    throw ParseException(String("XML: ") + reason + " at byte " +
                         String::number(static_cast<std::uint64_t>(offset)));
}

void XmlScanner::check()
{
    if (m_text.size() > m_limits.bytes)
        fail("document larger than allowed", m_limits.bytes);
    checkCharacters();
    if (startsWith("\xEF\xBB\xBF"))
        m_at = 3;
    if (!foreignEncoding(m_text.substr(m_at)).empty())
        fail("another encoding than UTF-8", m_at);
    while (m_at < m_text.size()) {
        if (m_text[m_at] == '<')
            scanMarkup();
        else
            scanText();
    }
    if (m_depth != 0)
        fail("element not closed", m_at);
    if (m_elements == 0)
        fail("no element", m_at);
}

void XmlScanner::checkCharacters() const
{
    for (std::size_t at = 0; at < m_text.size();) {
        std::size_t const length = utf::sequenceLength(m_text.data() + at, m_text.size() - at);
        if (length == 0)
            fail("no UTF-8", at);
        if (static_cast<unsigned char>(m_text[at]) < 0x20 && !isSpace(m_text[at]))
            fail("control character", at);
        std::string_view const sequence = m_text.substr(at, length);
        if (sequence == "\xEF\xBF\xBE" || sequence == "\xEF\xBF\xBF")
            fail("a character that XML excludes", at);
        at += length;
    }
}

void XmlScanner::scanText()
{
    for (; m_at < m_text.size() && m_text[m_at] != '<'; ++m_at) {
        if (m_depth == 0 && !isSpace(m_text[m_at]))
            fail("text outside the document's element", m_at);
        if (startsWith("]]>"))
            fail("\"]]>\" outside a CDATA section", m_at);
        if (m_text[m_at] == '&')
            scanReference();
    }
}

// Leaves m_at on the ';'.
void XmlScanner::scanReference()
{
    std::string_view const rest = m_text.substr(m_at + 1, kLongestReference);
    std::size_t const length = rest.find(';');
    if (length == std::string_view::npos || characterOf(rest.substr(0, length)) == kNoCharacter)
        fail("unknown entity or character reference", m_at);
    m_at += 1 + length;
}

void XmlScanner::skipPast(std::string_view start, std::string_view end, char const* reason)
{
    std::size_t const found = m_text.find(end, m_at + start.size());
    if (found == std::string_view::npos)
        fail(reason, m_at);
    m_at = found + end.size();
}

void XmlScanner::scanMarkup()
{
    if (startsWith("<!--")) {
        skipPast("<!--", "--", "comment not closed");
        if (!startsWith(">"))
            fail("\"--\" inside a comment", m_at - 2);
        ++m_at;
    } else if (startsWith("<![CDATA[") && m_depth > 0)
        skipPast("<![CDATA[", "]]>", "CDATA section not closed");
    else if (startsWith("<?"))
        skipPast("<?", "?>", "processing instruction not closed");
    else if (startsWith("<!"))
        fail("document types are refused", m_at);
    else if (startsWith("</"))
        scanClosingTag();
    else
        scanOpeningTag();
}

void XmlScanner::scanClosingTag()
{
    if (m_depth == 0)
        fail("closing tag without an element", m_at);
    --m_depth;
    skipPast("</", ">", "tag not closed");
}

void XmlScanner::scanOpeningTag()
{
    if (m_depth == 0 && m_elements > 0)
        fail("more than one element at the top", m_at);
    if (++m_elements > m_limits.elements)
        fail("more elements than allowed", m_at);
    if (++m_depth > m_limits.depth)
        fail("elements nested deeper than allowed", m_at);
    std::size_t const start = m_at;
    for (++m_at; m_at < m_text.size(); ++m_at) {
        char const c = m_text[m_at];
        if (c == '<')
            fail("\"<\" inside a tag", m_at);
        if (c == '"' || c == '\'')
            scanQuoted();
        if (c == '>') {
            if (m_text[m_at - 1] == '/')
                --m_depth;
            ++m_at;
            return;
        }
    }
    fail("tag not closed", start);
}

// Leaves m_at on the closing quote.
void XmlScanner::scanQuoted()
{
    std::size_t const start = m_at;
    for (++m_at; m_at < m_text.size(); ++m_at) {
        if (m_text[m_at] == m_text[start])
            return;
        if (m_text[m_at] == '<')
            fail("\"<\" inside an attribute", m_at);
        if (m_text[m_at] == '&')
            scanReference();
    }
    fail("attribute not closed", start);
}

} // namespace zel
