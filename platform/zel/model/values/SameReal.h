#pragma once

#include <cmath>

namespace zel {

/// Equality of what values hold: a NaN is the same as a NaN.
inline bool sameReal(double left, double right) noexcept
{
    return left == right || (std::isnan(left) && std::isnan(right));
}

} // namespace zel
