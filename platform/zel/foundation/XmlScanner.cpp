#include <zel/foundation/XmlScanner.h>

#include <zel/foundation/Exception.h>

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

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 && !isSpace(c); }

// XML 1.0, production 2 "Char".
bool isXmlCharacter(std::uint32_t c)
{
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD) ||
           (c >= 0x10000 && c <= 0x10FFFF);
}

bool isCharacterReference(std::string_view name)
{
    bool const hexadecimal = name.size() > 1 && name[1] == 'x';
    std::string_view const digits = name.substr(hexadecimal ? 2 : 1);
    std::uint32_t value = 0;
    auto const result =
        std::from_chars(digits.data(), digits.data() + digits.size(), value, hexadecimal ? 16 : 10);
    return result.ec == std::errc() && result.ptr == digits.data() + digits.size() && isXmlCharacter(value);
}

constexpr std::size_t kLongestReference = 12; // "#x" and eight digits, with room for leading zeros

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

void XmlScanner::fail(char const* reason, std::size_t offset)
{
    throw ParseException(String("XML: ") + reason + " at byte " +
                         String::number(static_cast<std::uint64_t>(offset)));
}

void XmlScanner::check()
{
    if (m_text.size() > m_limits.bytes)
        fail("document larger than allowed", m_limits.bytes);
    if (startsWith("\xEF\xBB\xBF"))
        m_at = 3;
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

void XmlScanner::checkCharacter() const
{
    if (isControl(m_text[m_at]))
        fail("control character", m_at);
}

void XmlScanner::scanText()
{
    for (; m_at < m_text.size() && m_text[m_at] != '<'; ++m_at) {
        checkCharacter();
        if (m_depth == 0 && !isSpace(m_text[m_at]))
            fail("text outside the document's element", m_at);
        if (m_text[m_at] == '&')
            scanReference();
    }
}

// Leaves m_at on the ';'.
void XmlScanner::scanReference()
{
    std::string_view const rest = m_text.substr(m_at + 1, kLongestReference + 1);
    std::size_t const end = rest.find(';');
    std::string_view const name = rest.substr(0, end);
    bool known = end != std::string_view::npos && !name.empty();
    if (known && name[0] == '#')
        known = isCharacterReference(name);
    else if (known)
        known = name == "amp" || name == "lt" || name == "gt" || name == "quot" || name == "apos";
    if (!known)
        fail("unknown entity or character reference", m_at);
    m_at += 1 + end;
}

void XmlScanner::skipPast(std::string_view start, std::string_view end, char const* reason)
{
    std::size_t const found = m_text.find(end, m_at + start.size());
    if (found == std::string_view::npos)
        fail(reason, m_at);
    for (std::size_t const after = found + end.size(); m_at < after; ++m_at)
        checkCharacter();
}

void XmlScanner::scanMarkup()
{
    if (startsWith("<!--"))
        skipPast("<!--", "-->", "comment not closed");
    else if (startsWith("<![CDATA[") && m_depth > 0)
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
        checkCharacter();
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
        checkCharacter();
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
