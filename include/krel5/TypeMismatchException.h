#pragma once

#include <krel5/KrelException.h>

namespace krel5 {

class DataType;

/// A value was used as a type that it does not have. After the text stands what every KrelException ends
/// with.
class KREL5_EXPORT TypeMismatchException : public KrelException
{
public:
    /// Text: type mismatch : value is type "{actual}", but tried to use type "{requested}" instead.
    TypeMismatchException(DataType const& actual, DataType const& requested);
    /// The same text, then: object key = "{key}".
    TypeMismatchException(DataType const& actual, DataType const& requested, KrelString const& key);
    /// Text: type mismatch : expecting one of the types "{expected}", but tried to use type "{requested}"
    /// instead. `expected` is a list such as "DOUBLE or PERCENT".
    TypeMismatchException(KrelString const& expected, DataType const& requested);
    TypeMismatchException(TypeMismatchException const& other);
    TypeMismatchException& operator=(TypeMismatchException const& other);
    ~TypeMismatchException() override;
};

} // namespace krel5
