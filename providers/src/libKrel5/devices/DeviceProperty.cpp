#include <krel5/DeviceProperty.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/basics/ModuleIdentity.h>
#include <libKrel5/basics/SharedText.h>
#include <libKrel5/devices/EnumerationPhase.h>

#include <krel5/CannotAddPropertyLinkToNonGroupProperty.h>
#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/KrelException.h>
#include <krel5/KrelString.h>
#include <krel5/PropertyCategory.h>
#include <krel5/Value.h>

#include <zel/foundation/Logger.h>
#include <zel/model/devices/PropertyImp.h>
#include <zel/model/values/LocalizedStringImp.h>

#include <memory>

namespace krel5 {

struct DevicePropertyData
{
    zel::PropertyImp* record = nullptr;
    std::shared_ptr<zel::PropertyImp>
        own; // the record of a property that belongs to no device; shared by copies
    DeviceProperty const* group = nullptr;
    std::shared_ptr<Value> live; // handed out by valueRef(); the record reads and writes it
    KrelString key;
    mutable SharedText localizedName, localizedDescription;
    PropertyCategory category;
};
template class DataHolder<DevicePropertyData>;

namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.DeviceProperty");
    return s_logger;
}

class LiveHandleValue : public zel::LiveValue
{
public:
    explicit LiveHandleValue(std::shared_ptr<Value> value) : m_value(std::move(value)) {}
    zel::ValueImp const& read() const override { return m_value->imp(); }
    void write(zel::ValueImp const& value) override { *m_value = Value(value); }

private:
    std::shared_ptr<Value> m_value;
};

DevicePropertyData record(zel::PropertyImp* property, std::shared_ptr<zel::PropertyImp> own)
{
    requireArgument(property != nullptr, "property != nullptr", "DeviceProperty::DeviceProperty(...)");
    DevicePropertyData data;
    data.record = property;
    data.own = std::move(own);
    data.key = KrelString(property->key());
    data.category = PropertyCategory(property->category());
    return data;
}

DevicePropertyData recordOfSpecification(zel::PropertySpecImp* specification)
{
    requireArgument(specification != nullptr, "specification != nullptr",
                    "DeviceProperty::DeviceProperty(...)");
    auto own = std::make_shared<zel::PropertyImp>(specification->shared_from_this());
    return record(own.get(), own);
}

zel::String text(zel::PropertyImp const& property, char const* what)
{
    zel::PropertySpecImp const& spec = *property.spec();
    zel::String const& fallback = spec.defaultName().empty() ? property.key() : spec.defaultName();
    zel::String const& module = spec.moduleGuid().empty() ? ModuleIdentity::guid() : spec.moduleGuid();
    zel::LocalizedStringImp const localized(zel::String("Property.") + property.key() + what, fallback,
                                            module);
    return localized.resolve();
}

} // namespace

DeviceProperty::DeviceProperty(zel::PropertyImp* property) : m_holder(record(property, nullptr)) {}

DeviceProperty::DeviceProperty(zel::PropertySpecImp* specification)
    : m_holder(recordOfSpecification(specification))
{}

DeviceProperty::DeviceProperty(DeviceProperty const& other) = default;
DeviceProperty& DeviceProperty::operator=(DeviceProperty const& other) = default;
DeviceProperty::~DeviceProperty() = default;

DevicePropertyData& DeviceProperty::data() { return m_holder.data(); }
DevicePropertyData const& DeviceProperty::data() const { return m_holder.data(); }
zel::PropertyImp& DeviceProperty::imp() { return *data().record; }
zel::PropertyImp const& DeviceProperty::imp() const { return *data().record; }

// All who ask for a property of a device share one handle, so that their threads share its texts, too.
KrelString const& DeviceProperty::key() const
{
    zel::AutoMutex const guard(libraryMutex());
    return readyToShare(data().key);
}

KrelString const& DeviceProperty::localizedName() const
{
    zel::AutoMutex const guard(libraryMutex());
    return data().localizedName.give(text(imp(), ".Name"));
}

KrelString const& DeviceProperty::localizedDescription() const
{
    zel::AutoMutex const guard(libraryMutex());
    return data().localizedDescription.give(text(imp(), ".Description"));
}

DataType DeviceProperty::type() const
{
    zel::AutoMutex const guard(libraryMutex());
    return DataType(imp().value().type());
}

PropertyCategory const& DeviceProperty::category() const
{
    zel::AutoMutex const guard(libraryMutex());
    readyToShare(data().category.toString());
    return data().category;
}

DeviceCapability DeviceProperty::deviceCapability() const
{
    return DeviceCapability(imp().deviceCapability());
}

Value DeviceProperty::value() const
{
    zel::AutoMutex const guard(libraryMutex());
    return Value(imp().value());
}

Value& DeviceProperty::valueRef()
{
    zel::AutoMutex const guard(libraryMutex());
    if (!data().live) {
        data().live = std::make_shared<Value>(imp().value());
        imp().setLiveValue(std::make_shared<LiveHandleValue>(data().live));
    }
    return *data().live;
}

DeviceProperty* DeviceProperty::setValue(Value const& value)
{
    zel::AutoMutex const guard(libraryMutex());
    if (value.imp().type() != imp().type())
        ZEL_LOG(logger(), zel::LogLevel::Warning)
            << "setValue() property " << imp().key() << " is declared as " << imp().type().toString()
            << " but is given a value of type " << value.imp().type().toString();
    imp().setValue(value.imp());
    return this;
}

DeviceProperty* DeviceProperty::setGroup(DeviceProperty const* group)
{
    zel::AutoMutex const guard(libraryMutex());
    if (group && !group->category().isCapable(PropertyCategory::Group()))
        ZEL_LOG(logger(), zel::LogLevel::Warning)
            << "setGroup() property " << group->imp().key() << ", under which " << imp().key()
            << " is to stand, is no group: its category is " << group->category().toString();
    data().group = group;
    return this;
}

DeviceProperty const* DeviceProperty::group() const
{
    zel::AutoMutex const guard(libraryMutex());
    return data().group;
}

DeviceProperty* DeviceProperty::setWillBeDiscoveredLater()
{
    zel::AutoMutex const guard(libraryMutex());
    imp().setDiscoveredLater(true);
    return this;
}

DeviceProperty* DeviceProperty::linkInFromDevice(KrelString const& device, KrelString const& propertyKey,
                                                 DeviceProperty* localParentGroup)
{
    if (!EnumerationPhase::isActive())
        throw KrelException("linkInFromDevice can only be called during enumeration");
    if (!category().isCapable(PropertyCategory::LinkInFromDevice() | PropertyCategory::Group()))
        throw KrelException(KrelString("Invalid category while linking DeviceProperty: \"") + key() +
                            "\" with category: \"" + category().toString() + "\" to Device: \"" + device +
                            "\"");
    if (localParentGroup && !localParentGroup->category().isCapable(PropertyCategory::Group()))
        throw CannotAddPropertyLinkToNonGroupProperty(
            zel::String("Invalid category for pLocalParentPropertyGroup: \"") +
            localParentGroup->key().zelString() + "\" with category: \"" +
            localParentGroup->category().toString().zelString());
    Value link(DataType::STRINGARRAY());
    link.append(device);
    link.append(propertyKey);
    link.append(localParentGroup ? localParentGroup->key() : KrelString());
    return setValue(link);
}

} // namespace krel5
