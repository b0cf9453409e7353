#pragma once
// Text of the platform: `String` holds Unicode as UTF-16 code units, `CString` holds bytes (paths, file
// contents).
//
//     zel::String name("Pamięć");            // from UTF-8, never fails: malformed bytes become U+FFFD
//     name += zel::String::number(7);
//     std::string bytes = name.toUtf8();
//
// Thread rule: as for std::string; one object is not changed from two threads at once.

#include <zel/foundation/Export.h>
#include <zel/foundation/Utf.h>

#include <compare>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zel {

/// Bytes with no promise about their encoding.
class ZEL_EXPORT CString
{
public:
    CString() = default;
    CString(char const* zeroTerminated) : m_bytes(zeroTerminated ? zeroTerminated : "") {}
    CString(std::string bytes) : m_bytes(std::move(bytes)) {}

    char const* c_str() const noexcept { return m_bytes.c_str(); }
    std::size_t size() const noexcept { return m_bytes.size(); }
    bool empty() const noexcept { return m_bytes.empty(); }
    std::string const& bytes() const noexcept { return m_bytes; }
    bool operator==(CString const&) const = default;

private:
    std::string m_bytes;
};

/// Unicode text as UTF-16 code units, always zero-terminated. `size()` counts code units: a character outside
/// the basic plane counts as two. May hold U+0000.
class ZEL_EXPORT String
{
public:
    using Unit = utf::Unit;
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

    String() = default;
    /// From zero-terminated UTF-8; null counts as empty. Malformed bytes become U+FFFD.
    String(char const* utf8);
    String(std::string_view utf8);
    String(std::string const& utf8) : String(std::string_view(utf8)) {}
    String(CString const& utf8) : String(std::string_view(utf8.bytes())) {}
    /// From zero-terminated UCS-2/UTF-16; null counts as empty. A lone surrogate is kept and becomes U+FFFD
    /// when the text is written as UTF-8.
    String(Unit const* ucs2);
    String(Unit const* units, std::size_t count) : m_units(units, count) {}

    static String number(std::int64_t value);
    static String number(std::uint64_t value);
    static String number(int value) { return number(static_cast<std::int64_t>(value)); }
    static String number(unsigned value) { return number(static_cast<std::uint64_t>(value)); }
    /// Shortest text that reads back as the same number, without an exponent from 0.00001 up to below 10^15;
    /// "nan", "inf", "-inf" for what is not finite.
    static String number(double value);

    std::size_t size() const noexcept { return m_units.size(); }
    bool empty() const noexcept { return m_units.empty(); }
    Unit operator[](std::size_t index) const noexcept { return m_units[index]; }
    /// Zero-terminated; valid until the string is next changed or destroyed.
    Unit const* ucs2() const noexcept { return m_units.c_str(); }
    std::string toUtf8() const;
    CString toCString() const { return CString(toUtf8()); }
    void appendUtf8To(std::string& out) const { utf::encodeUtf8(m_units.data(), m_units.size(), out); }

    String& operator+=(String const& other);
    bool operator==(String const& other) const noexcept
    {
        return size() == other.size() && std::memcmp(ucs2(), other.ucs2(), size() * sizeof(Unit)) == 0;
    }
    /// Order by code unit; stable, not a language's order.
    std::strong_ordering operator<=>(String const& other) const noexcept
    {
        return m_units.compare(other.m_units) <=> 0;
    }

    std::size_t find(String const& what, std::size_t from = 0) const noexcept;
    bool contains(String const& what) const noexcept { return find(what) != npos; }
    bool startsWith(String const& prefix) const noexcept;
    bool endsWith(String const& suffix) const noexcept;
    String substr(std::size_t from, std::size_t count = npos) const; ///< `from` beyond the end yields ""
    String replaced(String const& what, String const& with) const;   ///< every occurrence, left to right
    /// Without leading and trailing ASCII white space.
    String trimmed() const;
    /// ASCII, Latin-1, Greek and Cyrillic letters in lower case; other letters as they are.
    String lowered() const;
    std::vector<String> split(Unit separator) const; ///< "" gives one empty element

    /// For a terminal: control characters (ControlCharacters.h), which could steer it or forge what it shows, are
    /// written as `\x1b` or `\u202e`; tabs stay, and line ends (LF, CR LF) where `keepLineFeeds`.
    String withoutControls(bool keepLineFeeds) const;

    std::size_t hash() const noexcept;

private:
    struct Traits // std::char_traits is not defined for unsigned short
    {
        using char_type = Unit;
        using int_type = unsigned int;
        using off_type = std::streamoff;
        using pos_type = std::streampos;
        using state_type = std::mbstate_t;
        using comparison_category = std::strong_ordering;
        static constexpr void assign(Unit& to, Unit const& from) noexcept { to = from; }
        static constexpr bool eq(Unit a, Unit b) noexcept { return a == b; }
        static constexpr bool lt(Unit a, Unit b) noexcept { return a < b; }
        static int compare(Unit const* a, Unit const* b, std::size_t count) noexcept;
        static std::size_t length(Unit const* text) noexcept;
        static Unit const* find(Unit const* text, std::size_t count, Unit const& what) noexcept;
        static Unit* move(Unit* to, Unit const* from, std::size_t count) noexcept;
        static Unit* copy(Unit* to, Unit const* from, std::size_t count) noexcept;
        static Unit* assign(Unit* to, std::size_t count, Unit what) noexcept;
        static constexpr int_type not_eof(int_type c) noexcept { return c == eof() ? 0 : c; }
        static constexpr Unit to_char_type(int_type c) noexcept { return static_cast<Unit>(c); }
        static constexpr int_type to_int_type(Unit c) noexcept { return c; }
        static constexpr bool eq_int_type(int_type a, int_type b) noexcept { return a == b; }
        static constexpr int_type eof() noexcept { return 0xFFFFFFFFu; }
    };
    std::basic_string<Unit, Traits> m_units;
};

inline String operator+(String left, String const& right)
{
    left += right;
    return left;
}

} // namespace zel

template <>
struct std::hash<zel::String>
{
    // Not noexcept: the standard library then keeps the hash beside each key, so that a growing table does
    // not read every key again.
    std::size_t operator()(zel::String const& text) const { return text.hash(); }
};
