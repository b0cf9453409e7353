#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Working state of a device; FUNCTIONAL until something else is known.
class ZEL_EXPORT DeviceStateImp : public VocabularyConstant<DeviceStateImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/DeviceState.def>
    };
#define ZEL_CONSTANT(accessor, ...) static DeviceStateImp const& accessor();
#include <zel/model/vocabulary/tables/DeviceState.def>

    constexpr DeviceStateImp() noexcept : VocabularyConstant(static_cast<int>(Code::FUNCTIONAL)) {}
    constexpr explicit DeviceStateImp(Code code) noexcept : VocabularyConstant(static_cast<int>(code)) {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<DeviceStateImp>;
    static constexpr int kUnknown = VocabularyTable::kNone;
    constexpr explicit DeviceStateImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
