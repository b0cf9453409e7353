#pragma once
// Conversion between UTF-8 and UTF-16. Decoding never fails and never reads past the given length: each
// malformed byte sequence and each lone surrogate becomes U+FFFD (the "maximal subpart" practice of the
// Unicode Standard, chapter 3.9, table 3-8). Text outside the basic plane is a surrogate pair and returns
// unchanged. Thread rule: pure functions.

#include <zel/foundation/Export.h>

#include <cstddef>
#include <string>

namespace zel::utf {

/// One UTF-16 code unit. `unsigned short`, not `char16_t`, so that a string's own buffer is the UCS-2 buffer
/// that the public interface hands out.
using Unit = unsigned short;

/// Writes the UTF-16 form of `bytes` to `out`, which has room for `length` units (UTF-16 never needs more
/// units than UTF-8 needs bytes). Returns the number of units written.
ZEL_EXPORT std::size_t decodeUtf8(char const* bytes, std::size_t length, Unit* out) noexcept;

/// Bytes of the well-formed sequence that begins `bytes`; 0: none does. REQUIRES: length > 0.
ZEL_EXPORT std::size_t sequenceLength(char const* bytes, std::size_t length) noexcept;

/// Writes the UTF-8 form of `length` units to `out`, which has room for three times as many bytes. Returns
/// the number of bytes written.
ZEL_EXPORT std::size_t encodeUtf8(Unit const* units, std::size_t length, char* out) noexcept;

/// Appends the UTF-8 form of `length` units to `out`.
ZEL_EXPORT void encodeUtf8(Unit const* units, std::size_t length, std::string& out);

} // namespace zel::utf
