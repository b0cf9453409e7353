#pragma once
// The platform of an operating system.
//
//     bool onLinux = system.getPlatform() == OperatingSystemPlatform::LINUX();
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class OperatingSystemPlatformImp;
}

namespace krel5 {

struct OperatingSystemPlatformInternalData;

class KREL5_EXPORT OperatingSystemPlatform
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static OperatingSystemPlatform const& accessor();
#include <zel/model/vocabulary/tables/OperatingSystemPlatform.def>

    /// ALL_PLATFORMS.
    OperatingSystemPlatform();
    /// Wraps a constant of the model; for the library's own use.
    explicit OperatingSystemPlatform(zel::OperatingSystemPlatformImp const& constant);
    OperatingSystemPlatform(OperatingSystemPlatform const& other);
    OperatingSystemPlatform& operator=(OperatingSystemPlatform const& other);
    ~OperatingSystemPlatform();

    /// The code of the constant: -1 for all, else counted from 0 in the order of the table.
    int value() const;

    /// Compare the constants, not the texts.
    bool operator==(OperatingSystemPlatform const& other) const;
    bool operator!=(OperatingSystemPlatform const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::OperatingSystemPlatformImp const& imp() const;

private:
    OperatingSystemPlatform(int code, KrelString const& text);

    OperatingSystemPlatformInternalData& data();
    OperatingSystemPlatformInternalData const& data() const;

    DataHolder<OperatingSystemPlatformInternalData> m_holder;
};

} // namespace krel5
