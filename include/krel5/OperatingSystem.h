#pragma once
// An operating system: platform, architecture, major and minor release, distribution.
//
//     OperatingSystem const& system = OperatingSystem::getCurrentOperatingSystem();
//     if (system.getArchitecture() == OperatingSystemArchitecture::X86_64())
//         std::puts("64 bits");
//
// Thread rule: one handle is not used from two threads at once.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>
#include <krel5/OperatingSystemArchitecture.h>
#include <krel5/OperatingSystemDistribution.h>
#include <krel5/OperatingSystemMajorVersion.h>
#include <krel5/OperatingSystemMinorVersion.h>
#include <krel5/OperatingSystemPlatform.h>

namespace zel {
class OperatingSystemImp;
}

namespace krel5 {

struct OperatingSystemInternalData;

/// Any part may be an "all" constant, so that a value can also say which systems something is meant for.
class KREL5_EXPORT OperatingSystem
{
public:
    /// All platforms, architectures, releases and distributions.
    OperatingSystem();
    OperatingSystem(OperatingSystemPlatform const& platform, OperatingSystemArchitecture const& architecture,
                    OperatingSystemMajorVersion const& major, OperatingSystemDistribution const& distribution,
                    OperatingSystemMinorVersion const& minor);
    /// Of all architectures.
    OperatingSystem(OperatingSystemPlatform const& platform, OperatingSystemMajorVersion const& major,
                    OperatingSystemDistribution const& distribution,
                    OperatingSystemMinorVersion const& minor);
    /// Wraps a system of the model; for the library's own use.
    explicit OperatingSystem(zel::OperatingSystemImp const& system);
    OperatingSystem(OperatingSystem const& other);
    OperatingSystem& operator=(OperatingSystem const& other);
    ~OperatingSystem();

    /// The system that this process runs on; what cannot be told is an "other" constant. Never fails.
    static OperatingSystem getCurrentOperatingSystem();

    OperatingSystemPlatform getPlatform() const;
    OperatingSystemArchitecture getArchitecture() const;
    OperatingSystemMajorVersion getMajor() const;
    OperatingSystemMinorVersion getMinor() const;
    OperatingSystemDistribution getDistribution() const;

    /// Equal when all five parts are.
    bool operator==(OperatingSystem const& other) const;
    bool operator!=(OperatingSystem const& other) const;

    /// "Linux, RedHat, 2.6, 32, x86 64-bit": platform, distribution, major, minor, architecture. Lives as
    /// long as the handle.
    KrelString const& toString() const;
    /// For the library's own use. Lives as long as the handle.
    zel::OperatingSystemImp const& imp() const;

private:
    OperatingSystemInternalData& data();
    OperatingSystemInternalData const& data() const;

    DataHolder<OperatingSystemInternalData> m_holder;
};

} // namespace krel5
