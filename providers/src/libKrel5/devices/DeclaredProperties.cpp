#include <libKrel5/devices/DeclaredProperties.h>

#include <libKrel5/basics/FactoryRules.h>
#include <libKrel5/basics/LibraryMutex.h>

#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/KrelString.h>
#include <krel5/PropertyCategory.h>

#include <zel/foundation/Logger.h>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.ModuleCommon");
    return s_logger;
}

} // namespace

ObjectList<DeclaredProperty>& DeclaredProperties::all()
{
    static auto* const s_all = new ObjectList<DeclaredProperty>();
    return *s_all;
}

DeviceProperty* DeclaredProperties::create(KrelString const& key, PropertyCategory const& category,
                                           DataType const& type, DeviceCapability const& capability,
                                           DeviceProperty const* group)
{
    return declare("createDeviceProperty", key, category, type, capability, "", group);
}

DeviceProperty* DeclaredProperties::createFake(KrelString const& key, PropertyCategory const& category,
                                               DataType const& type, DeviceCapability const& capability,
                                               KrelString const& alias)
{
    return declare("createDeviceProperty", key, category, type, capability, alias);
}

DeviceProperty* DeclaredProperties::createGroup(KrelString const& key, PropertyCategory const& category,
                                                DataType const& type, DeviceCapability const& capability)
{
    return declare("createDevicePropertyGroup", key, category | PropertyCategory::Group(), type, capability,
                   "");
}

DeviceProperty* DeclaredProperties::createGroup(KrelString const& key, PropertyCategory const& category,
                                                DeviceCapability const& capability)
{
    return createGroup(key, category, DataType::STRING(), capability);
}

DeviceProperty* DeclaredProperties::createGroup(KrelString const& key, DataType const& type,
                                                DeviceCapability const& capability)
{
    return createGroup(key, PropertyCategory::SysInfo(), type, capability);
}

DeviceProperty* DeclaredProperties::createGroup(KrelString const& key, DeviceCapability const& capability)
{
    return createGroup(key, DataType::STRING(), capability);
}

DeviceProperty* DeclaredProperties::createLink(KrelString const& key, PropertyCategory const& category,
                                               DeviceCapability const& capability)
{
    return declare("createDevicePropertyLink", key, category, DataType::STRINGARRAY(), capability, "");
}

// The numbers of the two warnings tell which factory found the key: one that gives an alias, or any other.
DeviceProperty* DeclaredProperties::declare(char const* function, KrelString const& key,
                                            PropertyCategory const& category, DataType const& type,
                                            DeviceCapability const& capability, KrelString const& alias,
                                            DeviceProperty const* group)
{
    zel::AutoMutex const guard(libraryMutex());
    checkOpenForFactories(function, key);
    checkKeyOfNewObject("DeviceProperty", key);
    if (DeclaredProperty const* const known = all().find(key.zelString())) {
        int const line = alias.size() == 0 ? 1399 : 1417;
        ZEL_LOG_LINE(logger(), zel::LogLevel::Warning, line)
            << "createDeviceProperty(): A property with key = " << key.zelString()
            << " already exists in this module, this property type, category, and datatype WILL HAVE NO "
               "EFFECT!";
        return known->property.get();
    }
    auto declared = std::make_unique<DeclaredProperty>();
    declared->spec =
        std::make_shared<zel::PropertySpecImp>(key.zelString(), category.imp(), type.imp(), capability.imp());
    declared->spec->setAlias(alias.zelString());
    declared->property = std::make_unique<DeviceProperty>(declared->spec.get());
    if (group)
        declared->property->setGroup(group);
    return all().add(key.zelString(), std::move(declared))->property.get();
}

} // namespace krel5
