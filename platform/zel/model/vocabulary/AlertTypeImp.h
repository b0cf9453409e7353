#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Kind of an alert. By default a constant outside the table: an alert of no stated kind is not "ALL".
class ZEL_EXPORT AlertTypeImp : public VocabularyConstant<AlertTypeImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/AlertType.def>
    };
#define ZEL_CONSTANT(accessor, ...) static AlertTypeImp const& accessor();
#include <zel/model/vocabulary/tables/AlertType.def>

    constexpr AlertTypeImp() noexcept : VocabularyConstant(VocabularyTable::kNone) {}
    constexpr explicit AlertTypeImp(Code code) noexcept : VocabularyConstant(static_cast<int>(code)) {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<AlertTypeImp>;
    static constexpr int kUnknown = VocabularyTable::kNone;
    constexpr explicit AlertTypeImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
