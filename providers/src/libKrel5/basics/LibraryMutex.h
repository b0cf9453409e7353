#pragma once

#include <zel/foundation/Locks.h>

namespace krel5 {

/// The library-wide mutex: guards every device, property and facade request operation. Taken before a
/// SyncDeviceProperty's own mutex; never held across a module's callback.
zel::Mutex& libraryMutex();

} // namespace krel5
