#pragma once
// Readings with their unit, ready to be put on a device. An absent reading stays absent.

#include <zel/model/values/DiscreteMeasurement.h>
#include <zel/model/values/NonDiscreteMeasurement.h>

#include <cstdint>
#include <optional>

namespace zel::measure {

using Count = std::optional<std::uint64_t>;
using Reading = std::optional<NonDiscreteMeasurement>;
using Amount = std::optional<DiscreteMeasurement>;

inline Amount amount(UnitType const& unit, Count count)
{
    return count ? Amount(DiscreteMeasurement(unit, *count)) : std::nullopt;
}
inline Amount bytes(Count count) { return amount(UnitType::BYTES(), count); }
inline Amount bits(Count count) { return amount(UnitType::BITS(), count); }
inline Amount hertz(Count count) { return amount(UnitType::HERTZ(), count); }
inline Amount bitsPerSecond(Count count) { return amount(UnitType::BITSPERSECOND(), count); }
inline Amount transfersPerSecond(Count count) { return amount(UnitType::TRANSFERSPERSECOND(), count); }
inline Amount revolutions(Count count) { return amount(UnitType::RPM(), count); }
/// `count` in units of `factor`; absent when the product does not fit.
inline Count scaled(Count count, std::uint64_t factor)
{
    return count && *count <= ~std::uint64_t{0} / factor ? Count(*count * factor) : std::nullopt;
}

inline Reading reading(UnitType const& unit, std::optional<double> value, int precision)
{
    return value ? Reading(NonDiscreteMeasurement(unit, *value, UnitMagnitude::BASEUNIT(), precision))
                 : std::nullopt;
}

/// What a link is rated at, in thousands of millions of its unit: "8.0 GT/s", "2.5 Gbit/s".
inline Reading link(UnitType const& unit, std::optional<double> rate)
{
    return rate ? Reading(NonDiscreteMeasurement(unit, *rate, UnitMagnitude::GIGA(), 1)) : std::nullopt;
}

} // namespace zel::measure
