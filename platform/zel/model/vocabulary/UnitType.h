#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Unit of a measurement. An unknown name gives a constant outside the table.
class ZEL_EXPORT UnitType : public VocabularyConstant<UnitType>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/UnitType.def>
    };
#define ZEL_CONSTANT(accessor, ...) static UnitType const& accessor();
#include <zel/model/vocabulary/tables/UnitType.def>

    constexpr UnitType() noexcept : VocabularyConstant(static_cast<int>(Code::NOUNIT)) {}
    constexpr explicit UnitType(Code code) noexcept : VocabularyConstant(static_cast<int>(code)) {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }
    /// True for the units of integer readings that are shown in hexadecimal.
    bool isHexadecimalType() const noexcept { return number() != 0; }
    /// Width in bits of what is shown in hexadecimal: 8, 16, 32, 64; 0 for every other unit.
    int hexadecimalBits() const noexcept { return number(); }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<UnitType>;
    static constexpr int kUnknown = VocabularyTable::kNone;
    constexpr explicit UnitType(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
