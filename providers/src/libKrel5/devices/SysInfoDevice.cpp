#include <krel5/SysInfoDevice.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/devices/DeviceInternalData.h>
#include <libKrel5/devices/SyncDevicePropertyMutex.h>

#include <krel5/AlreadyAddedException.h>
#include <krel5/ChildBusType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DeviceState.h>
#include <krel5/PropertyCategory.h>
#include <krel5/SyncDeviceProperty.h>
#include <krel5/Value.h>

#include <zel/model/devices/Location.h>
#include <zel/model/devices/SystemInformationFilter.h>
#include <zel/model/state/StateManager.h>

#include <array>

namespace krel5 {

unsigned int const SysInfoDevice::NullIndex = zel::kNullIndex;

namespace {

using zel::LogLevel;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel.SysInfoDevice");
    return s_logger;
}

} // namespace

SysInfoDevice::SysInfoDevice(zel::DeviceImp* device)
{
    requireArgument(device != nullptr, "device != nullptr", "SysInfoDevice::SysInfoDevice(...)");
    data().device = device;
}

SysInfoDevice::SysInfoDevice(SysInfoDevice const& other) = default;
SysInfoDevice& SysInfoDevice::operator=(SysInfoDevice const& other) = default;
SysInfoDevice::~SysInfoDevice() = default;

DeviceInternalData& SysInfoDevice::data() { return m_holder.data(); }
DeviceInternalData const& SysInfoDevice::data() const { return m_holder.data(); }
zel::DeviceImp& SysInfoDevice::imp() { return *data().device; }
zel::DeviceImp const& SysInfoDevice::imp() const { return *data().device; }

// ---- reading

KrelString const& SysInfoDevice::name() const { return data().name(); }
KrelString const& SysInfoDevice::description() const { return data().description(); }
KrelString const& SysInfoDevice::osLocator() const { return data().osLocator(); }
KrelString const& SysInfoDevice::hwLocator() const { return data().hwLocator(); }
DeviceCapability SysInfoDevice::deviceType() const { return data().deviceType(); }
DeviceCapability SysInfoDevice::deviceCapabilities() const { return data().deviceCapabilities(); }
DeviceState SysInfoDevice::deviceState() const { return data().deviceState(); }

bool SysInfoDevice::hasCapability(DeviceCapability const& capability) const
{
    return data().hasCapability(capability);
}
bool SysInfoDevice::intersectCapability(DeviceCapability const& capability) const
{
    return data().intersectCapability(capability);
}

DeviceProperty* SysInfoDevice::property(KrelString const& key) { return data().property(key, logger()); }

DeviceProperty* SysInfoDevice::firstProperty()
{
    zel::AutoMutex const guard(libraryMutex());
    zel::PropertyImp* const first = imp().firstProperty();
    return first ? &handleOf(imp(), *first) : nullptr;
}

DeviceProperty* SysInfoDevice::nextProperty()
{
    zel::AutoMutex const guard(libraryMutex());
    zel::PropertyImp* const next = imp().nextProperty();
    return next ? &handleOf(imp(), *next) : nullptr;
}

// ---- changing

SysInfoDevice* SysInfoDevice::setName(KrelString const& name)
{
    zel::AutoMutex const guard(libraryMutex());
    imp().setName(name.zelString());
    return this;
}

SysInfoDevice* SysInfoDevice::setDeviceState(DeviceState const& state)
{
    zel::AutoMutex const guard(libraryMutex());
    imp().setState(state.imp());
    return this;
}

SysInfoDevice* SysInfoDevice::addDeviceCapability(DeviceCapability const& capability)
{
    zel::AutoMutex const guard(libraryMutex());
    ZEL_LOG(logger(), LogLevel::Debug) << "addDeviceCapability cap = " << capability.toString().zelString();
    imp().addCapability(capability.imp());
    return this;
}

