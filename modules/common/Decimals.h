#pragma once

#include <cstdio>
#include <string>

namespace krel5::modules {

/// "12.50" for 12.5 with two digits behind the point, with a point whatever the locale: a module sets none.
inline std::string decimals(double value, int count)
{
    char text[352]; // the largest number has 309 digits
    std::snprintf(text, sizeof text, "%.*f", count, value);
    return text;
}

} // namespace krel5::modules
