// The exceptions that tell one reason from another: each composes its text and is otherwise a KrelException.

#include <krel5/AlreadyAddedException.h>
#include <krel5/AlreadyCreatedException.h>
#include <krel5/CannotAddPropertyLinkToNonGroupProperty.h>
#include <krel5/IndexOutOfBoundsException.h>
#include <krel5/InternalException.h>
#include <krel5/InvalidCreationException.h>
#include <krel5/InvalidInitException.h>
#include <krel5/InvalidKeyException.h>
#include <krel5/ParameterNotSetException.h>
#include <krel5/ParameterNotValidException.h>

#include <libKrel5/basics/ExceptionUnit.h>

#include <zel/foundation/Exception.h>

namespace krel5 {

KREL5_EXCEPTION_COPIES(AlreadyAddedException);
KREL5_EXCEPTION_COPIES(AlreadyCreatedException);
KREL5_EXCEPTION_COPIES(ParameterNotValidException);
KREL5_EXCEPTION_COPIES(ParameterNotSetException);
KREL5_EXCEPTION_COPIES(InvalidKeyException);
KREL5_EXCEPTION_COPIES(InvalidCreationException);
KREL5_EXCEPTION_COPIES(InvalidInitException);
KREL5_EXCEPTION_COPIES(IndexOutOfBoundsException);
KREL5_EXCEPTION_COPIES(InternalException);
KREL5_EXCEPTION_COPIES(CannotAddPropertyLinkToNonGroupProperty);

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
                             quoted(key) +
                             (key.size() == 0 ? " cannot be empty" : " cannot contain any spaces"));
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
