#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Where the value of a test parameter came from.
class ZEL_EXPORT ParameterSourceImp : public VocabularyConstant<ParameterSourceImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/ParameterSource.def>
    };
#define ZEL_CONSTANT(accessor, ...) static ParameterSourceImp const& accessor();
#include <zel/model/vocabulary/tables/ParameterSource.def>

    constexpr ParameterSourceImp() noexcept : VocabularyConstant(static_cast<int>(Code::NOTSET)) {}
    constexpr explicit ParameterSourceImp(Code code) noexcept : VocabularyConstant(static_cast<int>(code)) {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<ParameterSourceImp>;
    static constexpr int kUnknown = VocabularyTable::kNone;
    constexpr explicit ParameterSourceImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
