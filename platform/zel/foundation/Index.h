#pragma once
// Of lists that are asked by number: the question is checked in one place.

#include <zel/foundation/Exception.h>

#include <cstddef>

namespace zel {

/// Throws IndexOutOfBoundsException(0, size - 1, index) unless a list of that size has such an element.
inline void checkIndex(std::size_t index, std::size_t size)
{
    if (index >= size)
        throw IndexOutOfBoundsException(0, static_cast<int>(size) - 1, static_cast<int>(index));
}

} // namespace zel
