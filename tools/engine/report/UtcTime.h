#pragma once
// Times as texts. Pure functions.

#include <engine/report/Records.h>

#include <optional>
#include <string>
#include <string_view>

namespace engine {

/// "2026-11-22T15:23:09.042Z": to the millisecond, what is below is left out.
std::string utcText(Time time);
/// Of utcText(); any number of digits up to nine after the seconds, or none. Nothing for anything else.
std::optional<Time> utcTime(std::string_view text);
/// "2026-11-22 15:23:09 UTC".
std::string readableTime(Time time);
/// "0:09", "12:34", "1:02:03"; below a minute with a tenth where `withTenths`: "0:09.4".
std::string readableSpan(double seconds, bool withTenths = false);

} // namespace engine
