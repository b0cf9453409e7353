#pragma once
// Units of kernel sensor files (Documentation/hwmon/sysfs-interface): thousandths of a degree, a volt, an ampere
// and a percent, millionths of a watt and a joule.

#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>
#include <zel/model/values/ValueImp.h>

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
inline measure::Reading amperes(std::optional<std::int64_t> milliamperes)
{
    constexpr std::int64_t kMost =
        10'000'000; // ten thousand amperes: no conductor of a computer carries them
    return milliamperes && *milliamperes >= -kMost && *milliamperes <= kMost
               ? measure::reading(UnitType::AMPS(), static_cast<double>(*milliamperes) / 1000, 3)
               : std::nullopt;
}

inline measure::Reading watts(std::optional<std::int64_t> microwatts)
{
    constexpr std::int64_t kMost = 1'000'000'000'000; // a megawatt
    return microwatts && *microwatts >= 0 && *microwatts <= kMost
               ? measure::reading(UnitType::WATTS(), static_cast<double>(*microwatts) / 1e6, 2)
               : std::nullopt;
}

/// Counted from when the driver was loaded.
inline measure::Reading wattHours(std::optional<std::int64_t> microjoules)
{
    constexpr double kMicrojoules = 3.6e9; // in a watt-hour
    return microjoules && *microjoules >= 0
               ? measure::reading(UnitType::WATTHOURS(), static_cast<double>(*microjoules) / kMicrojoules, 3)
               : std::nullopt;
}

inline std::optional<ValueImp> humidity(std::optional<std::int64_t> thousandths)
{
    constexpr std::int64_t kAll = 100'000;
    return thousandths && *thousandths >= 0 && *thousandths <= kAll
               ? std::optional(ValueImp(static_cast<double>(*thousandths) / 1000, DataTypeImp::PERCENT()))
               : std::nullopt;
}

} // namespace zel::sensor
