#include <krel5/KrelString.h>

#include <libKrel5/basics/DataHolderDefinition.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/OStream.h>

#include <memory>
#include <string>

namespace krel5 {

struct KrelStringInternalData
{
    KrelStringInternalData() = default;
    explicit KrelStringInternalData(zel::String const& initial) : text(initial) {}
    KrelStringInternalData(KrelStringInternalData const& other)
        : text(other.text) {} // starts without a cache
    KrelStringInternalData& operator=(KrelStringInternalData const&) = delete;

    zel::String text;
    mutable std::unique_ptr<std::string const> utf8; // null until asked for, and after every change of `text`
};

template class DataHolder<KrelStringInternalData>;

KrelString::KrelString() = default;

KrelString::KrelString(char const* utf8) : m_holder(KrelStringInternalData(zel::String(utf8))) {}

KrelString::KrelString(unsigned short const* ucs2) : m_holder(KrelStringInternalData(zel::String(ucs2))) {}

KrelString::KrelString(std::string const& utf8) : m_holder(KrelStringInternalData(zel::String(utf8))) {}

KrelString::KrelString(std::string_view utf8) : m_holder(KrelStringInternalData(zel::String(utf8))) {}

KrelString::KrelString(zel::String const& text) : m_holder(KrelStringInternalData(text)) {}

KrelString::KrelString(KrelString const& other) = default;

KrelString::~KrelString() = default;

KrelString& KrelString::operator=(KrelString const& other)
{
    if (this == &other)
        return *this;
    data().text = other.data().text;
    data().utf8.reset();
    return *this;
}

KrelString& KrelString::operator+=(KrelString const& other)
{
    data().text += other.data().text;
    data().utf8.reset();
    return *this;
}

bool KrelString::operator==(KrelString const& other) const { return data().text == other.data().text; }

bool KrelString::operator!=(KrelString const& other) const { return !(*this == other); }

unsigned int KrelString::size() const { return static_cast<unsigned int>(data().text.size()); }

char const* KrelString::getUTF8Buffer() const
{
    KrelStringInternalData const& record = data();
    if (!record.utf8)
        record.utf8 = std::make_unique<std::string const>(record.text.toUtf8());
    return record.utf8->c_str();
}

unsigned short const* KrelString::getUCS2Buffer() const { return data().text.ucs2(); }

zel::String const& KrelString::zelString() const { return data().text; }

KrelStringInternalData& KrelString::data() { return m_holder.data(); }

KrelStringInternalData const& KrelString::data() const { return m_holder.data(); }

KrelString operator+(KrelString const& left, KrelString const& right)
{
    KrelString both = left;
    both += right;
    return both;
}

zel::LoggerStream& operator<<(zel::LoggerStream& line, KrelString const& text)
{
    return line << text.zelString();
}

zel::LoggerStream& operator+(zel::LoggerStream& line, KrelString const& text)
{
    return line << text.zelString();
}

zel::OStream& operator<<(zel::OStream& stream, KrelString const& text) { return stream << text.zelString(); }

} // namespace krel5
