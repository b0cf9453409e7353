#pragma once
// An operating system: platform, architecture, major and minor release, distribution.

#include <zel/model/vocabulary/OperatingSystemArchitectureImp.h>
#include <zel/model/vocabulary/OperatingSystemDistributionImp.h>
#include <zel/model/vocabulary/OperatingSystemMajorVersionImp.h>
#include <zel/model/vocabulary/OperatingSystemMinorVersionImp.h>
#include <zel/model/vocabulary/OperatingSystemPlatformImp.h>

namespace zel {

/// Any part may be an "all" constant, so that a value can also say which systems something is meant for.
class ZEL_EXPORT OperatingSystemImp
{
public:
    /// All platforms, architectures, releases and distributions.
    OperatingSystemImp() = default;
    OperatingSystemImp(OperatingSystemPlatformImp platform, OperatingSystemArchitectureImp architecture,
                       OperatingSystemMajorVersionImp major, OperatingSystemDistributionImp distribution,
                       OperatingSystemMinorVersionImp minor)
        : m_platform(platform), m_architecture(architecture), m_major(major), m_minor(minor),
          m_distribution(distribution)
    {}

    /// The system that this process runs on; what cannot be told is an "other" constant.
    static OperatingSystemImp getCurrentOperatingSystem();

    OperatingSystemPlatformImp getPlatform() const noexcept { return m_platform; }
    OperatingSystemArchitectureImp getArchitecture() const noexcept { return m_architecture; }
    OperatingSystemMajorVersionImp getMajor() const noexcept { return m_major; }
    OperatingSystemMinorVersionImp getMinor() const noexcept { return m_minor; }
    OperatingSystemDistributionImp getDistribution() const noexcept { return m_distribution; }

    /// "Linux, RedHat, 2.6, 32, x86 64-bit": platform, distribution, major, minor, architecture.
    String toString() const;
    bool operator==(OperatingSystemImp const&) const noexcept = default;

private:
    OperatingSystemPlatformImp m_platform;
    OperatingSystemArchitectureImp m_architecture;
    OperatingSystemMajorVersionImp m_major;
    OperatingSystemMinorVersionImp m_minor;
    OperatingSystemDistributionImp m_distribution;
};

} // namespace zel
