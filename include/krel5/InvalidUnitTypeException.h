#pragma once

#include <krel5/KrelException.h>

namespace krel5 {

class KrelUnitType;

/// A unit that the operation cannot work with. After the text stands what every KrelException ends with.
class KREL5_EXPORT InvalidUnitTypeException : public KrelException
{
public:
    /// Text: invalid unit type : in "{where}" encountered invalid unit type "{unit}".
    InvalidUnitTypeException(KrelString const& where, KrelUnitType const& unit);
    InvalidUnitTypeException(InvalidUnitTypeException const& other);
    InvalidUnitTypeException& operator=(InvalidUnitTypeException const& other);
    ~InvalidUnitTypeException() override;
};

} // namespace krel5
