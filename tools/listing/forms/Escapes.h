#pragma once
// Texts of devices, modules and files inside HTML. Pure functions.

#include <zel/foundation/String.h>

#include <string>

namespace listing {

/// What HTML would take as a mark, as a character reference; good between tags and inside quoted attributes. REQUIRES:
/// `text` is harmless (Listing.h), as HTML can write few control characters.
std::string escaped(std::string const& text);
/// Of harmless(text).
std::string escaped(zel::String const& text);

} // namespace listing
