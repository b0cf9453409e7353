#pragma once
// Units of kernel sensor files (Documentation/hwmon/sysfs-interface): thousandths of a degree and of a volt.

#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>

#include <string>

namespace zel::sensor {

/// Absent for what no sensor of a computer measures: drivers write "no limit" as absolute zero (-273150) or
/// as the largest number of the chip's register (65261850 in NVMe drives).
inline measure::Reading celsius(std::optional<std::int64_t> millidegrees)
{
    constexpr std::int64_t kLowest = -200'000;
    constexpr std::int64_t kHighest = 1'000'000;
    if (!millidegrees || *millidegrees < kLowest || *millidegrees > kHighest)
        return std::nullopt;
    return measure::reading(UnitType::CELSIUS(), static_cast<double>(*millidegrees) / 1000, 1);
}

/// Why a sensor has no reading, from what its file holds: for people.
inline char const* silence(std::optional<std::string> const& content)
{
    if (!content)
        return "No reading: the sensor does not answer";
    return text::toNumber(*content) ? "No reading: the value is out of range"
                                    : "No reading: the value is no number";
}

inline measure::Reading volts(std::optional<std::int64_t> millivolts)
{
    return millivolts ? measure::reading(UnitType::VOLTS(), static_cast<double>(*millivolts) / 1000, 3)
                      : std::nullopt;
}

inline measure::Amount revolutions(std::optional<std::int64_t> perMinute)
{
    return perMinute && *perMinute >= 0 ? measure::revolutions(static_cast<std::uint64_t>(*perMinute))
                                        : std::nullopt;
}

} // namespace zel::sensor
