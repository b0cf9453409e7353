#include <zel/foundation/Exception.h>

#include <zel/foundation/System.h>

namespace zel {

Exception::Exception(String const& message)
    : m_message(message), m_what(message.toUtf8()), m_stackTrace(StackTrace::getCurrentStackTrace(1))
{}

Exception::~Exception() = default;

IndexOutOfBoundsException::IndexOutOfBoundsException(int low, int high, int index)
    : Exception(String("Index ") + String::number(index) + " is out of bounds [" + String::number(low) +
                ", " + String::number(high) + "]")
{}

SystemException::SystemException(String const& what, int errorNumber)
    : Exception(what + ": " + System::errorText(errorNumber)), m_errorNumber(errorNumber)
{}

AssertionException::AssertionException(char const* expression, char const* file, int line)
    : Exception(String("Assertion failed: ") + expression + " (" + file + ":" + String::number(line) + ")")
{}

} // namespace zel
