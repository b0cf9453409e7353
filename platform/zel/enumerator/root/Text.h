#pragma once
// Reading of what kernel files and firmware tables hold: numbers, lists, names.

#include <zel/foundation/Export.h>

#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel::text {

/// Without white space (ASCII) and zeros at both ends.
ZEL_EXPORT std::string_view trimmed(std::string_view text) noexcept;
/// Capital letters (ASCII) as small ones.
ZEL_EXPORT std::string lowered(std::string_view text);
/// First line, trimmed.
ZEL_EXPORT std::string_view firstLine(std::string_view text) noexcept;
ZEL_EXPORT std::vector<std::string_view> split(std::string_view text, char separator);
/// The parts would point into a string that is gone.
template <typename Temporary>
requires std::same_as<Temporary, std::string> std::vector<std::string_view> split(Temporary&& text,
                                                                                  char separator)
= delete;
/// Order of names in which runs of digits count as numbers: "cpu2" before "cpu10".
ZEL_EXPORT bool naturalLess(std::string_view left, std::string_view right) noexcept;

/// The number that the whole (trimmed) text is: decimal, or hexadecimal after 0x. Nothing for any other text
/// and for a number out of range.
ZEL_EXPORT std::optional<std::int64_t> toNumber(std::string_view text) noexcept;
ZEL_EXPORT std::optional<std::uint64_t> toUnsigned(std::string_view text) noexcept;
ZEL_EXPORT std::optional<std::uint64_t> toHexadecimal(std::string_view text) noexcept; ///< with or without 0x
/// Number at the end of a name: "cpu12" -> 12 for the prefix "cpu"; nothing when anything else follows.
ZEL_EXPORT std::optional<unsigned> indexAfter(std::string_view name, std::string_view prefix) noexcept;
/// A kernel list ("0-3,8,10-11"). At most `limit` numbers; nothing when a part is not a number or range.
ZEL_EXPORT std::optional<std::vector<unsigned>> toList(std::string_view text, std::size_t limit = 65536);
/// The bits of a kernel mask ("00000000,000000f0": groups of 32 bits, the highest first).
ZEL_EXPORT std::optional<std::vector<unsigned>> toMask(std::string_view text);
/// The shortest kernel list of ascending numbers: {0, 1, 2, 8} -> "0-2,8".
ZEL_EXPORT std::string listText(std::vector<unsigned> const& ascending);
/// The number before the word: "8.0 GT/s PCIe" -> 8 for " GT/s". At most four digits before the point, no sign; nothing
/// for any other text.
ZEL_EXPORT std::optional<double> amountBefore(std::string_view text, std::string_view word) noexcept;
/// A size as the kernel prints cache sizes ("32K", "8192K", "16M", "512"), in bytes.
ZEL_EXPORT std::optional<std::uint64_t> toByteCount(std::string_view text) noexcept;
/// "KEY=value" lines as `uevent` files have them; a line without '=' is skipped, the first of equal keys
/// stands.
ZEL_EXPORT std::map<std::string, std::string, std::less<>> keyValueLines(std::string_view text,
                                                                         char separator = '=');
/// The choice that is in force where the kernel lists all ("source [sink]", "C [PD] PD_PPS"), or the only one
/// where it lists one; nothing for any other text.
ZEL_EXPORT std::optional<std::string> chosenOf(std::string_view text);

/// What a vendor wrote, or nothing when the vendor wrote that nothing was written ("To Be Filled By O.E.M.",
/// "0123456789", "Not Specified", only dots or zeros ...). Runs of blanks become one blank, control
/// characters go.
ZEL_EXPORT std::optional<std::string> meaningful(std::optional<std::string> const& text);
ZEL_EXPORT std::optional<std::string> meaningful(std::string_view text);

} // namespace zel::text
