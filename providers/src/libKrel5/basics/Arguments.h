#pragma once
// Checks of what an author hands over.

#include <cstddef>

namespace krel5 {

/// Throws InternalException "Internal Exception in {call}", with the name of what is missing and the place of
/// the check, unless `present`.
void requireArgument(bool present, char const* argument, char const* call,
                     char const* file = __builtin_FILE(), int line = __builtin_LINE());

/// Throws IndexOutOfBoundsException(0, size - 1, index) unless a list of that size has such an element.
void requireIndex(std::size_t index, std::size_t size);

} // namespace krel5
