#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Kind of a tip.
class ZEL_EXPORT TipTypeImp : public VocabularyConstant<TipTypeImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/TipType.def>
    };
#define ZEL_CONSTANT(accessor, ...) static TipTypeImp const& accessor();
#include <zel/model/vocabulary/tables/TipType.def>

    constexpr TipTypeImp() noexcept : VocabularyConstant(static_cast<int>(Code::UNINITIALIZED)) {}
    constexpr explicit TipTypeImp(Code code) noexcept : VocabularyConstant(static_cast<int>(code)) {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<TipTypeImp>;
    static constexpr int kUnknown = VocabularyTable::kNone;
    constexpr explicit TipTypeImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
