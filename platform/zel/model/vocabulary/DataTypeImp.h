#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Type of a value. The default, and what an unknown name gives, is a constant outside the table.
class ZEL_EXPORT DataTypeImp : public VocabularyConstant<DataTypeImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/DataType.def>
    };
#define ZEL_CONSTANT(accessor, ...) static DataTypeImp const& accessor();
#include <zel/model/vocabulary/tables/DataType.def>

    constexpr DataTypeImp() noexcept : VocabularyConstant(VocabularyTable::kNone) {}
    constexpr explicit DataTypeImp(Code code) noexcept : VocabularyConstant(static_cast<int>(code)) {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<DataTypeImp>;
    static constexpr int kUnknown = VocabularyTable::kNone;
    constexpr explicit DataTypeImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
