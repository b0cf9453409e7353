#include <libKrel5/objects/Factories.h>

#include <libKrel5/basics/FactoryRules.h>
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/basics/ModuleIdentity.h>

#include <krel5/AlreadyCreatedException.h>
#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/InvalidCreationException.h>
#include <krel5/KrelString.h>

#include <zel/model/settings/ParameterImp.h>

namespace krel5 {
namespace {

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
    checkOpenForFactories("createTest", key);
    auto test = std::make_unique<Test>(key, key, capability, callback);
    checkNew(Factories::tests(), "Test", key);
    ModuleIdentity::module().addSupportedCapabilities(capability.imp());
    return Factories::tests().add(key.zelString(), std::move(test));
}

template <typename Callback>
Indicator* makeIndicator(KrelString const& key, DeviceCapability const& capability, Callback callback)
{
    zel::AutoMutex const guard(libraryMutex());
    checkOpenForFactories("createIndicator", key);
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
    checkOpenForFactories("createParameter", key);
    checkKeyOfNewObject("Parameter", key);
    checkNew(parameters(), "Parameter", key);
    auto parameter = std::make_unique<Parameter>(key, defaultText, type, validRange, required, isGlobal);
    if (zel::String const& wrong = parameter->imp().declarationError(); !wrong.empty())
        throw InvalidCreationException(KrelString("Parameter \"") + key + "\": " + KrelString(wrong));
    return parameters().add(key.zelString(), std::move(parameter));
}

Event* Factories::createEvent(KrelString const& key)
{
    zel::AutoMutex const guard(libraryMutex());
    checkOpenForFactories("createEvent", key);
    checkKeyOfNewObject("Event", key);
    checkNew(events(), "Event", key);
    int const code = static_cast<int>(events().size()) + 1;
    return events().add(key.zelString(), std::make_unique<Event>(key, code));
}

LocalizedString* Factories::createLocalizedString(KrelString const& key, KrelString const& text)
{
    zel::AutoMutex const guard(libraryMutex());
    checkOpenForFactories("createLocalizedString", key);
    checkKeyOfNewObject("LocalizedString", key);
    checkNew(localizedStrings(), "LocalizedString", key);
    return localizedStrings().add(key.zelString(), std::make_unique<LocalizedString>(key, text));
}

} // namespace krel5
