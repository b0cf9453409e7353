#pragma once
// Checks of what an author hands over.

namespace krel5 {

/// Throws InternalException "Internal Exception in {call}", with the name of what is missing and the place of
/// the check, unless `present`.
void requireArgument(bool present, char const* argument, char const* call,
                     char const* file = __builtin_FILE(), int line = __builtin_LINE());

} // namespace krel5
