// The exceptions that tell one reason from another: each composes its text and is otherwise a KrelException.

#include <krel5/AlreadyAddedException.h>
#include <krel5/AlreadyCreatedException.h>
#include <krel5/CannotAddPropertyLinkToNonGroupProperty.h>
#include <krel5/DataType.h>
#include <krel5/IndexOutOfBoundsException.h>
#include <krel5/InternalException.h>
#include <krel5/InvalidCreationException.h>
#include <krel5/InvalidDataTypeException.h>
#include <krel5/InvalidInitException.h>
#include <krel5/InvalidKeyException.h>
#include <krel5/InvalidUnitTypeException.h>
#include <krel5/KrelUnitType.h>
#include <krel5/ParameterNotSetException.h>
#include <krel5/ParameterNotValidException.h>
#include <krel5/TypeMismatchException.h>

#include <libKrel5/basics/ExceptionLogger.h>

#include <zel/foundation/Exception.h>

namespace krel5 {

#define KREL5_EXCEPTION_COPIES(Class)                                                                        \
    Class::Class(Class const& other) = default;                                                              \
    Class& Class::operator=(Class const& other) = default;                                                   \
    Class::~Class() = default

KREL5_EXCEPTION_COPIES(AlreadyAddedException);
KREL5_EXCEPTION_COPIES(AlreadyCreatedException);
KREL5_EXCEPTION_COPIES(ParameterNotValidException);
KREL5_EXCEPTION_COPIES(ParameterNotSetException);
KREL5_EXCEPTION_COPIES(InvalidKeyException);
KREL5_EXCEPTION_COPIES(InvalidCreationException);
KREL5_EXCEPTION_COPIES(InvalidInitException);
KREL5_EXCEPTION_COPIES(TypeMismatchException);
KREL5_EXCEPTION_COPIES(InvalidDataTypeException);
KREL5_EXCEPTION_COPIES(InvalidUnitTypeException);
KREL5_EXCEPTION_COPIES(IndexOutOfBoundsException);
KREL5_EXCEPTION_COPIES(InternalException);
KREL5_EXCEPTION_COPIES(CannotAddPropertyLinkToNonGroupProperty);

static zel::String quoted(KrelString const& text) { return zel::String("\"") + text.zelString() + "\""; }

static zel::String internalFailure(zel::Exception const& cause)
{
    return zel::String("Internal Exception: ") + cause.toString();
}

AlreadyAddedException::AlreadyAddedException(KrelString const& owner, KrelString const& ownerName,
                                             KrelString const& kind, KrelString const& key)
{
    zel::TraceScope const scope(exceptionLogger(), "AlreadyAddedException Ctor", __LINE__);
    setMessageWithStackTrace(owner.zelString() + " " + quoted(ownerName) + " already has a " +
                             kind.zelString() + " with the key " + quoted(key));
}

AlreadyCreatedException::AlreadyCreatedException(KrelString const& kind, KrelString const& key)
{
    zel::TraceScope const scope(exceptionLogger(), "AlreadyCreatedException Ctor", __LINE__);
    setMessageWithStackTrace(zel::String("A ") + kind.zelString() + " with the key " + quoted(key) +
                             " already exists in this module.");
}

ParameterNotValidException::ParameterNotValidException(KrelString const& test, KrelString const& parameter)
{
    zel::TraceScope const scope(exceptionLogger(), "ParameterNotValidException Ctor", __LINE__);
    setMessageWithStackTrace(zel::String("Parameter ") + quoted(parameter) + " not valid for Test " +
                             quoted(test));
}

ParameterNotSetException::ParameterNotSetException(KrelString const& test, KrelString const& parameter)
{
    zel::TraceScope const scope(exceptionLogger(), "ParameterNotSetException Ctor", __LINE__);
    zel::String message = zel::String("Parameter ") + quoted(parameter) + " not set in the settings file";
    if (test.size() > 0)
        message += zel::String(" for Test ") + quoted(test);
    setMessageWithStackTrace(message);
}

InvalidKeyException::InvalidKeyException(KrelString const& what, KrelString const& key)
{
    zel::TraceScope const scope(exceptionLogger(), "InvalidKeyException Ctor", __LINE__);
    setMessageWithStackTrace(zel::String("Invalid Key: create") + what.zelString() + "(...) - " +
                             quoted(key) + " cannot contain any spaces");
}

InvalidCreationException::InvalidCreationException(KrelString const& message)
{
    zel::TraceScope const scope(exceptionLogger(), "InvalidCreationException Ctor", __LINE__);
    setMessageWithStackTrace(message.zelString());
}

InvalidInitException::InvalidInitException(KrelString const& message)
{
    zel::TraceScope const scope(exceptionLogger(), "InvalidInitException Ctor", __LINE__);
    setMessageWithStackTrace(message.zelString());
}

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

IndexOutOfBoundsException::IndexOutOfBoundsException(int low, int high, int index)
{
    zel::TraceScope const scope(exceptionLogger(), "IndexOutOfBoundsException Ctor", __LINE__);
    setMessageWithStackTrace(zel::IndexOutOfBoundsException(low, high, index).toString());
}

InternalException::InternalException(zel::String const& message)
{
    zel::TraceScope const scope(exceptionLogger(), "InternalException Ctor from zel::String", __LINE__);
    setMessageWithStackTrace(message);
}

InternalException::InternalException(zel::Exception const& cause)
{
    zel::TraceScope const scope(exceptionLogger(), "InternalException Ctor from zel::Exception", __LINE__);
    setMessageWithStackTrace(internalFailure(cause));
}

InternalException::InternalException(zel::String const& message, zel::Exception const& cause)
{
    zel::TraceScope const scope(exceptionLogger(), "InternalException Ctor from zel::String, zel::Exception",
                                __LINE__);
    setMessageWithCause(message, cause);
}

CannotAddPropertyLinkToNonGroupProperty::CannotAddPropertyLinkToNonGroupProperty(zel::String const& message)
{
    zel::TraceScope const scope(exceptionLogger(),
                                "CannotAddPropertyLinkToNonGroupProperty Ctor from zel::String", __LINE__);
    setMessageWithStackTrace(message);
}

CannotAddPropertyLinkToNonGroupProperty::CannotAddPropertyLinkToNonGroupProperty(zel::Exception const& cause)
{
    zel::TraceScope const scope(exceptionLogger(),
                                "CannotAddPropertyLinkToNonGroupProperty Ctor from zel::Exception", __LINE__);
    setMessageWithStackTrace(internalFailure(cause));
}

} // namespace krel5