SysInfoDevice* SysInfoDevice::addProperty(DeviceProperty const* property)
{
    requireArgument(property != nullptr, "property != nullptr", "SysInfoDevice::addProperty(...)");
    zel::AutoMutex const guard(libraryMutex());
    PropertyCategory const& category = property->category();
    zel::CapabilityImp const& mine = imp().deviceCapabilities();
    zel::CapabilityImp const& wanted = property->imp().deviceCapability();
    zel::String const& key = property->key().zelString();
    if (!mine.intersects(wanted) && !category.isCapable(PropertyCategory::Internal()) &&
        !category.isCapable(PropertyCategory::Group()))
        ZEL_LOG(logger(), LogLevel::Error)
            << "addProperty(...) Invalid device type: " << imp().deviceType().toString()
            << " for device property " << key << " property capability: " << wanted.toString()
            << " Please specify " << imp().deviceType().toString() << " in the createProperty() method.";
    ZEL_LOG(logger(), LogLevel::Debug)
        << "addProperty key = " << key << " value = " << property->imp().value().toString()
        << " category = " << category.toString().zelString();
    bool const neverFiltered = category.isCapable(PropertyCategory::Internal()) ||
                               category.isCapable(PropertyCategory::RequiredForTests()) ||
                               category.isCapable(PropertyCategory::LinkInFromDevice());
    if (!neverFiltered && !zel::SystemInformationFilter::instance().includeDeviceProperty(mine, key)) {
        ZEL_LOG(logger(), LogLevel::Information)
            << "addProperty() Device = " << imp().guid() << " Device-caps = " << mine.toString()
            << " Property = " << key << " prop-caps = " << wanted.toString()
            << " prop-category = " << category.toString().zelString() << " filtered out";
        return this;
    }
    addPropertyInternal(imp(), *property, property->group());
    return this;
}

void SysInfoDevice::addPropertyInternal(zel::DeviceImp& device, DeviceProperty const& property,
                                        DeviceProperty const* group)
{
    zel::String const& key = property.key().zelString();
    ZEL_LOG(logger(), LogLevel::Debug)
        << "addPropertyInternal key = " << key << " value = " << property.imp().value().toString()
        << " category = " << property.category().toString().zelString();
    if (device.property(key)) {
        ZEL_LOG(logger(), LogLevel::Warning) << "addPropertyInternal() property with key: " << key
                                             << " already exists in device: " << device.guid();
        throw AlreadyAddedException("DeviceProperty", property.key(), "SysInfoDevice",
                                    KrelString(device.name()));
    }
    zel::StateManager::instance().addProperty(device, property.imp());
    zel::PropertyImp* const addedProp = device.property(key);
    requireArgument(addedProp, "addedProp", "SysInfoDevice::addPropertyInternal(...)");
    addedProp->leaveGroups();
    if (!group)
        return;
    addedProp->setPartOfGroup(true);
    zel::String const& groupKey = group->key().zelString();
    zel::PropertyImp* groupImp = device.property(groupKey);
    ZEL_LOG(logger(), LogLevel::Debug) << "addPropertyInternal key = " << key << " group key = " << groupKey
                                       << " found = " << (groupImp != nullptr);
    if (!groupImp) {
        addPropertyInternal(device, *group, group->group());
        groupImp = device.property(groupKey);
    }
    requireArgument(groupImp, "groupImp", "SysInfoDevice::addPropertyInternal(...)");
    groupImp->addChild(addedProp);
}

SysInfoDevice* SysInfoDevice::addPropertyValue(SyncDeviceProperty& property, Value const& value)
{
    zel::AutoMutex const guard(libraryMutex());
    zel::AutoMutex const propertyGuard(property.m_mutex->mutex);
    property.m_property->setValue(value);
    return addProperty(property.m_property);
}

SysInfoDevice* SysInfoDevice::addPropertyLinkFromDevice(SyncDeviceProperty& property,
                                                        KrelString const& device,
                                                        KrelString const& propertyKey,
                                                        DeviceProperty* localParentGroup)
{
    zel::AutoMutex const guard(libraryMutex());
    zel::AutoMutex const propertyGuard(property.m_mutex->mutex);
    property.m_property->linkInFromDevice(device, propertyKey, localParentGroup);
    return addProperty(property.m_property);
}

namespace {

void addBusId(zel::DeviceImp& device, zel::String const& id)
{
    ZEL_LOG(logger(), LogLevel::Debug) << "addChildBusId : " << id;
    device.addChildBusId(id);
}

} // namespace

void SysInfoDevice::addChildBusId(ChildBusType const& type, KrelString const& id)
{
    zel::AutoMutex const guard(libraryMutex());
    addBusId(imp(), type.toString().zelString() + ":" + id.zelString());
}

void SysInfoDevice::addChildBusId(ChildBusType const& type, unsigned int first, unsigned int second,
                                  unsigned int third, unsigned int fourth, unsigned int fifth)
{
    addChildBusId(type.toString(), first, second, third, fourth, fifth);
}

void SysInfoDevice::addChildBusId(KrelString const& prefix, unsigned int first, unsigned int second,
                                  unsigned int third, unsigned int fourth, unsigned int fifth)
{
    zel::AutoMutex const guard(libraryMutex());
    std::array<std::uint32_t, 5> const numbers{first, second, third, fourth, fifth};
    addBusId(imp(), zel::location::numbered(prefix.zelString(), numbers));
}

} // namespace krel5
