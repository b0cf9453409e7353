#pragma once

#include <zel/foundation/Locks.h>

namespace krel5 {

/// Guards the value of one SyncDeviceProperty between setting it and copying it to a device. Taken after the
/// library mutex.
struct SyncDevicePropertyMutex
{
    zel::Mutex mutex;
};

} // namespace krel5
