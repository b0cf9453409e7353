#pragma once
// The root of every exception that this library throws. Thrown by value, caught by reference:
//
//     try {
//         DiagModule::createTest("memory", DeviceCapability::Memory(), memoryTest);
//     } catch (krel5::KrelException const& e) {
//         std::fputs(e.toString().getUTF8Buffer(), stderr);   // message, then cause or stack trace
//     }
//
// Catch a subclass to tell one reason from another; the subclasses differ in their words and their type only.
// Thread rule: an exception is not used from two threads at once.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class Exception;
}

namespace krel5 {

struct KrelExceptionInternalData;

class KREL5_EXPORT KrelException
{
public:
    /// The text is the message, "Stack Trace:" and the stack trace of this place. `message` as bytes is
    /// UTF-8.
    KrelException(KrelString const& message);
    KrelException(char const* message);
    KrelException(std::string const& message);
    KrelException(std::string_view message);
    KrelException(zel::String const& message);
    /// The text is the message, then the message and the stack trace of the cause; no trace of this place.
    KrelException(KrelString const& message, zel::Exception const& cause);
    /// The text is the message, then the whole text of the cause; no trace of this place.
    KrelException(KrelString const& message, KrelException const& cause);
    KrelException(KrelException const& other);
    KrelException& operator=(KrelException const& other);
    virtual ~KrelException();

    /// The complete text; lives as long as the exception. Function names are looked up by the first call, which
    /// takes milliseconds; an exception that nobody reads costs microseconds.
    KrelString const& toString() const;

protected:
    /// An empty text.
    KrelException();
    /// Sets the text to `message` and the stack trace of the place that constructs the exception. To be
    /// called by a constructor directly: its frame and this one are left out of the trace.
    void setMessageWithStackTrace(zel::String const& message);
    /// Sets the text to `message` followed by the message and the stack trace of the cause.
    void setMessageWithCause(zel::String const& message, zel::Exception const& cause);

private:
    KrelExceptionInternalData& data();
    KrelExceptionInternalData const& data() const;

    DataHolder<KrelExceptionInternalData> m_holder;
};

} // namespace krel5
