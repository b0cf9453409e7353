#include <libKrel5/internal/module/Factories.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/AlreadyCreatedException.h>
#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/InvalidCreationException.h>
#include <krel5/InvalidInitException.h>
#include <krel5/InvalidKeyException.h>
#include <krel5/KrelString.h>
#include <krel5/PropertyCategory.h>

#include <zel/foundation/Logger.h>
#include <zel/model/settings/ParameterImp.h>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.ModuleCommon");
    return s_logger;
}

void checkOpen(char const* function, KrelString const& key)
{
    if (ModuleCommon::isClosedForFactories())
        throw InvalidInitException(KrelString("Cannot call ") + function +
                                   " after calling start (object key = " + key + ")");
}

void checkKey(char const* kind, KrelString const& key)
{
    if (key.size() == 0 || key.zelString().contains(" "))
        throw InvalidKeyException(kind, key);
}

template <typename Object>
void checkNew(ObjectList<Object> const& list, char const* kind, KrelString const& key)
{
    if (list.find(key.zelString()))
        throw AlreadyCreatedException(kind, key);
}

template <typename Object>
ObjectList<Object>& list()
{
    static auto* const s_list = new ObjectList<Object>();
    return *s_list;
}

template <typename Callback>
Test* makeTest(KrelString const& key, DeviceCapability const& capability, Callback callback)
{
    zel::AutoMutex const guard(libraryMutex());
    checkOpen("createTest", key);
    auto test = std::make_unique<Test>(key, key, capability, callback);
    checkNew(Factories::tests(), "Test", key);
    ModuleCommon::module().addSupportedCapabilities(capability.imp());
    return Factories::tests().add(key.zelString(), std::move(test));
}

template <typename Callback>
Indicator* makeIndicator(KrelString const& key, DeviceCapability const& capability, Callback callback)
{
    zel::AutoMutex const guard(libraryMutex());
    checkOpen("createIndicator", key);
    auto indicator = std::make_unique<Indicator>(key, capability, callback);
    checkNew(Factories::indicators(), "Indicator", key);
    return Factories::indicators().add(key.zelString(), std::move(indicator));
}

} // namespace

ObjectList<Test>& Factories::tests() { return list<Test>(); }
ObjectList<Indicator>& Factories::indicators() { return list<Indicator>(); }
ObjectList<Parameter>& Factories::parameters() { return list<Parameter>(); }
ObjectList<Event>& Factories::events() { return list<Event>(); }
ObjectList<LocalizedString>& Factories::localizedStrings() { return list<LocalizedString>(); }
ObjectList<DeclaredProperty>& Factories::properties() { return list<DeclaredProperty>(); }

Test* Factories::createTest(KrelString const& key, DeviceCapability const& capability,
                            Test::Callback callback)
{
    return makeTest(key, capability, callback);
}

Test* Factories::createTest(KrelString const& key, DeviceCapability const& capability,
                            Test::ReferenceCallback callback)
{
    return makeTest(key, capability, callback);
}

Indicator* Factories::createIndicator(KrelString const& key, DeviceCapability const& capability,
                                      Indicator::DeviceCallback callback)
{
    return makeIndicator(key, capability, callback);
}

Indicator* Factories::createFreeIndicator(KrelString const& key, DeviceCapability const& capability,
                                          Indicator::FreeCallback callback)
{
    return makeIndicator(key, capability, callback);
}

Parameter* Factories::createParameter(KrelString const& key, DataType const& type,
                                      KrelString const& defaultText, bool required, bool isGlobal,
                                      KrelString const& validRange)
{
    zel::AutoMutex const guard(libraryMutex());
    checkOpen("createParameter", key);
    checkKey("Parameter", key);
    checkNew(parameters(), "Parameter", key);
    auto parameter = std::make_unique<Parameter>(key, defaultText, type, validRange, required, isGlobal);
    if (zel::String const& wrong = parameter->imp().declarationError(); !wrong.empty())
        throw InvalidCreationException(KrelString("Parameter \"") + key + "\": " + KrelString(wrong));
    return parameters().add(key.zelString(), std::move(parameter));
}

Event* Factories::createEvent(KrelString const& key)
{
    zel::AutoMutex const guard(libraryMutex());
    checkOpen("createEvent", key);
    checkKey("Event", key);
    checkNew(events(), "Event", key);
    int const code = static_cast<int>(events().size()) + 1;
    return events().add(key.zelString(), std::make_unique<Event>(key, code));
}

LocalizedString* Factories::createLocalizedString(KrelString const& key, KrelString const& text)
{
    zel::AutoMutex const guard(libraryMutex());
    checkOpen("createLocalizedString", key);
    checkKey("LocalizedString", key);
    checkNew(localizedStrings(), "LocalizedString", key);
    return localizedStrings().add(key.zelString(), std::make_unique<LocalizedString>(key, text));
}

DeviceProperty* Factories::createDeviceProperty(KrelString const& key, PropertyCategory const& category,
                                                DataType const& type, DeviceCapability const& capability)
{
    return declare("createDeviceProperty", key, category, type, capability, "");
}

DeviceProperty* Factories::createFakeDeviceProperty(KrelString const& key, PropertyCategory const& category,
                                                    DataType const& type, DeviceCapability const& capability,
                                                    KrelString const& alias)
{
    return declare("createDeviceProperty", key, category, type, capability, alias);
}

DeviceProperty* Factories::createDevicePropertyGroup(KrelString const& key, PropertyCategory const& category,
                                                     DeviceCapability const& capability)
{
    return declare("createDevicePropertyGroup", key, category | PropertyCategory::Group(), DataType::STRING(),
                   capability, "");
}

DeviceProperty* Factories::createDevicePropertyLink(KrelString const& key, PropertyCategory const& category,
                                                    DeviceCapability const& capability)
{
    return declare("createDevicePropertyLink", key, category, DataType::STRINGARRAY(), capability, "");
}

// The numbers of the two warnings tell which factory found the key: one that gives an alias, or any other.
DeviceProperty* Factories::declare(char const* function, KrelString const& key,
                                   PropertyCategory const& category, DataType const& type,
                                   DeviceCapability const& capability, KrelString const& alias)
{
    zel::AutoMutex const guard(libraryMutex());
    checkOpen(function, key);
    checkKey("DeviceProperty", key);
    if (DeclaredProperty const* const known = properties().find(key.zelString())) {
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
    return properties().add(key.zelString(), std::move(declared))->property.get();
}

} // namespace krel5
