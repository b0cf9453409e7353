#include <engine/report/UtcTime.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace engine {

namespace {

using namespace std::chrono;

std::tm partsOf(Time time)
{
    std::time_t const seconds = system_clock::to_time_t(floor<std::chrono::seconds>(time));
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    return parts;
}

std::string formatted(char const* format, std::tm const& parts)
{
    char text[32];
    return {text, std::strftime(text, sizeof text, format, &parts)};
}

// "D" stands for a digit.
bool hasForm(std::string_view text, std::string_view form)
{
    return text.size() == form.size() &&
           std::equal(text.begin(), text.end(), form.begin(),
                      [](char c, char f) { return f == 'D' ? c >= '0' && c <= '9' : c == f; });
}

int numberAt(std::string_view text, std::size_t at, std::size_t digits)
{
    int number = 0;
    for (char const c : text.substr(at, digits))
        number = number * 10 + (c - '0');
    return number;
}

// ".5", ".123456789"
std::optional<nanoseconds> fractionOf(std::string_view text)
{
    if (text.empty())
        return nanoseconds(0);
    if (text.size() < 2 || text.size() > 10 || !hasForm(text, "." + std::string(text.size() - 1, 'D')))
        return std::nullopt;
    std::string digits(text.substr(1));
    digits.resize(9, '0');
    return nanoseconds(numberAt(digits, 0, 9));
}

} // namespace

std::string utcText(Time time)
{
    auto const rest = duration_cast<milliseconds>(time - floor<std::chrono::seconds>(time)).count();
    char fraction[8];
    std::snprintf(fraction, sizeof fraction, ".%03dZ", static_cast<int>(rest));
    return formatted("%Y-%m-%dT%H:%M:%S", partsOf(time)) + fraction;
}

std::optional<Time> utcTime(std::string_view text)
{
    constexpr std::string_view kForm = "DDDD-DD-DDTDD:DD:DD";
    if (text.size() < kForm.size() + 1 || text.back() != 'Z' || !hasForm(text.substr(0, kForm.size()), kForm))
        return std::nullopt;
    std::optional<nanoseconds> const fraction =
        fractionOf(text.substr(kForm.size(), text.size() - kForm.size() - 1));
    std::tm parts{};
    parts.tm_year = numberAt(text, 0, 4) - 1900;
    parts.tm_mon = numberAt(text, 5, 2) - 1;
    parts.tm_mday = numberAt(text, 8, 2);
    parts.tm_hour = numberAt(text, 11, 2);
    parts.tm_min = numberAt(text, 14, 2);
    parts.tm_sec = numberAt(text, 17, 2);
    std::tm const asWritten = parts;
    // The clock's nanoseconds reach from 1677 to 2262.
    if (!fraction || parts.tm_year < -200 || parts.tm_year > 350)
        return std::nullopt;
    Time const time = system_clock::from_time_t(timegm(&parts));
    if (parts.tm_mon != asWritten.tm_mon || parts.tm_mday != asWritten.tm_mday ||
        parts.tm_hour != asWritten.tm_hour || parts.tm_min != asWritten.tm_min ||
        parts.tm_sec != asWritten.tm_sec)
        return std::nullopt; // the 31st of February
    return time + duration_cast<system_clock::duration>(*fraction);
}

std::string readableTime(Time time) { return formatted("%Y-%m-%d %H:%M:%S UTC", partsOf(time)); }

std::string readableSpan(double seconds, bool withTenths)
{
    if (!(seconds > 0))
        seconds = 0;
    auto const tenths = static_cast<unsigned long long>(std::min(seconds, 1e12) * 10 + 0.5);
    unsigned long long const whole = tenths / 10;
    char text[48];
    if (withTenths && whole < 60)
        std::snprintf(text, sizeof text, "0:%02llu.%llu", whole, tenths % 10);
    else if (whole < 3600)
        std::snprintf(text, sizeof text, "%llu:%02llu", whole / 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%llu:%02llu:%02llu", whole / 3600, whole / 60 % 60, whole % 60);
    return text;
}

} // namespace engine
