#pragma once
// Columns of a terminal that texts take. Pure functions; texts are harmless UTF-8 (Listing.h).

#include <cstddef>
#include <string>

namespace listing {

constexpr std::size_t kTextColumns = 110; ///< of lines that are to be read well, where nothing bounds them
constexpr char kCut[] = "..";             ///< stands for what was left out

/// One for most characters, two for East Asian ones and pictures, none for marks that combine with the one before.
std::size_t columnsOf(std::string const& utf8);
/// As much of its beginning as fits.
std::string cutTo(std::string const& utf8, std::size_t columns);
/// With blanks behind it, up to that width.
std::string filledTo(std::string const& utf8, std::size_t columns);
/// `line` on lines of so many columns, each with its end, broken at blanks; what follows the first break is indented by `indent`. A
/// word that is longer than a line stays whole, on a line of its own.
std::string wrapped(std::string const& line, std::size_t indent, std::size_t columns = kTextColumns);

} // namespace listing
