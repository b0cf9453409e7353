#pragma once
// The look at an XML text before its tree is built. Internal to the readers of XML.

#include <zel/foundation/XmlDocument.h>

#include <cstdint>

namespace zel {

/// Walks the text once without keeping anything and refuses what the tree builder would take or would spend
/// memory on: document types, entities other than the five predefined, characters and character references
/// that XML excludes, bytes that are no UTF-8, more than one top element, text outside it, and whatever exceeds the limits.
class XmlScanner
{
public:
    XmlScanner(std::string_view text, XmlDocument::Limits const& limits) : m_text(text), m_limits(limits) {}

    /// Throws ParseException.
    void check();

    /// Name as far as its ASCII characters go: letters, digits, '_', '-', '.', ':', not starting with one of
    /// the digits, '-' or '.'; characters beyond ASCII are taken as they are.
    static bool isName(std::string_view text);
    static constexpr std::uint32_t kNoCharacter = 0;
    /// The character of a reference, without its '&' and ';': one of the five predefined, or one by its number;
    /// kNoCharacter for what is none.
    ZEL_EXPORT static std::uint32_t characterOf(std::string_view reference);
    /// What the XML declaration that begins the text, behind its byte order mark, says of its encoding, where that
    /// is neither UTF-8 nor ASCII; empty otherwise.
    ZEL_EXPORT static std::string_view foreignEncoding(std::string_view text);
    /// Throws ParseException "XML: {reason} at byte {offset}".
    [[noreturn]] static void fail(char const* reason, std::size_t offset);

private:
    void scanText();
    void scanMarkup();
    void scanOpeningTag();
    void scanClosingTag();
    void scanReference();
    void scanQuoted();
    void skipPast(std::string_view start, std::string_view end, char const* reason);
    bool startsWith(std::string_view what) const { return m_text.substr(m_at, what.size()) == what; }
    void checkCharacters() const;

    std::string_view m_text;
    XmlDocument::Limits const& m_limits;
    std::size_t m_at = 0;
    std::size_t m_elements = 0;
    unsigned m_depth = 0;
};

} // namespace zel
