#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// What a module is for.
class ZEL_EXPORT ModuleTypeImp : public VocabularyConstant<ModuleTypeImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/ModuleType.def>
    };
#define ZEL_CONSTANT(accessor, ...) static ModuleTypeImp const& accessor();
#include <zel/model/vocabulary/tables/ModuleType.def>

    constexpr ModuleTypeImp() noexcept : VocabularyConstant(static_cast<int>(Code::UNINITIALIZED)) {}
    constexpr explicit ModuleTypeImp(Code code) noexcept : VocabularyConstant(static_cast<int>(code)) {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<ModuleTypeImp>;
    static constexpr int kUnknown = VocabularyTable::kNone;
    constexpr explicit ModuleTypeImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
