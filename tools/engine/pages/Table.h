#pragma once
// Rows of cells as lines of text, one column below the other.

#include <cstddef>
#include <string>
#include <vector>

namespace engine {

using TableRow = std::vector<std::string>; ///< harmless texts (listing/Listing.h)

/// Each row as long as the first; the columns are as wide as their widest cell and, where that is more than `width`, cut,
/// but for those of `whole`. 0: as wide as it becomes.
std::string table(std::vector<TableRow> const& rows, std::size_t width,
                  std::vector<std::size_t> const& whole);

} // namespace engine
