#pragma once
// The minor release of an operating system: a number within a platform. There are no named constants.
//
//     OperatingSystemMinorVersion minor(OperatingSystemPlatform::LINUX(), 32);
//
// Thread rule: one handle is not used from two threads at once.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>
#include <krel5/OperatingSystemPlatform.h>

namespace zel {
class OperatingSystemMinorVersionImp;
}

namespace krel5 {

struct OperatingSystemMinorVersionInternalData;

class KREL5_EXPORT OperatingSystemMinorVersion
{
public:
    /// Number 0 of all platforms.
    OperatingSystemMinorVersion();
    OperatingSystemMinorVersion(OperatingSystemPlatform const& platform, int number);
    /// Wraps a minor release of the model; for the library's own use.
    explicit OperatingSystemMinorVersion(zel::OperatingSystemMinorVersionImp const& minor);
    OperatingSystemMinorVersion(OperatingSystemMinorVersion const& other);
    OperatingSystemMinorVersion& operator=(OperatingSystemMinorVersion const& other);
    ~OperatingSystemMinorVersion();

    /// The number given at construction.
    int value() const;
    /// The platform that it belongs to.
    OperatingSystemPlatform platform() const;

    /// Equal when platform and number are.
    bool operator==(OperatingSystemMinorVersion const& other) const;
    bool operator!=(OperatingSystemMinorVersion const& other) const;

    /// The number in decimal; lives as long as the handle.
    KrelString const& toString() const;
    /// For the library's own use. Lives as long as the handle.
    zel::OperatingSystemMinorVersionImp const& imp() const;

private:
    OperatingSystemMinorVersionInternalData& data();
    OperatingSystemMinorVersionInternalData const& data() const;

    DataHolder<OperatingSystemMinorVersionInternalData> m_holder;
};

} // namespace krel5
