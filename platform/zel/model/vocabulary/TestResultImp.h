#pragma once

#include <zel/foundation/Array.h>
#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Outcome of a test. An unknown text gives "UNKNOWN ERROR".
class ZEL_EXPORT TestResultImp : public VocabularyConstant<TestResultImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/TestResult.def>
    };
#define ZEL_CONSTANT(accessor, ...) static TestResultImp const& accessor();
#include <zel/model/vocabulary/tables/TestResult.def>

    constexpr TestResultImp() noexcept : VocabularyConstant(static_cast<int>(Code::TESTNOTSTARTED)) {}
    constexpr explicit TestResultImp(Code code) noexcept : VocabularyConstant(static_cast<int>(code)) {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }
    /// Also the exit status of a process that ends with this outcome.
    int value() const noexcept { return number(); }
    int priority() const noexcept { return row().secondNumber; }

    /// Of several outcomes the one of greatest priority, the earlier one on a tie; of none, the default
    /// result.
    static TestResultImp overallResult(Array<TestResultImp> const& results);

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<TestResultImp>;
    static constexpr int kUnknown = static_cast<int>(Code::UNKNOWNERROR);
    constexpr explicit TestResultImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
