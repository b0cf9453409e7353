#include <libKrel5/internal/settings/PropertyOverrides.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <zel/foundation/Logger.h>
#include <zel/model/settings/SettingsKeys.h>
#include <zel/model/state/StateManager.h>
#include <zel/model/texts/GlobalParameters.h>

#include <unordered_map>
#include <utility>

namespace krel5 {
namespace {

namespace Keys = zel::SettingsKeys;
using zel::LogLevel;
using zel::String;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.SysInfoModule");
    return s_logger;
}

void warn(zel::SettingsError const& error)
{
    ZEL_LOG(logger(), LogLevel::Warning) << error.toString();
    ErrorReporting::tell("WARNING: " + error.toString());
}

// What the settings say of the properties of one key.
struct Override
{
    zel::SettingsResource::Line value, type; // the line of the type may be missing
    bool isUsed = false, isTold = false;
};

using Overrides = std::unordered_map<String, Override>; // by the key of the property

// The part of the key that names the property; empty when the key is no override's, or not one of that ending.
String propertyIn(String const& key, String const& ending)
{
    String const prefix(Keys::kPropertyOverride);
    if (!key.startsWith(prefix) || !key.endsWith(ending) || key.size() <= prefix.size() + ending.size())
        return String();
    return key.substr(prefix.size(), key.size() - prefix.size() - ending.size());
}

Overrides overridesIn(zel::SettingsResource const& settings)
{
    Overrides overrides;
    for (String const& key : settings.keys()) {
        if (String const property = propertyIn(key, Keys::kOverrideValue); !property.empty())
            overrides[property].value = {key, settings.find(key)};
        else if (String const typed = propertyIn(key, Keys::kOverrideType); !typed.empty())
            overrides[typed].type = {key, settings.find(key)};
    }
    return overrides;
}

// Any one line that nothing will read, since overrides are off.
zel::SettingsResource::Line firstIn(zel::SettingsResource const& settings)
{
    for (String const& key : settings.keys())
        if (isOverrideKey(key))
            return {key, settings.find(key)};
    return {};
}

// A number by itself is a quantity of no unit: "5" says neither bytes nor GiB.
bool hasUnit(zel::ValueImp const& value)
{
    if (value.type() == zel::DataTypeImp::DISCRETEMEASUREMENT())
        return value.discreteMeasurement().unitType() != zel::UnitType();
    if (value.type() == zel::DataTypeImp::NONDISCRETEMEASUREMENT())
        return value.nonDiscreteMeasurement().unitType() != zel::UnitType();
    return false;
}

class Overriding
{
public:
    explicit Overriding(zel::SettingsResource const& settings)
        : m_settings(settings), m_overrides(overridesIn(settings))
    {}

    void apply(zel::PropertyImp& property)
    {
        auto const found = m_overrides.find(property.key());
        if (found == m_overrides.end() || !found->second.value)
            return;
        Override& one = found->second;
        one.isUsed = true;
        zel::DataTypeImp const type = one.type ? zel::DataTypeImp::getConstantByString(one.type.entry->m_text)
                                               : property.value().type();
        if (!one.type && !type.isValid())
            return tellOnce(one, one.value, "the property has no type, so the line needs one beside it");
        if (!type.isValid()) {
            ZEL_LOG(logger(), LogLevel::Error)
                << "processPropertyOverrides() property:" << property.key()
                << " type: " << one.type.entry->m_text << " is NOT a valid DataType";
            return tellOnce(one, one.type, "\"" + one.type.entry->m_text + "\" is no type");
        }
        String reason;
        auto value = zel::ValueImp::parse(one.value.entry->m_text, type, reason);
        if (!value) {
            ZEL_LOG(logger(), LogLevel::Error)
                << "processPropertyOverrides() property:" << property.key() << " " << reason;
            return tellOnce(one, one.value, reason);
        }
        ZEL_LOG(logger(), LogLevel::Information)
            << "processPropertyOverrides() property:" << property.key()
            << " original value: " << property.value().toString() << " new value: " << value->toString();
        if (value->type() == property.value().type() && hasUnit(property.value()) && !hasUnit(*value) &&
            !std::exchange(one.isTold, true))
            warn(m_settings.error(one.value, "the quantity has no unit any more: it was " +
                                                 property.value().toString().withoutControls(false)));
        property.setValue(std::move(*value));
    }

    void warnOfUnused() const
    {
        for (String const& key : m_settings.keys())
            if (String const property = propertyIn(key, Keys::kOverrideValue);
                !property.empty() && !m_overrides.at(property).isUsed)
                warn(m_settings.error({key, m_settings.find(key)}, "no device has a property " + property));
    }

private:
    void tellOnce(Override& one, zel::SettingsResource::Line const& line, String const& reason)
    {
        if (!std::exchange(one.isTold, true))
            ErrorReporting::tell(m_settings.error(line, reason).toString() + "; the property stays as it is");
    }

    zel::SettingsResource const& m_settings;
    Overrides m_overrides;
};

} // namespace

bool moduleTakesOverrides() { return ModuleCommon::module().type() == zel::ModuleTypeImp::SYSINFO(); }

bool isOverrideKey(String const& key)
{
    return !propertyIn(key, Keys::kOverrideValue).empty() || !propertyIn(key, Keys::kOverrideType).empty();
}

void setUpPropertyOverrides(zel::SettingsResource const& settings)
{
    auto const error = settings.flagError(Keys::kPropertyOverrides);
    if (error) {
        ZEL_LOG(logger(), LogLevel::Error) << error->toString();
        ErrorReporting::tell(error->toString() + "; no property is overridden");
    }
    bool const isOn = !error && settings.unknown().empty() && settings.flag(Keys::kPropertyOverrides, false);
    zel::GlobalParameters::instance().setPropertyOverridesEnabled(isOn);
    if (!isOn) {
        if (auto const line = firstIn(settings))
            warn(settings.error(line, String("no property is overridden unless ") + Keys::kPropertyOverrides +
                                          " is true"));
        return;
    }
    for (auto const& [property, one] : overridesIn(settings))
        if (!one.value)
            warn(settings.error(one.type, String("a type without ") + Keys::kPropertyOverride + property +
                                              Keys::kOverrideValue));
}

bool propertyOverridesAreOn() { return zel::GlobalParameters::instance().propertyOverridesEnabled(); }

void processPropertyOverrides()
{
    auto const settings = zel::SettingsResource::ofModule(ModuleCommon::module().guid());
    Overriding overriding(*settings);
    zel::AutoMutex const guard(libraryMutex());
    zel::StateManager& manager = zel::StateManager::instance();
    for (std::size_t i = 0; i < manager.deviceCount(); ++i) {
        zel::DeviceImp& device = *manager.deviceAtIndex(i);
        for (std::size_t j = 0; j < device.propertyCount(); ++j)
            overriding.apply(device.getProperty(j));
    }
    overriding.warnOfUnused();
}

} // namespace krel5
