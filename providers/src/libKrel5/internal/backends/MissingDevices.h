#pragma once
// A list of devices that is short says so.

namespace krel5 {

/// Says on standard error why the enumerator may not have found every device, one line for each reason. False when there
/// is any. Main thread.
bool tellMissingDevices();

} // namespace krel5
