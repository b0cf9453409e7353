#pragma once
// The major release of an operating system, within its platform.
//
//     bool old = system.getMajor() == OperatingSystemMajorVersion::LIN_2_6();
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>
#include <krel5/OperatingSystemPlatform.h>

namespace zel {
class OperatingSystemMajorVersionImp;
}

namespace krel5 {

struct OperatingSystemMajorVersionInternalData;

class KREL5_EXPORT OperatingSystemMajorVersion
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static OperatingSystemMajorVersion const& accessor();
#include <zel/model/vocabulary/tables/OperatingSystemMajorVersion.def>

    /// ALL_MAJORS.
    OperatingSystemMajorVersion();
    /// Wraps a constant of the model; for the library's own use.
    explicit OperatingSystemMajorVersion(zel::OperatingSystemMajorVersionImp const& constant);
    OperatingSystemMajorVersion(OperatingSystemMajorVersion const& other);
    OperatingSystemMajorVersion& operator=(OperatingSystemMajorVersion const& other);
    ~OperatingSystemMajorVersion();

    /// The code of the constant: -1 for all, else counted from 0 in the order of the table, across platforms.
    int value() const;
    /// The platform that it belongs to.
    OperatingSystemPlatform platform() const;

    /// Compare the constants, not the texts.
    bool operator==(OperatingSystemMajorVersion const& other) const;
    bool operator!=(OperatingSystemMajorVersion const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::OperatingSystemMajorVersionImp const& imp() const;

private:
    OperatingSystemMajorVersion(OperatingSystemPlatform const& platform, int code, KrelString const& text);

    OperatingSystemMajorVersionInternalData& data();
    OperatingSystemMajorVersionInternalData const& data() const;

    DataHolder<OperatingSystemMajorVersionInternalData> m_holder;
};

} // namespace krel5
