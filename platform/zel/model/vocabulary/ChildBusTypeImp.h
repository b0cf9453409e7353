#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Bus type of a device's children. By default a constant outside the table: no bus.
class ZEL_EXPORT ChildBusTypeImp : public VocabularyConstant<ChildBusTypeImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/ChildBusType.def>
    };
#define ZEL_CONSTANT(accessor, ...) static ChildBusTypeImp const& accessor();
#include <zel/model/vocabulary/tables/ChildBusType.def>

    constexpr ChildBusTypeImp() noexcept : VocabularyConstant(VocabularyTable::kNone) {}
    constexpr explicit ChildBusTypeImp(Code code) noexcept : VocabularyConstant(static_cast<int>(code)) {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<ChildBusTypeImp>;
    static constexpr int kUnknown = VocabularyTable::kNone;
    constexpr explicit ChildBusTypeImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
