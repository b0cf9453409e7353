#pragma once

#include <zel/foundation/String.h>
#include <zel/model/vocabulary/LanguageImp.h>
#include <zel/model/vocabulary/UnitMagnitude.h>
#include <zel/model/vocabulary/UnitType.h>

#include <cstdint>

namespace zel {

/// A count in a unit: bytes of memory, hertz of a clock, the bits of a register. docs/values.md says how it
/// is scaled and printed.
class ZEL_EXPORT DiscreteMeasurement
{
public:
    DiscreteMeasurement() = default;
    DiscreteMeasurement(UnitType const& unit, std::uint64_t count) : m_unit(unit), m_count(count) {}
    /// `value` in the magnitude, rounded to the nearest count. Throws InvalidArgumentException when that is
    /// negative, not finite or more than 64 bits hold.
    DiscreteMeasurement(UnitType const& unit, double value, UnitMagnitude const& magnitude);

    std::uint64_t value() const noexcept { return m_count; }
    /// The count in the magnitude; AUTOSCALEUNIT: in the one that chosenMagnitude() names.
    double value(UnitMagnitude const& magnitude) const;
    UnitType const& unitType() const noexcept { return m_unit; }

    /// `magnitude` itself, or for AUTOSCALEUNIT the largest one in which the value, as printed, is at least 1.
    UnitMagnitude chosenMagnitude(UnitMagnitude const& magnitude) const;

    /// "16 GiB", "2.4 GHz", "0x001F"; the same on every machine.
    String toString(UnitMagnitude const& magnitude = UnitMagnitude::AUTOSCALEUNIT()) const;
    /// The same with the decimal separator of the language; without one, of the current language.
    String localizedString(UnitMagnitude const& magnitude = UnitMagnitude::AUTOSCALEUNIT()) const;
    String localizedString(UnitMagnitude const& magnitude, LanguageImp const& language) const;

    bool operator==(DiscreteMeasurement const&) const = default;

private:
    String numberText(UnitMagnitude const& magnitude) const;

    UnitType m_unit;
    std::uint64_t m_count = 0;
};

} // namespace zel
