#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace zel::text {

namespace {

// Some kernels count the terminating zero of a string into the attribute ("0\n\0").
constexpr std::string_view kBlanks("\0 \t\r\n\v\f", 7);

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

template <typename Number>
std::optional<Number> parse(std::string_view digits, int base) noexcept
{
    Number number{};
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
    if (error != std::errc{} || end != digits.data() + digits.size())
        return std::nullopt;
    return number;
}

bool hasHexPrefix(std::string_view text) noexcept { return text.starts_with("0x") || text.starts_with("0X"); }

/// The run of digits at `at` without leading zeros, so that of two such runs the longer is the greater number; moves
/// `at` behind the run.
std::string_view digitsAt(std::string_view text, std::size_t& at) noexcept
{
    std::string_view const rest = text.substr(at);
    std::string_view digits = rest.substr(0, rest.find_first_not_of("0123456789"));
    at += digits.size();
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits;
}

/// One blank between words, none at the ends, no control characters.
std::string cleaned(std::string_view text)
{
    std::string clean;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char const c = text[i];
        auto const byte = static_cast<unsigned char>(c);
        auto const next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        if (byte == 0xC2 && next >= 0x80 && next < 0xA0) { // U+0080 to U+009F in UTF-8: controls, too
            ++i;
            continue;
        }
        bool const blank = byte <= 0x20;
        if (byte == 0x7F || (blank && (clean.empty() || clean.back() == ' ')))
            continue;
        clean += blank ? ' ' : c;
    }
    if (!clean.empty() && clean.back() == ' ')
        clean.pop_back();
    return clean;
}

constexpr std::array kPlaceholders = {
#define ZEL_PLACEHOLDER(text) std::string_view(text),
#define ZEL_NUMBERED_PLACEHOLDER(text)
#include <zel/enumerator/root/Placeholders.def>
};

constexpr std::array kNumbered = {
#define ZEL_PLACEHOLDER(text)
#define ZEL_NUMBERED_PLACEHOLDER(text) std::string_view(text),
#include <zel/enumerator/root/Placeholders.def>
};

bool isPlaceholder(std::string_view lower)
{
    if (std::find(kPlaceholders.begin(), kPlaceholders.end(), lower) != kPlaceholders.end())
        return true;
    std::size_t const end = lower.find_last_not_of("0123456789");
    std::string_view const word = end == std::string_view::npos ? lower : lower.substr(0, end + 1);
    if (word.size() != lower.size() && std::find(kNumbered.begin(), kNumbered.end(), word) != kNumbered.end())
        return true;
    if (lower.starts_with("dimm") && lower.ends_with("_assettag")) // "Dimm0_AssetTag"
        return true;
    // "...", "00000000", "0x00000000", "FFFFFFFF", "xxxxxxx", "--------": one filler sign over and over.
    std::string_view const signs = lower.starts_with("0x") && lower.size() > 2 ? lower.substr(2) : lower;
    // 0xFF: what an erased chip holds.
    std::string_view const fillers = signs.size() > 1 ? ".-_*x0f?/\xFF" : ".-_*x?/\xFF";
    return signs.find_first_not_of(signs.front()) == std::string_view::npos &&
           fillers.find(signs.front()) != std::string_view::npos;
}

} // namespace

