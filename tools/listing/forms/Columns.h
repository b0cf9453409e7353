#pragma once
// Columns of a terminal that texts take. Pure functions; texts are harmless UTF-8 (Listing.h).

#include <cstddef>
#include <string>

namespace listing {

constexpr char kCut[] = ".."; ///< stands for what was left out

/// One for most characters, two for East Asian ones and pictures, none for marks that combine with the one before.
std::size_t columnsOf(std::string const& utf8);
/// As much of its beginning as fits.
std::string cutTo(std::string const& utf8, std::size_t columns);
/// With blanks behind it, up to that width.
std::string filledTo(std::string const& utf8, std::size_t columns);

} // namespace listing
