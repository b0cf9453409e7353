#pragma once

#include <krel5/KrelException.h>

namespace krel5 {

/// A failure inside the library or the platform below it. After the text stands what every KrelException ends
/// with.
class KREL5_EXPORT InternalException : public KrelException
{
public:
    /// The text begins with the message as it is.
    explicit InternalException(zel::String const& message);
    /// Text: Internal Exception: {text of the cause}
    explicit InternalException(zel::Exception const& cause);
    /// The text is the message, then the message and the stack trace of the cause.
    InternalException(zel::String const& message, zel::Exception const& cause);
    InternalException(InternalException const& other);
    InternalException& operator=(InternalException const& other);
    ~InternalException() override;
};

} // namespace krel5
