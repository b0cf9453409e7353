#pragma once
// The word that somebody probably meant. Pure functions.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <cstddef>
#include <vector>

namespace zel {

/// Insertions, deletions and replacements that turn one text into the other. Time is the product of both lengths.
ZEL_EXPORT std::size_t editDistance(String const& a, String const& b);

/// The words of `known` that differ least from `word`, or whose beginning does, whatever the case of the letters, in the order of
/// texts. None
/// when each differs by more than a few slips of the finger, or when `word` is longer than anybody types.
ZEL_EXPORT std::vector<String> nearestSpellings(String const& word, std::vector<String> const& known);

} // namespace zel