std::string_view trimmed(std::string_view text) noexcept
{
    std::size_t const begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::string lowered(std::string_view text)
{
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

std::string_view firstLine(std::string_view text) noexcept
{
    return trimmed(text.substr(0, text.find('\n')));
}

std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    std::size_t begin = 0;
    for (std::size_t end = 0; end != std::string_view::npos; begin = end + 1) {
        end = text.find(separator, begin);
        parts.push_back(text.substr(begin, end == std::string_view::npos ? end : end - begin));
    }
    return parts;
}

bool naturalLess(std::string_view left, std::string_view right) noexcept
{
    std::size_t l = 0;
    std::size_t r = 0;
    while (l < left.size() && r < right.size()) {
        if (isDigit(left[l]) && isDigit(right[r])) {
            std::string_view const leftDigits = digitsAt(left, l);
            std::string_view const rightDigits = digitsAt(right, r);
            if (leftDigits.size() != rightDigits.size())
                return leftDigits.size() < rightDigits.size();
            if (int const order = leftDigits.compare(rightDigits); order != 0)
                return order < 0;
        } else {
            if (left[l] != right[r])
                return static_cast<unsigned char>(left[l]) < static_cast<unsigned char>(right[r]);
            ++l;
            ++r;
        }
    }
    if (left.size() - l != right.size() - r)
        return left.size() - l < right.size() - r;
    return left < right; // equal but for leading zeros
}

std::optional<std::int64_t> toNumber(std::string_view text) noexcept
{
    text = trimmed(text);
    return hasHexPrefix(text) && !text.substr(2).starts_with('-') ? parse<std::int64_t>(text.substr(2), 16)
                                                                  : parse<std::int64_t>(text, 10);
}

std::optional<std::uint64_t> toUnsigned(std::string_view text) noexcept
{
    text = trimmed(text);
    return hasHexPrefix(text) ? parse<std::uint64_t>(text.substr(2), 16) : parse<std::uint64_t>(text, 10);
}

std::optional<std::uint64_t> toHexadecimal(std::string_view text) noexcept
{
    text = trimmed(text);
    return parse<std::uint64_t>(hasHexPrefix(text) ? text.substr(2) : text, 16);
}

std::optional<unsigned> indexAfter(std::string_view name, std::string_view prefix) noexcept
{
    if (name.substr(0, prefix.size()) != prefix)
        return std::nullopt;
    return parse<unsigned>(name.substr(prefix.size()), 10);
}

std::optional<std::vector<unsigned>> toList(std::string_view text, std::size_t limit)
{
    std::vector<unsigned> numbers;
    text = trimmed(text);
    if (text.empty())
        return numbers;
    for (std::string_view const part : split(text, ',')) {
        std::size_t const dash = part.find('-');
        auto const low = parse<unsigned>(part.substr(0, dash), 10);
        auto const high = dash == std::string_view::npos ? low : parse<unsigned>(part.substr(dash + 1), 10);
        if (!low || !high || *high < *low || *high - *low >= limit - numbers.size())
            return std::nullopt;
        for (unsigned number = *low;; ++number) {
            numbers.push_back(number);
            if (number == *high)
                break;
        }
    }
    return numbers;
}

std::optional<std::vector<unsigned>> toMask(std::string_view text)
{
    std::vector<unsigned> bits;
    auto const groups = split(trimmed(text), ',');
    for (std::size_t i = 0; i < groups.size(); ++i) {
        auto const group = parse<std::uint32_t>(groups[groups.size() - 1 - i], 16);
        if (!group)
            return std::nullopt;
        for (unsigned bit = 0; bit < 32; ++bit)
            if (*group >> bit & 1u)
                bits.push_back(static_cast<unsigned>(i) * 32 + bit);
    }
    return bits;
}

std::string listText(std::vector<unsigned> const& ascending)
{
    std::string list;
    for (std::size_t first = 0; first < ascending.size();) {
        std::size_t last = first;
        while (last + 1 < ascending.size() && ascending[last + 1] == ascending[last] + 1)
            ++last;
        list += (list.empty() ? "" : ",") + std::to_string(ascending[first]);
        if (last != first)
            list += "-" + std::to_string(ascending[last]);
        first = last + 1;
    }
    return list;
}

std::optional<double> amountBefore(std::string_view text, std::string_view word) noexcept
{
    constexpr std::size_t kMostDigits = 4;
    std::string_view const number = text.substr(0, text.find(word));
    std::size_t const whole = number.find_first_not_of("0123456789");
    if (number.size() == text.size() || whole == 0 || std::min(whole, number.size()) > kMostDigits)
        return std::nullopt;
    double amount = 0;
    auto const [end, error] =
        std::from_chars(number.data(), number.data() + number.size(), amount, std::chars_format::fixed);
    return error == std::errc() && end == number.data() + number.size() ? std::optional(amount)
                                                                        : std::nullopt;
}

std::optional<std::uint64_t> toByteCount(std::string_view text) noexcept
{
    text = trimmed(text);
    if (text.empty())
        return std::nullopt;
    unsigned shift = 0;
    switch (text.back()) {
    case 'K':
    case 'k':
        shift = 10;
        break;
    case 'M':
        shift = 20;
        break;
    case 'G':
        shift = 30;
        break;
    default:
        break;
    }
    auto const number = parse<std::uint64_t>(shift ? text.substr(0, text.size() - 1) : text, 10);
    if (!number || *number > (~std::uint64_t{0} >> shift))
        return std::nullopt;
    return *number << shift;
}

std::map<std::string, std::string, std::less<>> keyValueLines(std::string_view text, char separator)
{
    std::map<std::string, std::string, std::less<>> values;
    for (std::string_view const line : split(text, '\n')) {
        std::size_t const at = line.find(separator);
        if (at != std::string_view::npos)
            values.emplace(trimmed(line.substr(0, at)), trimmed(line.substr(at + 1)));
    }
    return values;
}

std::optional<std::string> chosenOf(std::string_view text)
{
    text = trimmed(text);
    std::size_t const open = text.find('['), close = text.find(']', open);
    std::string_view const word =
        close == text.npos ? text : trimmed(text.substr(open + 1, close - open - 1));
    constexpr std::size_t kMostSigns = 64;
    return word.empty() || word.size() > kMostSigns || word.find_first_of(" []") != word.npos
               ? std::nullopt
               : std::optional<std::string>(word);
}

std::optional<std::string> meaningful(std::string_view text)
{
    constexpr std::size_t kMost = 1024; // a page without an end of line is noise
    std::string clean = cleaned(text);
    if (clean.empty() || clean.size() > kMost || isPlaceholder(lowered(clean)))
        return std::nullopt;
    return clean;
}

std::optional<std::string> meaningful(std::optional<std::string> const& text)
{
    return text ? meaningful(std::string_view(*text)) : std::nullopt;
}

} // namespace zel::text
