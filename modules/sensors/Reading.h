#pragma once
// What one look at a part of the machine brings: numbers in base units, each under the key of its property.

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace krel5::modules::sensors {

enum class ReadingId {
#define SENSOR_READING(key, form) key,
#include <sensors/Readings.def>
};

/// How a number becomes a value with its unit.
enum class Form {
    Celsius,
    Rpm,
    Volts,
    Amperes,
    Watts,
    WattHours,
    Percent,
    Truth,
    Number,
    Hertz,
    Count,
    Bytes,
    BitsPerSecond
};

struct ReadingRow
{
    char const* key;
    Form form;
};

inline constexpr ReadingRow kReadings[] = {
#define SENSOR_READING(key, form) {#key, Form::form},
#include <sensors/Readings.def>
};

inline constexpr ReadingRow const& rowOf(ReadingId id) { return kReadings[static_cast<unsigned>(id)]; }

/// How far a reading may go, as the hardware states it.
struct Limit
{
    std::string key; ///< of a property: "MaximumTemperature"
    double value;    ///< in base units
    bool operator==(Limit const&) const = default;
};

struct Readings
{
    std::vector<std::pair<ReadingId, double>> values; ///< in the order in which they are shown
    std::vector<Limit> limits;                        ///< that came with them
    std::string failure; ///< why the first file that was to be read had nothing to say; empty: all did

    void add(ReadingId id, std::optional<double> value)
    {
        if (value)
            values.emplace_back(id, *value);
    }
    std::optional<double> find(ReadingId id) const
    {
        for (auto const& [key, value] : values)
            if (key == id)
                return value;
        return std::nullopt;
    }
};

} // namespace krel5::modules::sensors
