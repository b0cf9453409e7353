#pragma once
// The string of the public interface: Unicode text that is copied by value.
//
//     KrelString name("Zażółć");                  // from UTF-8
//     name += " gęślą";
//     std::size_t units = name.size();            // of UTF-16
//     std::puts(name.getUTF8Buffer());            // valid until `name` is changed or destroyed
//
// Thread rule: one string is not used from two threads at once, reading included: getUTF8Buffer() fills a
// cache.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>

#include <zel/foundation/String.h>

#include <string>
#include <string_view>

namespace zel {
class LoggerStream;
class OStream;
} // namespace zel

namespace krel5 {

class LocalizedString;
struct KrelStringInternalData;

/// Text as UTF-16 code units. Nothing here fails except for want of memory.
class KREL5_EXPORT KrelString
{
public:
    KrelString();
    /// From zero-terminated UTF-8; null counts as empty. Malformed bytes become U+FFFD.
    KrelString(char const* utf8);
    /// From zero-terminated UCS-2; null counts as empty.
    KrelString(unsigned short const* ucs2);
    /// From UTF-8, so that either may stand where a text is asked for; a zero byte in it does not end the
    /// text.
    KrelString(std::string const& utf8);
    KrelString(std::string_view utf8);
    KrelString(zel::String const& text);
    KrelString(KrelString const& other);
    /// The text of a localized string in the current language, its variables filled in.
    KrelString(LocalizedString const& text);
    ~KrelString();

    /// Assigning a string to itself keeps its text and the buffers that it handed out.
    KrelString& operator=(KrelString const& other);
    KrelString& operator+=(KrelString const& other);

    /// Equality character by character; no normalisation, case counts.
    bool operator==(KrelString const& other) const;
    bool operator!=(KrelString const& other) const;

    /// Number of UTF-16 code units, not of bytes; a character outside the basic plane counts as two.
    unsigned int size() const;

    /// The text as zero-terminated UTF-8. Owned by the string; the pointer stays valid, and stays the same,
    /// until the string is next changed, assigned or destroyed. A lone surrogate is written as U+FFFD.
    char const* getUTF8Buffer() const;
    /// The string's own zero-terminated UCS-2 buffer; valid until the string is next changed, assigned or
    /// destroyed.
    unsigned short const* getUCS2Buffer() const;

    /// The text as the platform has it; for the library's own use. Valid as long as getUCS2Buffer().
    zel::String const& zelString() const;

private:
    KrelStringInternalData& data();
    KrelStringInternalData const& data() const;

    DataHolder<KrelStringInternalData> m_holder;
};

KREL5_EXPORT KrelString operator+(KrelString const& left, KrelString const& right);

/// Write the text into a log line.
KREL5_EXPORT zel::LoggerStream& operator<<(zel::LoggerStream& line, KrelString const& text);
KREL5_EXPORT zel::LoggerStream& operator+(zel::LoggerStream& line, KrelString const& text);
/// Writes the text to a stream as UTF-8.
KREL5_EXPORT zel::OStream& operator<<(zel::OStream& stream, KrelString const& text);

} // namespace krel5
