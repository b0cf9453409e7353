#pragma once

#include <krel5/KrelException.h>

namespace krel5 {

/// An index beyond the end of an array. After the text stands what every KrelException ends with.
class KREL5_EXPORT IndexOutOfBoundsException : public KrelException
{
public:
    /// The text names the bounds and the index asked for; `high` is the last valid index.
    IndexOutOfBoundsException(int low, int high, int index);
    IndexOutOfBoundsException(IndexOutOfBoundsException const& other);
    IndexOutOfBoundsException& operator=(IndexOutOfBoundsException const& other);
    ~IndexOutOfBoundsException() override;
};

} // namespace krel5
