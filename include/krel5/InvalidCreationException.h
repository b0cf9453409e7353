#pragma once

#include <krel5/KrelException.h>

namespace krel5 {

/// An object cannot be created here or in this way. After the text stands what every KrelException ends with.
class KREL5_EXPORT InvalidCreationException : public KrelException
{
public:
    /// The text begins with the message as it is.
    explicit InvalidCreationException(KrelString const& message);
    InvalidCreationException(InvalidCreationException const& other);
    InvalidCreationException& operator=(InvalidCreationException const& other);
    ~InvalidCreationException() override;
};

} // namespace krel5
