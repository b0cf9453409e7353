#pragma once
// How often an indicator looks at its device.

#include <zel/model/settings/ParameterImp.h>

namespace krel5 {

/// The module's parameter "UpdateIntervalInSeconds" (DOUBLE, not negative, 5 unless the settings say otherwise),
/// made on first use and kept for the life of the process. Settings key:
/// "Parameter.UpdateIntervalInSeconds.value". Thread rule: takes the library mutex.
zel::ParameterImp& updateIntervalParameter();

/// Seconds.
double updateInterval();

} // namespace krel5
