#pragma once
// Settings that take the place of what a module found: "PropertyOverride.{property key}.value", and ".type" for a
// value of another type. They count when "PropertyOverrides.value" is on.

#include <zel/model/settings/SettingsResource.h>

namespace krel5 {

/// Whether the module is of the kind whose findings its settings may override: it reports devices.
bool moduleTakesOverrides();

/// Whether such a settings file may hold the key for the sake of some property of some device.
bool isOverrideKey(zel::String const& key);

/// Switches overrides on or off as the settings say, for the process. What is not understood leaves them off, and
/// so do settings of which nobody can tell what they are. Lines that have no effect are told. Main thread.
void setUpPropertyOverrides(zel::SettingsResource const& settings);
bool propertyOverridesAreOn();

/// Puts the overrides of the module's settings into the properties of all known devices. One that cannot become
/// the type is logged for each property and told once; the property stays as it is. One that no device has a
/// property for is told. Takes the library mutex.
void processPropertyOverrides();

} // namespace krel5
