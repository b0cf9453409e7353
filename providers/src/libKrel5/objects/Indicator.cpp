#include <krel5/Indicator.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/FactoryRules.h>
#include <libKrel5/basics/ModuleIdentity.h>
#include <libKrel5/basics/Texts.h>
#include <libKrel5/objects/Factories.h>

#include <krel5/AlreadyAddedException.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/InternalException.h>
#include <krel5/InvalidCreationException.h>
#include <krel5/KrelString.h>
#include <krel5/Parameter.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/model/devices/DeviceImp.h>
#include <zel/model/module/IndicatorImp.h>

namespace krel5 {

struct IndicatorInternalData
{
    IndicatorInternalData() : imp(zel::String(), zel::CapabilityImp(), false) {}

    zel::IndicatorImp imp;
    Indicator::DeviceCallback deviceCallback = nullptr; // one of the two
    Indicator::FreeCallback freeCallback = nullptr;
    KrelString key;
    mutable KrelString localizedName, localizedDescription; // as last read
};
template class DataHolder<IndicatorInternalData>;

namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.IndicatorModule");
    return s_logger;
}

IndicatorInternalData record(KrelString const& key, DeviceCapability const& capability, bool isFree,
                             bool hasCallback)
{
    checkKeyOfNewObject("Indicator", key);
    if (!hasCallback)
        throw InvalidCreationException(KrelString("Indicator \"") + key + "\" has no callback");
    IndicatorInternalData data;
    data.imp = zel::IndicatorImp(key.zelString(), capability.imp(), isFree);
    data.key = key;
    return data;
}

zel::String text(zel::IndicatorImp const& indicator, char const* what)
{
    zel::LocalizedStringImp const localized(zel::String("Indicator.") + indicator.keyInModule() + what,
                                            indicator.keyInModule(), ModuleIdentity::guid());
    return localized.resolve();
}

// What the author's parameter objects answer from here on is what the settings give this indicator.
void bindParameters(zel::IndicatorImp const& indicator)
{
    for (zel::ParameterImp const& resolved : indicator.parameters())
        if (Parameter* const parameter = Factories::parameters().find(resolved.key()))
            parameter->bindTo(resolved);
}

} // namespace

Indicator::Indicator(KrelString const& key, DeviceCapability const& capability, DeviceCallback callback)
    : m_holder(record(key, capability, false, callback != nullptr))
{
    data().deviceCallback = callback;
}

Indicator::Indicator(KrelString const& key, DeviceCapability const& capability, FreeCallback callback)
    : m_holder(record(key, capability, true, callback != nullptr))
{
    data().freeCallback = callback;
}

Indicator::Indicator(Indicator const& other) = default;
Indicator& Indicator::operator=(Indicator const& other) = default;
Indicator::~Indicator() = default;

IndicatorInternalData& Indicator::data() { return m_holder.data(); }
IndicatorInternalData const& Indicator::data() const { return m_holder.data(); }
zel::IndicatorImp& Indicator::imp() { return data().imp; }
zel::IndicatorImp const& Indicator::imp() const { return data().imp; }
KrelString const& Indicator::key() const { return data().key; }

KrelString const& Indicator::localizedName() const
{
    return cached(data().localizedName, text(imp(), ".Name"));
}

KrelString const& Indicator::localizedDescription() const
{
    return cached(data().localizedDescription, text(imp(), ".Description"));
}

DeviceCapability Indicator::deviceCapabilities() const
{
    return DeviceCapability(imp().deviceCapabilities());
}

bool Indicator::hasCapability(DeviceCapability const& capability) const
{
    return imp().deviceCapabilities().isCapable(capability.imp());
}

Indicator* Indicator::addParameter(Parameter const* parameter)
{
    requireArgument(parameter != nullptr, "parameter", "Indicator::addParameter(...)");
    if (!imp().addParameter(parameter->imp()))
        throw AlreadyAddedException("Indicator", key(), "Parameter", parameter->key());
    return this;
}

IndicatorReturnData Indicator::runIndicator(DiagDevice const& device) const
{
    ZEL_LOG(logger(), zel::LogLevel::Debug)
        << "runIndicator(...) on device " << device.imp().guid() << " -- Enter";
    if (!data().deviceCallback)
        throw InternalException(zel::String("Indicator \"") + key().zelString() + "\" takes no device");
    bindParameters(imp());
    return data().deviceCallback(device);
}

void Indicator::runIndicator() const
{
    ZEL_LOG(logger(), zel::LogLevel::Debug) << "runIndicator(...) -- Enter";
    if (!data().freeCallback)
        throw InternalException(zel::String("Indicator \"") + key().zelString() + "\" needs a device");
    bindParameters(imp());
    data().freeCallback();
}

} // namespace krel5
