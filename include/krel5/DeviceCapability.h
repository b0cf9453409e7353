#pragma once
// What a device is or can do: a set of primitive capabilities, built up with `|`. NIL is the empty set, ALL
// contains everything.
//
//     DeviceCapability drives = DeviceCapability::HardDrive() | DeviceCapability::TapeDrive();
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class CapabilityImp;
}

namespace krel5 {

struct DeviceCapabilityInternalData;

class KREL5_EXPORT DeviceCapability
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object. The rank behind a text orders what a device may be called: a DVD writer is
    /// also a CDROM, and the greatest rank names it best.
#define ZEL_CONSTANT(accessor, ...) static DeviceCapability const& accessor();
#include <zel/model/vocabulary/tables/Capability.def>

    /// The empty set, with the text "NIL".
    DeviceCapability();
    /// The capability that a text names. A word that is not in the table becomes a capability of its own;
    /// several words are separated by commas, as toString() writes them; "" gives the empty set.
    explicit DeviceCapability(KrelString const& text);
    /// Wraps a constant of the model; for the library's own use.
    explicit DeviceCapability(zel::CapabilityImp const& constant);
    DeviceCapability(DeviceCapability const& other);
    DeviceCapability& operator=(DeviceCapability const& other);
    ~DeviceCapability();

    /// The union of two sets; with ALL it is ALL.
    DeviceCapability operator|(DeviceCapability const& other) const;
    DeviceCapability& operator|=(DeviceCapability const& other);
    /// Whether every primitive capability of `other` is in this set; ALL is capable of everything, everything
    /// of NIL.
    bool isCapable(DeviceCapability const& other) const;
    /// Number of primitive capabilities in this set: 0 for NIL; for ALL as many as the table has.
    unsigned int numberOfElements() const;

    /// Name of the icon that stands for a device of no known kind.
    static zel::String const& UnknownIcon();

    /// Compare the sets.
    bool operator==(DeviceCapability const& other) const;
    bool operator!=(DeviceCapability const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::CapabilityImp const& imp() const;

private:
    DeviceCapabilityInternalData& data();
    DeviceCapabilityInternalData const& data() const;

    DataHolder<DeviceCapabilityInternalData> m_holder;
};

} // namespace krel5
