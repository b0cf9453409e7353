#pragma once

#include <krel5/KrelException.h>

namespace krel5 {

class DataType;

/// A data type that the operation cannot work with. After the text stands what every KrelException ends with.
class KREL5_EXPORT InvalidDataTypeException : public KrelException
{
public:
    /// Text: invalid data type : in "{where}" encountered invalid data type "{type}".
    InvalidDataTypeException(KrelString const& where, DataType const& type);
    InvalidDataTypeException(InvalidDataTypeException const& other);
    InvalidDataTypeException& operator=(InvalidDataTypeException const& other);
    ~InvalidDataTypeException() override;
};

} // namespace krel5
