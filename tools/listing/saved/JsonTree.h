#pragma once
// JSON as it was read, each value with the line it stands on. Plain values.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace listing {

struct SavedLimits;

struct JsonNode
{
    enum class Kind : std::uint8_t { Null, Truth, Unsigned, Negative, Real, Text, Array, Object };

    Kind kind = Kind::Null;
    bool truth = false;
    std::uint32_t line = 0; ///< on which the value begins, from 1; of an array or object, its bracket
    union {
        std::uint64_t whole = 0;
        std::int64_t negative;
        double real;
    };
    std::string key; ///< of a member of an object
    std::string text;
    std::vector<JsonNode> children; ///< elements or members, in order

    /// The first member of that key, or null.
    JsonNode const* member(std::string_view wanted) const;
};

/// Throws zel::ParseException "{name}:{line}: {reason}" for what is no JSON or beyond the limits, of which
/// the depth holds before the parser's stack does. `line` is that on which the text begins in its file.
JsonNode parseJson(std::string_view utf8, std::string const& name, SavedLimits const& limits,
                   std::size_t line = 1);

/// ParseException with "{name}:{line}: {reason}".
[[noreturn]] void refuse(std::string const& name, std::size_t line, std::string const& reason);

} // namespace listing
