#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// A language, by its tag ("en", "zh-cn"). The constant `nil` stands for no language; an unknown tag gives
/// it.
class ZEL_EXPORT LanguageImp : public VocabularyConstant<LanguageImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/Language.def>
    };
#define ZEL_CONSTANT(accessor, ...) static LanguageImp const& accessor();
#include <zel/model/vocabulary/tables/Language.def>

    constexpr LanguageImp() noexcept : VocabularyConstant(static_cast<int>(Code::nil)) {}
    constexpr explicit LanguageImp(Code code) noexcept : VocabularyConstant(static_cast<int>(code)) {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<LanguageImp>;
    static constexpr int kUnknown = static_cast<int>(Code::nil);
    constexpr explicit LanguageImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
