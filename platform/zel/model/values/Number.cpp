#include <zel/model/values/Number.h>

#include <charconv>
#include <cmath>
#include <limits>

namespace zel {
namespace {

constexpr double kTwoTo64 = 18446744073709551616.0;

template <typename T>
bool readAll(std::string_view text, T& number, auto format)
{
    auto const result = std::from_chars(text.data(), text.data() + text.size(), number, format);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

std::strong_ordering reversed(std::strong_ordering order) { return 0 <=> order; }

// An amount against a real number of at least 0. The whole part of the real number is compared as an integer,
// so that no bit of the amount is lost, then what is behind its point decides.
std::partial_ordering compareAmount(std::uint64_t amount, double real)
{
    if (real >= kTwoTo64)
        return std::partial_ordering::less;
    double const whole = std::floor(real);
    auto const order = amount <=> static_cast<std::uint64_t>(whole);
    return order == 0 && real > whole ? std::partial_ordering::less : std::partial_ordering(order);
}

} // namespace

Number Number::ofInteger(std::int64_t value) noexcept
{
    Number number;
    number.m_negative = value < 0;
    auto const bits = static_cast<std::uint64_t>(value);
    number.m_magnitude = number.m_negative ? 0 - bits : bits;
    return number;
}

Number Number::ofUnsigned(std::uint64_t value) noexcept
{
    Number number;
    number.m_magnitude = value;
    return number;
}

Number Number::ofReal(double value) noexcept
{
    Number number;
    number.m_isReal = true;
    number.m_real = value;
    return number;
}

std::optional<Number> Number::parse(String const& text)
{
    std::string const bytes = text.toUtf8();
    std::string_view digits(bytes);
    bool const negative = digits.starts_with('-');
    if (negative)
        digits.remove_prefix(1);
    if (digits.empty() || !((digits[0] >= '0' && digits[0] <= '9') || digits[0] == '.'))
        return std::nullopt; // also "--1", "inf" and "nan"
    bool const hexadecimal = digits.starts_with("0x") || digits.starts_with("0X");
    std::uint64_t amount = 0;
    if (hexadecimal ? readAll(digits.substr(2), amount, 16) : readAll(digits, amount, 10)) {
        Number number = ofUnsigned(amount);
        number.m_negative = negative && amount != 0;
        return number;
    }
    double real = 0;
    if (hexadecimal || !readAll(digits, real, std::chars_format::general))
        return std::nullopt;
    return ofReal(negative ? -real : real);
}

std::optional<std::uint64_t> Number::asUnsigned() const noexcept
{
    if (!m_isReal)
        return m_negative ? std::nullopt : std::optional(m_magnitude);
    if (m_real >= 0 && m_real < kTwoTo64 && m_real == std::floor(m_real))
        return static_cast<std::uint64_t>(m_real);
    return std::nullopt;
}

std::optional<std::int64_t> Number::asInteger() const noexcept
{
    constexpr std::uint64_t kTwoTo63 = std::uint64_t{1} << 63;
    if (!m_isReal) {
        if (m_magnitude < kTwoTo63)
            return m_negative ? -static_cast<std::int64_t>(m_magnitude)
                              : static_cast<std::int64_t>(m_magnitude);
        return m_negative && m_magnitude == kTwoTo63 ? std::optional(std::numeric_limits<std::int64_t>::min())
                                                     : std::nullopt;
    }
    if (m_real >= -kTwoTo64 / 2 && m_real < kTwoTo64 / 2 && m_real == std::floor(m_real))
        return static_cast<std::int64_t>(m_real);
    return std::nullopt;
}

std::optional<double> Number::asReal() const noexcept
{
    double const nearest = nearestReal();
    if (m_isReal || ofReal(nearest) == *this)
        return nearest;
    return std::nullopt;
}

double Number::nearestReal() const noexcept
{
    if (m_isReal)
        return m_real;
    auto const amount = static_cast<double>(m_magnitude);
    return m_negative ? -amount : amount;
}

std::partial_ordering Number::operator<=>(Number const& other) const noexcept
{
    if (m_isReal && other.m_isReal)
        return m_real <=> other.m_real;
    if (m_isReal)
        return 0 <=> (other <=> *this);
    if (!other.m_isReal) {
        if (m_negative != other.m_negative)
            return m_negative ? std::strong_ordering::less : std::strong_ordering::greater;
        auto const order = m_magnitude <=> other.m_magnitude;
        return m_negative ? reversed(order) : order;
    }
    if (std::isnan(other.m_real))
        return std::partial_ordering::unordered;
    bool const otherNegative = other.m_real < 0;
    if (m_negative != otherNegative)
        return m_negative ? std::partial_ordering::less : std::partial_ordering::greater;
    return m_negative ? 0 <=> compareAmount(m_magnitude, -other.m_real)
                      : compareAmount(m_magnitude, other.m_real);
}

} // namespace zel
