#pragma once

#include <zel/model/vocabulary/OperatingSystemPlatformImp.h>
#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Edition of an operating system. Two editions have the same text; look-up by text finds the first of them,
/// look-up by number each.
class ZEL_EXPORT OperatingSystemDistributionImp : public VocabularyConstant<OperatingSystemDistributionImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/OperatingSystemDistribution.def>
    };
#define ZEL_CONSTANT(accessor, ...) static OperatingSystemDistributionImp const& accessor();
#include <zel/model/vocabulary/tables/OperatingSystemDistribution.def>

    constexpr OperatingSystemDistributionImp() noexcept
        : VocabularyConstant(static_cast<int>(Code::ALL_DISTRIBUTIONS))
    {}
    constexpr explicit OperatingSystemDistributionImp(Code code) noexcept
        : VocabularyConstant(static_cast<int>(code))
    {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }
    /// -1 for all editions, else counted from 0 across platforms.
    int value() const noexcept { return number(); }
    OperatingSystemPlatformImp platform() const noexcept;

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<OperatingSystemDistributionImp>;
    static constexpr int kUnknown = VocabularyTable::kNone;
    constexpr explicit OperatingSystemDistributionImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
