#pragma once
// A list of devices that is short says so.

namespace krel5 {

/// Says on standard error why the enumerator may not have found every device, one line for each reason. False when there
/// is any but a damaged table, which is a matter of few classes of devices. Main thread.
bool tellMissingDevices();

/// Whether any device that the enumerator was asked for last may be missing. Main thread.
bool mayMissTestedDevices();

} // namespace krel5
