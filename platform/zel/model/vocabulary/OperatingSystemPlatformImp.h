#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Platform of an operating system.
class ZEL_EXPORT OperatingSystemPlatformImp : public VocabularyConstant<OperatingSystemPlatformImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/OperatingSystemPlatform.def>
    };
#define ZEL_CONSTANT(accessor, ...) static OperatingSystemPlatformImp const& accessor();
#include <zel/model/vocabulary/tables/OperatingSystemPlatform.def>

    constexpr OperatingSystemPlatformImp() noexcept
        : VocabularyConstant(static_cast<int>(Code::ALL_PLATFORMS))
    {}
    constexpr explicit OperatingSystemPlatformImp(Code code) noexcept
        : VocabularyConstant(static_cast<int>(code))
    {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }
    /// -1 for all platforms, else counted from 0.
    int value() const noexcept { return number(); }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<OperatingSystemPlatformImp>;
    static constexpr int kUnknown = static_cast<int>(Code::OTHER_PLATFORM);
    constexpr explicit OperatingSystemPlatformImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
