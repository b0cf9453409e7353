#include <zel/foundation/String.h>

#include <zel/foundation/ControlCharacters.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>

namespace zel {
namespace {

template <typename Number, typename... Format>
String fromNumber(Number value, Format... format)
{
    char text[32];
    auto const result = std::to_chars(text, text + sizeof text, value, format...);
    return String(std::string_view(text, static_cast<std::size_t>(result.ptr - text)));
}

bool isSpace(String::Unit unit) { return unit == ' ' || (unit >= '\t' && unit <= '\r'); }

String::Unit lower(String::Unit c)
{
    bool const plus32 = (c >= 'A' && c <= 'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7) ||
                        (c >= 0x391 && c <= 0x3A9) || (c >= 0x410 && c <= 0x42F);
    if (plus32)
        return static_cast<String::Unit>(c + 32);
    if (c >= 0x400 && c <= 0x40F)
        return static_cast<String::Unit>(c + 80);
    return c;
}

} // namespace

int String::Traits::compare(Unit const* a, Unit const* b, std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i)
        if (a[i] != b[i])
            return a[i] - b[i];
    return 0;
}

std::size_t String::Traits::length(Unit const* text) noexcept
{
    std::size_t count = 0;
    while (text[count] != 0)
        ++count;
    return count;
}

String::Unit const* String::Traits::find(Unit const* text, std::size_t count, Unit const& what) noexcept
{
    Unit const* const end = text + count;
    Unit const* const found = std::find(text, end, what);
    return found == end ? nullptr : found;
}

String::Unit* String::Traits::move(Unit* to, Unit const* from, std::size_t count) noexcept
{
    return count ? static_cast<Unit*>(std::memmove(to, from, count * sizeof(Unit))) : to;
}

String::Unit* String::Traits::copy(Unit* to, Unit const* from, std::size_t count) noexcept
{
    return count ? static_cast<Unit*>(std::memcpy(to, from, count * sizeof(Unit))) : to;
}

String::Unit* String::Traits::assign(Unit* to, std::size_t count, Unit what) noexcept
{
    std::fill_n(to, count, what);
    return to;
}

String::String(char const* utf8) : String(std::string_view(utf8 ? utf8 : "")) {}

String::String(std::string_view utf8)
    : m_units([&] {
          using Units = decltype(m_units);
          Unit units[128];
          if (utf8.size() <= std::size(units)) // nearly all: one allocation of the right size, filled once
              return Units(units, utf::decodeUtf8(utf8.data(), utf8.size(), units));
          Units text(utf8.size(), 0);
          text.resize(utf::decodeUtf8(utf8.data(), utf8.size(), text.data()));
          return text;
      }())
{}

String::String(Unit const* ucs2)
{
    if (ucs2)
        m_units = ucs2;
}

String String::number(std::int64_t value) { return fromNumber(value); }
String String::number(std::uint64_t value) { return fromNumber(value); }

String String::number(double value)
{
    if (std::isnan(value))
        return String("nan");
    if (std::isinf(value))
        return String(std::signbit(value) ? "-inf" : "inf");
    double const amount = std::fabs(value);
    bool const readsPlainly = amount >= 1e-5 && amount < 1e15;
    return readsPlainly ? fromNumber(value, std::chars_format::fixed) : fromNumber(value);
}

std::string String::toUtf8() const
{
    std::string out;
    appendUtf8To(out);
    return out;
}

String& String::operator+=(String const& other)
{
    m_units += other.m_units;
    return *this;
}

std::size_t String::find(String const& what, std::size_t from) const noexcept
{
    return m_units.find(what.m_units, from);
}

bool String::startsWith(String const& prefix) const noexcept { return m_units.starts_with(prefix.m_units); }

bool String::endsWith(String const& suffix) const noexcept { return m_units.ends_with(suffix.m_units); }

String String::substr(std::size_t from, std::size_t count) const
{
    String part;
    part.m_units = m_units.substr(std::min(from, size()), count);
    return part;
}

String String::replaced(String const& what, String const& with) const
{
    if (what.empty())
        return *this;
    String result;
    std::size_t from = 0;
    for (std::size_t at = find(what); at != npos; at = find(what, from)) {
        result.m_units.append(m_units, from, at - from).append(with.m_units);
        from = at + what.size();
    }
    result.m_units.append(m_units, from, npos);
    return result;
}

String String::trimmed() const
{
    auto const first = std::find_if_not(m_units.begin(), m_units.end(), isSpace);
    auto const last = std::find_if_not(m_units.rbegin(), std::make_reverse_iterator(first), isSpace).base();
    String rest;
    rest.m_units.assign(first, last);
    return rest;
}

String String::lowered() const
{
    String result(*this);
    for (Unit& unit : result.m_units)
        unit = lower(unit);
    return result;
}

std::vector<String> String::split(Unit separator) const
{
    std::vector<String> parts;
    std::size_t from = 0;
    for (std::size_t at = m_units.find(separator); at != npos; at = m_units.find(separator, from)) {
        parts.push_back(substr(from, at - from));
        from = at + 1;
    }
    parts.push_back(substr(from));
    return parts;
}

String String::withoutControls(bool keepLineFeeds) const
{
    auto const endsLine = [&](std::size_t at) {
        return m_units[at] == '\n' || (m_units[at] == '\r' && m_units[at + 1] == '\n'); // zero-terminated
    };
    String shown;
    for (std::size_t i = 0; i < size(); ++i) {
        Unit const unit = m_units[i];
        if (unit == '\t' || (keepLineFeeds && endsLine(i)) || !isControlCharacter(unit))
            shown.m_units += unit;
        else
            shown += readableEscape(unit);
    }
    return shown;
}

// Multiplicative, eight bytes a step (Knuth, "The Art of Computer Programming" 3, chapter 6.4: the golden ratio's bits);
// the high half is folded into the low one, which a product alone does not reach.
std::size_t String::hash() const noexcept
{
    std::uint64_t value = size();
    auto const take = [&value](Unit const* units, std::size_t count) {
        std::uint64_t word = 0;
        std::memcpy(&word, units, count * sizeof(Unit));
        value = (value ^ word) * 0x9E3779B97F4A7C15ull;
        value ^= value >> 32;
    };
    constexpr std::size_t kStep = sizeof(std::uint64_t) / sizeof(Unit);
    std::size_t i = 0;
    for (; i + kStep <= size(); i += kStep)
        take(ucs2() + i, kStep);
    take(ucs2() + i, size() - i);
    return static_cast<std::size_t>(value);
}

} // namespace zel
