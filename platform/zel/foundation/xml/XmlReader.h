#pragma once
// XML read as it goes: no tree, nothing kept but the names of the open elements.
//
//     XmlReader reader(text);
//     reader.openRoot();
//     for (XmlReader::Children children(reader); children.next();)
//         if (reader.name() == "device")
//             use(reader.text("guid")); // then its children in the same way; what nobody reads is passed over
//     reader.finish();

#include <zel/foundation/Exception.h>
#include <zel/foundation/String.h>

#include <charconv>
#include <cmath>
#include <concepts>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

namespace zel {

/// A text that is no XML, or not the document that it should be: "{reason} at {path}, line {line}, byte {offset}"; nothing
/// of a path outside the root.
class ZEL_EXPORT XmlException : public ParseException
{
public:
    /// `line` from 1; 0: not known, and not told.
    XmlException(String const& reason, String const& path, std::size_t offset, std::size_t line = 0);

    String const& reason() const noexcept { return m_reason; }
    /// The elements that were open, from the root: "/StateManager/device/property".
    String const& path() const noexcept { return m_path; }
    /// In the UTF-8 text, from 0.
    std::size_t offset() const noexcept { return m_offset; }

private:
    String m_reason, m_path;
    std::size_t m_offset;
};

/// What a document may cost whoever reads it.
struct XmlLimits
{
    std::size_t bytes = std::size_t{256} << 20;
    unsigned depth = 64;
    std::size_t elements = 8'000'000;
    std::size_t attributes = 32; ///< of one element
};

/// Reads a document without document type, in UTF-8 or its part ASCII. Every fault of form throws XmlException, also in what
/// nobody asks for: characters that XML excludes, bytes that are no UTF-8, another encoding declared, entities other than
/// the five predefined, an attribute twice, a tag that does not match; and so does what exceeds the limits, before memory
/// is spent on it.
class XmlReader
{
public:
    using Limits = XmlLimits;

    /// The text outlives the reader.
    explicit XmlReader(std::string_view utf8, Limits const& limits);
    explicit XmlReader(std::string_view utf8) : XmlReader(utf8, Limits()) {}

    void openRoot();
    /// The children of the element that is open when this is made.
    class Children
    {
    public:
        /// Character data that stands directly in the element goes to the end of `text`, in UTF-8, but for blanks
        /// between tags; null: it is passed over.
        explicit Children(XmlReader& reader, std::string* text = nullptr)
            : m_reader(reader), m_level(reader.m_open.size()), m_text(text)
        {}
        /// Opens the next one, and passes over what is left of the one before; false where there is none.
        bool next() { return m_reader.openNext(m_level, m_text); }

    private:
        XmlReader& m_reader;
        std::size_t m_level;
        std::string* m_text;
    };
    /// Nothing but comments may follow the root, which is closed.
    void finish();

    /// Of the element opened last, until the next one is opened. So are the attributes.
    std::string_view name() const { return m_open.back(); }
    /// The same as name() == text.
    template <std::size_t Size>
    bool is(char const (&text)[Size]) const
    {
        return name().size() == Size - 1 && std::memcmp(name().data(), text, Size - 1) == 0;
    }
    bool has(std::string_view attribute) const { return find(attribute) != nullptr; }
    /// The bytes between the quotes, references and escapes as they stand; empty when there is no such attribute.
    std::string_view raw(std::string_view attribute) const
    {
        Attribute const* const found = find(attribute);
        return found ? found->raw : std::string_view();
    }
    // In these texts `\\` stands for `\`, and `\u` with four hexadecimal digits for the UTF-16 unit of that number, as
    // XmlWriter has it.

