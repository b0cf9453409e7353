#pragma once
// XML written as it goes: no tree, one text that grows. Elements and attributes only, no character data.

#include <zel/foundation/String.h>

#include <concepts>
#include <string>
#include <string_view>

namespace zel {

/// Names of elements and attributes are the caller's literals and are not checked. Texts may hold every
/// UTF-16 unit: `\` is written as `\\`, and a unit that XML cannot carry (most of C0, a lone surrogate, U+FFFE,
/// U+FFFF) as `\u` and four hex digits, which XmlReader takes back.
class XmlWriter
{
public:
    /// Appends to `out`, which outlives the writer.
    explicit XmlWriter(std::string& out) : m_out(out) {}

    /// Each element of the two outer levels begins a line.
    void open(std::string_view name);
    void close(std::string_view name);

    // Attributes of the element that was opened last, before its first child.
    void text(std::string_view name, String const& value);
    /// Nothing for an empty text.
    void textIfAny(std::string_view name, String const& value);
    /// `value` stands as it is: escaped already, or a word that needs no escapes.
    void raw(std::string_view name, std::string_view value);
    void number(std::string_view name, std::integral auto value);
    /// The shortest text that reads back as the same number; "NaN", "INF", "-INF".
    void number(std::string_view name, double value);
    /// Nothing for false.
    void flag(std::string_view name, bool value);

    /// What text() writes between the quotes.
    static void appendEscaped(std::string& out, String const& value);

private:
    void begin(std::string_view name);
    void end() { m_out += '"'; }

    std::string& m_out;
    bool m_isTagOpen = false;
    unsigned m_depth = 0;
};

void XmlWriter::number(std::string_view name, std::integral auto value)
{
    static_assert(!std::same_as<decltype(value), bool>);
    if constexpr (std::is_signed_v<decltype(value)>)
        raw(name, std::to_string(static_cast<long long>(value)));
    else
        raw(name, std::to_string(static_cast<unsigned long long>(value)));
}

} // namespace zel
