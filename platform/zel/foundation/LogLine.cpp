#include <zel/foundation/LogLine.h>

#include <zel/foundation/ControlCharacters.h>

#include <algorithm>
#include <cstring>

namespace zel {
namespace {

constexpr std::string_view kLevelNames[] = {"trace", "debug", "information", "warning", "error", "critical"};
constexpr std::size_t kLevelCount = sizeof kLevelNames / sizeof kLevelNames[0];

constexpr std::size_t kSecondLength = 19; // "2026-01-31T23:59:59"
constexpr std::size_t kTimeLength = kSecondLength + 5;

void putDigits(char* to, unsigned count, unsigned value) noexcept
{
    while (count-- > 0) {
        to[count] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
}

void putSecond(char* to, std::chrono::sys_seconds second) noexcept
{
    auto const day = std::chrono::floor<std::chrono::days>(second);
    std::chrono::year_month_day const date(day);
    std::chrono::hh_mm_ss const clock(second - day);
    std::memcpy(to, "0000-00-00T00:00:00", kSecondLength);
    putDigits(to, 4, static_cast<unsigned>(static_cast<int>(date.year())));
    putDigits(to + 5, 2, static_cast<unsigned>(date.month()));
    putDigits(to + 8, 2, static_cast<unsigned>(date.day()));
    putDigits(to + 11, 2, static_cast<unsigned>(clock.hours().count()));
    putDigits(to + 14, 2, static_cast<unsigned>(clock.minutes().count()));
    putDigits(to + 17, 2, static_cast<unsigned>(clock.seconds().count()));
}

// The calendar is asked once a second and thread; lines in between only put their milliseconds behind it.
struct SecondText
{
    std::int64_t second;
    char text[kSecondLength];
};
constinit thread_local SecondText t_second{INT64_MIN, {}};

void putTime(char* to, std::chrono::system_clock::time_point time) noexcept
{
    auto const second = std::chrono::floor<std::chrono::seconds>(time);
    auto const milliseconds = std::chrono::floor<std::chrono::milliseconds>(time - second).count();
    SecondText& cached = t_second;
    if (cached.second != second.time_since_epoch().count()) {
        cached.second = second.time_since_epoch().count();
        putSecond(cached.text, second);
    }
    std::memcpy(to, cached.text, kSecondLength);
    to[kSecondLength] = '.';
    putDigits(to + kSecondLength + 1, 3, static_cast<unsigned>(milliseconds));
    to[kTimeLength - 1] = 'Z';
}

// Eight bytes a step; the zero-byte test of "Bit Twiddling Hacks" (S. E. Anderson), once for bytes below 0x20
// and once for 0x7F. True for every text beyond ASCII, and for some others without one, which costs time only.
bool mayHoldControl(std::string_view text) noexcept
{
    constexpr std::uint64_t kOnes = 0x0101010101010101u, kHighs = 0x8080808080808080u;
    std::uint64_t found = 0;
    auto const look = [&](std::size_t at) {
        std::uint64_t word;
        std::memcpy(&word, text.data() + at, 8);
        std::uint64_t const deleted = word ^ (kOnes * 0x7F);
        found |= ((word - kOnes * 0x20) & ~word) | ((deleted - kOnes) & ~deleted) | word;
    };
    if (text.size() < 8)
        return std::any_of(text.begin(), text.end(), [](char c) { return c < 0x20 || c >= 0x7F; });
    for (std::size_t i = 0; i + 8 < text.size(); i += 8)
        look(i);
    look(text.size() - 8); // some of them twice, rather than the rest one by one
    return (found & kHighs) != 0;
}

std::string escaped(std::string_view message)
{
    std::string out;
    out.reserve(message.size() + 16);
    for (std::size_t i = 0; i < message.size(); ++i) {
        char const c = message[i];
        ControlAt const control = controlAt(message, i);
        bool const endsLine = message.substr(i).starts_with("\r\n");
        if (c == '\n')
            out += "\n\t";
        else if (c == '\t' || control.length == 0)
            out += c;
        else if (!endsLine) {
            out += readableEscape(control.code);
            i += control.length - 1;
        }
    }
    return out;
}

std::string_view withoutLineEnd(std::string_view message)
{
    while (!message.empty() && (message.back() == '\n' || message.back() == '\r'))
        message.remove_suffix(1);
    return message;
}

} // namespace

std::string_view logLevelName(LogLevel level) noexcept
{
    auto const index = static_cast<std::size_t>(level);
    return index < kLevelCount ? kLevelNames[index] : std::string_view("critical");
}

std::optional<LogLevel> logLevelFromText(String const& text)
{
    std::string const word = text.trimmed().lowered().toUtf8();
    for (std::size_t i = 0; i < kLevelCount; ++i)
        if (word == kLevelNames[i] || word == std::to_string(i))
            return static_cast<LogLevel>(i);
    return std::nullopt;
}

LogLine::LogLine(std::chrono::system_clock::time_point time, LogLevel level, std::string_view category,
                 std::string_view message)
{
    std::string clean;
    if (mayHoldControl(message)) {
        clean = escaped(withoutLineEnd(message));
        message = clean;
    }
    std::string_view const name = logLevelName(level);
    std::size_t const size = kTimeLength + name.size() + category.size() + message.size() + 4;
    char* start = m_inline;
    if (size > sizeof m_inline) {
        m_large.resize(size);
        start = m_large.data();
    }
    putTime(start, time);
    char* to = start + kTimeLength;
    for (std::string_view part : {name, category, message}) {
        *to++ = ' ';
        std::memcpy(to, part.data(), part.size());
        to += part.size();
    }
    *to++ = '\n';
    m_text = std::string_view(start, static_cast<std::size_t>(to - start));
}

} // namespace zel
