#pragma once
// Exceptions of the platform. Each carries one message and the stack trace of the place where it was made.

#include <zel/foundation/Export.h>
#include <zel/foundation/StackTrace.h>
#include <zel/foundation/String.h>

#include <exception>

namespace zel {

/// Base of every exception that the platform throws.
class ZEL_EXPORT Exception : public std::exception
{
public:
    explicit Exception(String const& message);
    ~Exception() override;

    String const& getMessage() const noexcept { return m_message; }
    /// Rendered on demand; see StackTrace.
    String getStackTrace() const { return m_stackTrace.toString(); }
    StackTrace const& stackTrace() const noexcept { return m_stackTrace; }
    /// The message alone; the stack trace is asked for separately.
    virtual String toString() const { return m_message; }
    /// The message as UTF-8, for code that knows only std::exception.
    char const* what() const noexcept override { return m_what.c_str(); }

private:
    String m_message;
    std::string m_what;
    StackTrace m_stackTrace;
};

class ZEL_EXPORT NullPointerException : public Exception
{
public:
    using Exception::Exception;
};

class ZEL_EXPORT InvalidArgumentException : public Exception
{
public:
    using Exception::Exception;
};

/// Text of the message: "Index {index} is out of bounds [{low}, {high}]".
class ZEL_EXPORT IndexOutOfBoundsException : public Exception
{
public:
    IndexOutOfBoundsException(int low, int high, int index);
};

/// A file, a document or an option's text that cannot be read as what it should be.
class ZEL_EXPORT ParseException : public Exception
{
public:
    using Exception::Exception;
};

/// A command line that cannot be taken; the message names the word.
class ZEL_EXPORT OptionException : public Exception
{
public:
    using Exception::Exception;
};

/// A request that the state manager refuses.
class ZEL_EXPORT StateException : public Exception
{
public:
    using Exception::Exception;
};

/// A system call that failed: "{what}: {reason}", from `errno`'s value.
class ZEL_EXPORT SystemException : public Exception
{
public:
    SystemException(String const& what, int errorNumber);
    int errorNumber() const noexcept { return m_errorNumber; }

private:
    int m_errorNumber;
};

/// A broken promise inside the program: "Assertion failed: {expression} ({file}:{line})". Thrown in every
/// build.
class ZEL_EXPORT AssertionException : public Exception
{
public:
    AssertionException(char const* expression, char const* file, int line);
};

} // namespace zel

/// Checks `condition` in every build; a failure throws AssertionException naming `label` and the place.
#define ZEL_ASSERT_NAMED(condition, label)                                                                   \
    do {                                                                                                     \
        if (!(condition))                                                                                    \
            throw ::zel::AssertionException(label, __FILE__, __LINE__);                                      \
    } while (false)
#define ZEL_ASSERT(condition) ZEL_ASSERT_NAMED(condition, #condition)
