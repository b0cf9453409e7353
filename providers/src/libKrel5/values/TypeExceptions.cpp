// The exceptions about the types of values; see basics/Exceptions.cpp.

#include <krel5/DataType.h>
#include <krel5/InvalidDataTypeException.h>
#include <krel5/InvalidUnitTypeException.h>
#include <krel5/KrelUnitType.h>
#include <krel5/TypeMismatchException.h>

#include <libKrel5/basics/ExceptionUnit.h>

namespace krel5 {

KREL5_EXCEPTION_COPIES(TypeMismatchException);
KREL5_EXCEPTION_COPIES(InvalidDataTypeException);
KREL5_EXCEPTION_COPIES(InvalidUnitTypeException);

static zel::String mismatch(char const* kindOfType, KrelString const& expected, DataType const& requested)
{
    return zel::String("type mismatch : ") + kindOfType + " " + quoted(expected) +
           ", but tried to use type " + quoted(requested.toString()) + " instead.";
}

TypeMismatchException::TypeMismatchException(DataType const& actual, DataType const& requested)
{
    zel::TraceScope const scope(exceptionLogger(), "TypeMismatchException Ctor", __LINE__);
    setMessageWithStackTrace(mismatch("value is type", actual.toString(), requested));
}

TypeMismatchException::TypeMismatchException(DataType const& actual, DataType const& requested,
                                             KrelString const& key)
{
    zel::TraceScope const scope(exceptionLogger(), "TypeMismatchException Ctor", __LINE__);
    setMessageWithStackTrace(mismatch("value is type", actual.toString(), requested) +
                             " object key = " + quoted(key) + ".");
}

TypeMismatchException::TypeMismatchException(KrelString const& expected, DataType const& requested)
{
    zel::TraceScope const scope(exceptionLogger(), "TypeMismatchException Ctor", __LINE__);
    setMessageWithStackTrace(mismatch("expecting one of the types", expected, requested));
}

InvalidDataTypeException::InvalidDataTypeException(KrelString const& where, DataType const& type)
{
    zel::TraceScope const scope(exceptionLogger(), "InvalidDataTypeException Ctor", __LINE__);
    setMessageWithStackTrace(zel::String("invalid data type : in ") + quoted(where) +
                             " encountered invalid data type " + quoted(type.toString()) + ".");
}

InvalidUnitTypeException::InvalidUnitTypeException(KrelString const& where, KrelUnitType const& unit)
{
    zel::TraceScope const scope(exceptionLogger(), "InvalidUnitTypeException Ctor", __LINE__);
    setMessageWithStackTrace(zel::String("invalid unit type : in ") + quoted(where) +
                             " encountered invalid unit type " + quoted(unit.toString()) + ".");
}

} // namespace krel5
