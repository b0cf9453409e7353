#pragma once
// The processor architecture of an operating system, with a short text ("64-bit") and a long one ("x86
// 64-bit").
//
//     puts(system.getArchitecture().longText().getUTF8Buffer());
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class OperatingSystemArchitectureImp;
}

namespace krel5 {

struct OperatingSystemArchitectureInternalData;

class KREL5_EXPORT OperatingSystemArchitecture
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static OperatingSystemArchitecture const& accessor();
#include <zel/model/vocabulary/tables/OperatingSystemArchitecture.def>

    /// ALL_ARCHITECTURES.
    OperatingSystemArchitecture();
    /// Wraps a constant of the model; for the library's own use.
    explicit OperatingSystemArchitecture(zel::OperatingSystemArchitectureImp const& constant);
    OperatingSystemArchitecture(OperatingSystemArchitecture const& other);
    OperatingSystemArchitecture& operator=(OperatingSystemArchitecture const& other);
    ~OperatingSystemArchitecture();

    /// The code of the constant: -1 for all, else counted from 0 in the order of the table.
    int value() const;
    /// The long text; lives as long as the handle. toString() is the short one.
    KrelString const& longText() const;

    /// Compare the constants, not the texts.
    bool operator==(OperatingSystemArchitecture const& other) const;
    bool operator!=(OperatingSystemArchitecture const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::OperatingSystemArchitectureImp const& imp() const;

private:
    OperatingSystemArchitecture(int code, KrelString const& text, KrelString const& longText);

    OperatingSystemArchitectureInternalData& data();
    OperatingSystemArchitectureInternalData const& data() const;

    DataHolder<OperatingSystemArchitectureInternalData> m_holder;
};

} // namespace krel5
