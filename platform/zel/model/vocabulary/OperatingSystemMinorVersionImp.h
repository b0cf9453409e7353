#pragma once

#include <zel/model/vocabulary/OperatingSystemPlatformImp.h>

namespace zel {

/// Minor release of an operating system: a number within a platform. There are no named constants.
class ZEL_EXPORT OperatingSystemMinorVersionImp
{
public:
    constexpr OperatingSystemMinorVersionImp() noexcept = default;
    constexpr OperatingSystemMinorVersionImp(OperatingSystemPlatformImp platform, int number) noexcept
        : m_platform(platform), m_number(number)
    {}

    OperatingSystemPlatformImp platform() const noexcept { return m_platform; }
    int value() const noexcept { return m_number; }
    String toString() const { return String::number(m_number); }
    bool operator==(OperatingSystemMinorVersionImp const&) const noexcept = default;

private:
    OperatingSystemPlatformImp m_platform;
    int m_number = 0;
};

} // namespace zel
