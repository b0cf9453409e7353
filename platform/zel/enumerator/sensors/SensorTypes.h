#pragma once
// Types of sensors for which the table of capabilities has no word: these words stand for themselves.

#include <zel/model/vocabulary/CapabilityImp.h>

namespace zel::sensor {

inline CapabilityImp const& powerSensor()
{
    static CapabilityImp const s_type(String("PowerSensor"));
    return s_type;
}
inline CapabilityImp const& currentSensor()
{
    static CapabilityImp const s_type(String("CurrentSensor"));
    return s_type;
}
inline CapabilityImp const& energySensor()
{
    static CapabilityImp const s_type(String("EnergySensor"));
    return s_type;
}
inline CapabilityImp const& humiditySensor()
{
    static CapabilityImp const s_type(String("HumiditySensor"));
    return s_type;
}

} // namespace zel::sensor
