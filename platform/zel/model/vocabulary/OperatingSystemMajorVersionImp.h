#pragma once

#include <zel/model/vocabulary/OperatingSystemPlatformImp.h>
#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Major release of an operating system. An unknown text gives a constant outside the table.
class ZEL_EXPORT OperatingSystemMajorVersionImp : public VocabularyConstant<OperatingSystemMajorVersionImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/OperatingSystemMajorVersion.def>
    };
#define ZEL_CONSTANT(accessor, ...) static OperatingSystemMajorVersionImp const& accessor();
#include <zel/model/vocabulary/tables/OperatingSystemMajorVersion.def>

    constexpr OperatingSystemMajorVersionImp() noexcept
        : VocabularyConstant(static_cast<int>(Code::ALL_MAJORS))
    {}
    constexpr explicit OperatingSystemMajorVersionImp(Code code) noexcept
        : VocabularyConstant(static_cast<int>(code))
    {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }
    /// -1 for all releases, else counted from 0 across platforms.
    int value() const noexcept { return number(); }
    OperatingSystemPlatformImp platform() const noexcept;

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<OperatingSystemMajorVersionImp>;
    static constexpr int kUnknown = VocabularyTable::kNone;
    constexpr explicit OperatingSystemMajorVersionImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
