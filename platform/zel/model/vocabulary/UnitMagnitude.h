#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Magnitude of a unit. An unknown name gives a constant outside the table with both powers 0.
class ZEL_EXPORT UnitMagnitude : public VocabularyConstant<UnitMagnitude>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/UnitMagnitude.def>
    };
#define ZEL_CONSTANT(accessor, ...) static UnitMagnitude const& accessor();
#include <zel/model/vocabulary/tables/UnitMagnitude.def>

    constexpr UnitMagnitude() noexcept : VocabularyConstant(static_cast<int>(Code::BASEUNIT)) {}
    constexpr explicit UnitMagnitude(Code code) noexcept : VocabularyConstant(static_cast<int>(code)) {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }
    int powerOfTen() const noexcept { return number(); }
    int powerOfTwo() const noexcept { return row().secondNumber; }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<UnitMagnitude>;
    static constexpr int kUnknown = VocabularyTable::kNone;
    constexpr explicit UnitMagnitude(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
