#include <sensors/Declarations.h>

#include <sensors/Scanner.h>

#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DeviceProperty.h>
#include <krel5/IndicatorModule.h>
#include <krel5/KrelDiscreteMeasurement.h>
#include <krel5/KrelNonDiscreteMeasurement.h>
#include <krel5/KrelUnitMagnitude.h>
#include <krel5/KrelUnitType.h>
#include <krel5/Parameter.h>
#include <krel5/PropertyCategory.h>

#include <zel/enumerator/records/Properties.h>

#include <algorithm>
#include <cmath>

namespace krel5::modules::sensors {

namespace {

using Unit = KrelUnitType;

Value measured(Unit const& unit, double number, int precision)
{
    return Value(KrelNonDiscreteMeasurement(unit, number, KrelUnitMagnitude::BASEUNIT(), precision));
}

unsigned long long whole(double number)
{
    constexpr double kMost = 9.2e18; // what llround takes
    return static_cast<unsigned long long>(std::llround(std::clamp(number, 0.0, kMost)));
}

Value counted(Unit const& unit, double number) { return Value(KrelDiscreteMeasurement(unit, whole(number))); }

} // namespace

Value valueOf(Form form, double number)
{
    switch (form) {
    case Form::Celsius:
        return measured(Unit::CELSIUS(), number, 1);
    case Form::Rpm:
        return counted(Unit::RPM(), number);
    case Form::Volts:
        return measured(Unit::VOLTS(), number, 3);
    case Form::Amperes:
        return measured(Unit::AMPS(), number, 3);
    case Form::Watts:
        return measured(Unit::WATTS(), number, 2);
    case Form::WattHours:
        return measured(Unit::WATTHOURS(), number, 3);
    case Form::Percent:
        return Value(std::round(number * 100) / 100, DataType::PERCENT());
    case Form::Truth:
        return Value(number != 0);
    case Form::Number:
        return Value(number, DataType::DOUBLE());
    case Form::Hertz:
        return counted(Unit::HERTZ(), number);
    case Form::Count:
        return Value(whole(number));
    case Form::Bytes:
        return counted(Unit::BYTES(), number);
    case Form::BitsPerSecond:
        return counted(Unit::BITSPERSECOND(), number);
    }
    return Value(number, DataType::DOUBLE());
}

Declarations::Declarations()
{
    DeviceCapability const all{watchedCapabilities()};
    for (ReadingRow const& row : kReadings)
        m_readings.push_back(IndicatorModule::createDeviceProperty(row.key, PropertyCategory::Volatile(),
                                                                   valueOf(row.form, 0).type(), all));
    for (zel::PropertyRow const& row : zel::propertyRows())
        if (std::string const key = static_cast<char const*>(row.key);
            row.group == zel::PropertyGroup::Limits)
            m_limits[key] = IndicatorModule::createDeviceProperty(key.c_str(), PropertyCategory::SysInfo(),
                                                                  DataType(row.type()), all);
    for (Rule const& rule : rules())
        if (std::string const key = rule.parameter; !key.empty())
            m_parameters[key] = IndicatorModule::createParameter(rule.parameter, DataType::DOUBLE(),
                                                                 rule.defaultLimit, false, true);
    m_root = IndicatorModule::createParameter("Root", DataType::STRING(), "/", false, true);
    m_scanInterval = IndicatorModule::createParameter("ScanIntervalInSeconds", DataType::DOUBLE(), "60",
                                                      false, true, "0.1..86400");
    m_quiet = IndicatorModule::createParameter("ErrorsQuietInSeconds", DataType::DOUBLE(), "600", false, true,
                                               "0..86400");
    m_health = IndicatorModule::createParameter("HealthIntervalInSeconds", DataType::DOUBLE(), "600", false,
                                                true, "0..86400");
}

DeviceProperty& Declarations::reading(ReadingId id, double value) const
{
    DeviceProperty& property = *m_readings[static_cast<std::size_t>(id)];
    property.setValue(valueOf(rowOf(id).form, value));
    return property;
}

DeviceProperty* Declarations::limit(std::string const& key) const
{
    auto const found = m_limits.find(key);
    return found == m_limits.end() ? nullptr : found->second;
}

std::optional<double> Declarations::parameter(Rule const& rule) const
{
    auto const found = m_parameters.find(rule.parameter);
    bool const isSaid = found != m_parameters.end() && (found->second->isset() || *rule.defaultLimit);
    return isSaid ? std::optional(found->second->value().valueDouble()) : std::nullopt;
}

} // namespace krel5::modules::sensors
