#pragma once
// A reading as a number in the base unit of its kind, as programs that keep measurements expect it.

#include <zel/model/values/ValueImp.h>

#include <optional>
#include <string>

namespace engine {

struct Quantity
{
    double number = 0;
    std::string
        unit; ///< "celsius", "volts", "bytes_per_second", "ratio" (of a percentage); empty: a plain number
    bool isCounter = false; ///< it only grows, until something is reset
};

/// Nothing for a text, a list, a number in hexadecimal, and what is not finite. A truth is 0 or 1. `key` says whether a plain whole
/// number counts something that happens: it ends with a word of kCounting.
std::optional<Quantity> quantityOf(std::string const& key, zel::ValueImp const& value);

/// "TemperatureOfCPU2" becomes "temperature_of_cpu2", what is neither letter nor digit an underscore.
std::string snakeCase(std::string const& key);

/// The last words of keys that count: "CorrectedErrors".
extern char const* const kCounting[];
extern std::size_t const kCountingCount;

} // namespace engine