    /// Empty when there is no such attribute.
    String text(std::string_view attribute) const
    {
        Attribute const* const found = find(attribute);
        return found ? decoded(*found) : String();
    }
    // Throw when there is no such attribute.
    String required(std::string_view attribute) const { return decoded(get(attribute)); }
    template <typename T>
    requires std::integral<T> || std::floating_point<T> T number(std::string_view attribute)
    const { return numberOf<T>(get(attribute)); }
    /// `absent` when there is no such attribute.
    template <typename T>
    T number(std::string_view attribute, T absent) const
    {
        Attribute const* const found = find(attribute);
        return found ? numberOf<T>(*found) : absent;
    }
    /// "true" or "false"; false when there is no such attribute.
    bool flag(std::string_view attribute) const;

    /// The names and values of all attributes in their order, in UTF-8, `\` being a character like any other.
    std::vector<std::pair<std::string, std::string>> attributes() const;

    /// Whether XML takes the text as a name. Characters beyond ASCII are taken as they are.
    static bool isName(std::string_view text) noexcept;

    /// At the element opened last.
    [[noreturn]] void fail(String const& reason) const;
    /// At the attribute.
    [[noreturn]] void fail(std::string_view attribute, String const& reason) const;

private:
    struct Attribute
    {
        std::string_view name, raw;
        bool isPlain; // the bytes are the text
    };

    // Here, so that the compiler knows how many bytes it compares.
    Attribute const* find(std::string_view name) const
    {
        for (Attribute const& one : m_attributes)
            if (one.name.size() == name.size() && std::memcmp(one.name.data(), name.data(), name.size()) == 0)
                return &one;
        return nullptr;
    }
    Attribute const& get(std::string_view name) const
    {
        Attribute const* const found = find(name);
        if (!found)
            failWithout(name);
        return *found;
    }
    String decoded(Attribute const& attribute) const
    {
        return attribute.isPlain ? String(attribute.raw) : unfolded(attribute);
    }
    template <typename T>
    T numberOf(Attribute const& attribute) const;
    String unfolded(Attribute const& attribute) const;
    void unescape(std::vector<String::Unit>& units, Attribute const& attribute) const;

    bool openNext(std::size_t level, std::string* text);
    void step(std::string* text);
    void scanData(std::string* text);
    void scanCharacters(std::string* text);
    void scanStartTag();
    bool scanPlainAttribute();
    void scanAttribute();
    void scanEndTag();
    bool scanMisc();
    void scanText(char until, bool& isPlain);
    void scanReference();
    void scanSequence();
    void checkCharacters(char const* end);
    void skipPast(std::string_view opening, std::string_view closing);
    void skipBlanks();
    std::string_view scanName();
    void expect(char what);
    bool startsWith(std::string_view what) const
    {
        return std::string_view(m_at, static_cast<std::size_t>(m_end - m_at)).starts_with(what);
    }
    [[noreturn]] void failWithout(std::string_view attribute) const;
    [[noreturn]] void failAt(char const* place, String const& reason) const;

    char const *m_begin, *m_at, *m_end;
    Limits m_limits;
    std::vector<std::string_view> m_open;
    std::vector<Attribute> m_attributes; // of the last of m_open
    char const* m_tag = nullptr;         // where its tag begins
    std::size_t m_elements = 0;
    bool m_isEmpty = false; // the last of m_open ends with its tag
};

template <typename T>
T XmlReader::numberOf(Attribute const& attribute) const
{
    std::string const unfolded = attribute.isPlain ? std::string() : decoded(attribute).toUtf8();
    std::string_view const text = attribute.isPlain ? attribute.raw : std::string_view(unfolded);
    T value{};
    auto const result = std::from_chars(text.data(), text.data() + text.size(), value);
    bool isNumber = result.ec == std::errc() && result.ptr == text.data() + text.size();
    if constexpr (std::floating_point<T>) // from_chars knows more spellings of what is not finite
        isNumber = isNumber && (std::isfinite(value) || text == "NaN" || text == "INF" || text == "-INF");
    if (!isNumber)
        fail(attribute.name, "\"" + String(text) + "\" is no number of its type");
    return value;
}

} // namespace zel
