#include <krel5/Alert.h>

#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/basics/ModuleIdentity.h>
#include <libKrel5/basics/Ownership.h>
#include <libKrel5/basics/Texts.h>
#include <libKrel5/values/TextVariables.h>

#include <krel5/SysInfoDevice.h>
#include <krel5/Tip.h>
#include <krel5/Value.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>
#include <zel/model/devices/DeviceImp.h>
#include <zel/model/runs/AlertImp.h>
#include <zel/model/state/StateManager.h>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& instance = zel::LogFactory::getLogger("krel5.Alert");
    return instance;
}

} // namespace

struct AlertInternalData
{
    zel::AlertImp imp;
    mutable KrelString key; // what key() hands out
};

template class DataHolder<AlertInternalData>;

Alert* Alert::createAlert(KrelString const& key, AlertType const& type)
{
    zel::AlertImp const record(ModuleIdentity::guid(), key.zelString(), type.imp());
    return keepForever(std::unique_ptr<Alert>(new Alert(record)));
}

Alert::Alert(zel::AlertImp const& alert) : m_holder(AlertInternalData{alert, KrelString()}) {}
Alert::Alert(Alert const& other) = default;
Alert& Alert::operator=(Alert const& other) = default;
Alert::~Alert() = default;

KrelString const& Alert::key() const { return cached(data().key, imp().key()); }
KrelString Alert::guid() const { return KrelString(imp().guid()); }

Alert* Alert::setGuid(KrelString const& guid)
{
    imp().setGuid(guid.zelString());
    return this;
}

Alert* Alert::setTitleVariable(KrelString const& name, Value const& value)
{
    setTextVariable(imp().title(), "Alert::setTitleVariable", name, value);
    return this;
}

Alert* Alert::setMessageVariable(KrelString const& name, Value const& value)
{
    setTextVariable(imp().message(), "Alert::setMessageVariable", name, value);
    return this;
}

Alert* Alert::setTitleOverride(KrelString const& text)
{
    imp().title().setOverride(text.zelString());
    return this;
}

Alert* Alert::setMessageOverride(KrelString const& text)
{
    imp().message().setOverride(text.zelString());
    return this;
}

Alert* Alert::setTimeTriggered(unsigned int seconds)
{
    imp().setTimeTriggered(seconds);
    return this;
}

Alert* Alert::addTip(Tip* tip)
{
    if (tip)
        imp().addTip(tip->imp());
    return this;
}

Alert* Alert::setDeviceAssociation(SysInfoDevice const* device)
{
    imp().setDeviceGuid(device ? device->imp().guid() : zel::String());
    return this;
}

// Several threads may send one alert.
Alert* Alert::send()
{
    zel::AutoMutex const lock(libraryMutex());
    imp().setModuleGuid(ModuleIdentity::guid());
    if (imp().timeTriggered() == 0)
        imp().setTimeTriggered(zel::System::currentTimeStamp());
    ZEL_LOG(logger(), zel::LogLevel::Debug)
        << "send() adding alert: " << imp().key() << " time: " << imp().timeTriggered() << " to StateManager";
    zel::StateManager::instance().addAlert(imp());
    return this;
}

zel::AlertImp& Alert::imp() { return data().imp; }
zel::AlertImp const& Alert::imp() const { return data().imp; }
AlertInternalData& Alert::data() { return m_holder.data(); }
AlertInternalData const& Alert::data() const { return m_holder.data(); }

} // namespace krel5
