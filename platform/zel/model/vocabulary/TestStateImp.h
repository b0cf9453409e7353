#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Where a test run stands.
class ZEL_EXPORT TestStateImp : public VocabularyConstant<TestStateImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/TestState.def>
    };
#define ZEL_CONSTANT(accessor, ...) static TestStateImp const& accessor();
#include <zel/model/vocabulary/tables/TestState.def>

    constexpr TestStateImp() noexcept : VocabularyConstant(static_cast<int>(Code::NOTSTARTED)) {}
    constexpr explicit TestStateImp(Code code) noexcept : VocabularyConstant(static_cast<int>(code)) {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<TestStateImp>;
    static constexpr int kUnknown = VocabularyTable::kNone;
    constexpr explicit TestStateImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
