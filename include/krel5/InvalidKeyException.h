#pragma once

#include <krel5/KrelException.h>

namespace krel5 {

/// A key holds a blank. After the text stands what every KrelException ends with.
class KREL5_EXPORT InvalidKeyException : public KrelException
{
public:
    /// Text: Invalid Key: create{what}(...) - "{key}" cannot contain any spaces
    InvalidKeyException(KrelString const& what, KrelString const& key);
    InvalidKeyException(InvalidKeyException const& other);
    InvalidKeyException& operator=(InvalidKeyException const& other);
    ~InvalidKeyException() override;
};

} // namespace krel5
