#pragma once
// The working state of a device.
//
//     drive->setDeviceState(DeviceState::DISABLED());
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class DeviceStateImp;
}

namespace krel5 {

struct DeviceStateInternalData;

class KREL5_EXPORT DeviceState
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static DeviceState const& accessor();
#include <zel/model/vocabulary/tables/DeviceState.def>

    /// FUNCTIONAL.
    DeviceState();
    /// Wraps a constant of the model; for the library's own use.
    explicit DeviceState(zel::DeviceStateImp const& constant);
    DeviceState(DeviceState const& other);
    DeviceState& operator=(DeviceState const& other);
    ~DeviceState();

    /// Compare the constants, not the texts.
    bool operator==(DeviceState const& other) const;
    bool operator!=(DeviceState const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::DeviceStateImp const& imp() const;

private:
    explicit DeviceState(KrelString const& text);

    DeviceStateInternalData& data();
    DeviceStateInternalData const& data() const;

    DataHolder<DeviceStateInternalData> m_holder;
};

} // namespace krel5
