#pragma once

namespace krel5 {

/// Whether the module decides itself which tests apply to a device.
bool hasEnumTestsCallback();

} // namespace krel5
