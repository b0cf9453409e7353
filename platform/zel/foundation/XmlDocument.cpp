#include <zel/foundation/XmlDocument.h>

#include <zel/foundation/ControlCharacters.h>
#include <zel/foundation/Exception.h>

namespace zel {
namespace {

constexpr char const* kXmlSpace = " \t\r\n";

void trim(std::string& text)
{
    std::size_t const last = text.find_last_not_of(kXmlSpace);
    text.erase(last == std::string::npos ? 0 : last + 1);
    text.erase(0, text.find_first_not_of(kXmlSpace));
}

// Recursion is bounded: the reader refuses what is nested deeper than the limit.
void read(XmlReader& reader, XmlElement& element)
{
    element.name = reader.name();
    element.attributes = reader.attributes();
    for (XmlReader::Children children(reader, &element.text); children.next();)
        read(reader, element.children.emplace_back());
    trim(element.text);
}

// Malformed UTF-8 and the two noncharacters that XML 1.0 excludes (production 2, "Char") become U+FFFD.
std::string carried(std::string const& text)
{
    std::string clean = String(text).toUtf8();
    for (std::size_t at = clean.find("\xEF\xBF"); at != std::string::npos;
         at = clean.find("\xEF\xBF", at + 3))
        if (clean[at + 2] == '\xBE' || clean[at + 2] == '\xBF')
            clean[at + 2] = '\xBD';
    return clean;
}

// Null for a character that stands for itself.
char const* escapeOf(char c, bool inAttribute)
{
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return inAttribute ? "&quot;" : nullptr;
    case '\t':
        return inAttribute ? "&#9;" : nullptr;
    case '\n':
        return inAttribute ? "&#10;" : nullptr;
    case '\r':
        return "&#13;";
    default:
        return static_cast<unsigned char>(c) < 0x20 ? "\xEF\xBF\xBD" : nullptr;
    }
}

void appendEscaped(std::string& out, std::string const& given, bool inAttribute)
{
    std::string const text = carried(given);
    std::size_t plain = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char const* const escape = escapeOf(text[i], inAttribute);
        ControlAt const control = escape ? ControlAt{0, 1} : controlAt(text, i);
        if (!escape && control.code <= '\n') // none, or a tab or line feed of the text
            continue;
        out.append(text, plain, i - plain).append(escape ? escape : xmlEscape(control.code));
        i += control.length - 1;
        plain = i + 1;
    }
    out.append(text, plain);
}

void checkName(std::string const& name)
{
    if (!XmlReader::isName(name))
        throw InvalidArgumentException(String("Not a name in XML: \"") + String(name) + "\"");
}

void appendElement(std::string& out, XmlElement const& element, std::size_t depth)
{
    checkName(element.name);
    out.append(2 * depth, ' ').append("<").append(element.name);
    for (auto const& [key, value] : element.attributes) {
        checkName(key);
        out.append(" ").append(key).append("=\"");
        appendEscaped(out, value, true);
        out.append("\"");
    }
    if (element.text.empty() && element.children.empty()) {
        out.append("/>\n");
        return;
    }
    out.append(">");
    appendEscaped(out, element.text, false);
    if (!element.children.empty()) {
        out.append("\n");
        for (XmlElement const& child : element.children)
            appendElement(out, child, depth + 1);
        out.append(2 * depth, ' ');
    }
    out.append("</").append(element.name).append(">\n");
}

} // namespace

std::string const* XmlElement::attribute(std::string_view key) const
{
    for (auto const& [name_, value] : attributes)
        if (name_ == key)
            return &value;
    return nullptr;
}

XmlElement const* XmlElement::child(std::string_view key) const
{
    for (XmlElement const& element : children)
        if (element.name == key)
            return &element;
    return nullptr;
}

XmlElement XmlDocument::parse(std::string_view utf8, Limits const& limits)
{
    XmlElement root;
    try {
        XmlReader reader(utf8, limits);
        reader.openRoot();
        read(reader, root);
        reader.finish();
    } catch (XmlException const& e) {
        throw ParseException("XML: " + e.getMessage());
    }
    return root;
}

std::string XmlDocument::print(XmlElement const& root)
{
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    appendElement(out, root, 0);
    return out;
}

} // namespace zel
