#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Processor architecture of an operating system; its text is the short one ("64-bit").
class ZEL_EXPORT OperatingSystemArchitectureImp : public VocabularyConstant<OperatingSystemArchitectureImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/OperatingSystemArchitecture.def>
    };
#define ZEL_CONSTANT(accessor, ...) static OperatingSystemArchitectureImp const& accessor();
#include <zel/model/vocabulary/tables/OperatingSystemArchitecture.def>

    constexpr OperatingSystemArchitectureImp() noexcept
        : VocabularyConstant(static_cast<int>(Code::ALL_ARCHITECTURES))
    {}
    constexpr explicit OperatingSystemArchitectureImp(Code code) noexcept
        : VocabularyConstant(static_cast<int>(code))
    {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }
    /// -1 for all architectures, else counted from 0.
    int value() const noexcept { return number(); }
    /// "x86 64-bit"; zero-terminated UTF-8, valid for the life of the process.
    char const* longText() const noexcept { return row().longText; }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<OperatingSystemArchitectureImp>;
    static constexpr int kUnknown = static_cast<int>(Code::OTHER_ARCHITECTURE);
    constexpr explicit OperatingSystemArchitectureImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
