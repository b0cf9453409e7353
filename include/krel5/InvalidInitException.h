#pragma once

#include <krel5/KrelException.h>

namespace krel5 {

/// A module is set up in a way that it cannot start with, or too late. After the text stands what every
/// KrelException ends with.
class KREL5_EXPORT InvalidInitException : public KrelException
{
public:
    /// The text begins with the message as it is.
    explicit InvalidInitException(KrelString const& message);
    InvalidInitException(InvalidInitException const& other);
    InvalidInitException& operator=(InvalidInitException const& other);
    ~InvalidInitException() override;
};

} // namespace krel5
