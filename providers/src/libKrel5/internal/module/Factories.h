#pragma once
// The objects that a module made, kept for the life of the process in the order of their creation, and the
// rules by which they are made.

#include <krel5/DeviceProperty.h>
#include <krel5/Event.h>
#include <krel5/Indicator.h>
#include <krel5/LocalizedString.h>
#include <krel5/Parameter.h>
#include <krel5/Test.h>

#include <zel/model/devices/PropertySpecImp.h>

#include <memory>
#include <unordered_map>
#include <vector>

namespace krel5 {

/// Objects of one kind: in order of creation, and by key.
template <typename Object>
class ObjectList
{
public:
    Object* find(zel::String const& key) const
    {
        auto const found = m_byKey.find(key);
        return found == m_byKey.end() ? nullptr : found->second;
    }
    Object* add(zel::String const& key, std::unique_ptr<Object> object)
    {
        m_byKey[key] = object.get();
        m_objects.push_back(std::move(object));
        return m_objects.back().get();
    }
    std::size_t size() const noexcept { return m_objects.size(); }
    Object& at(std::size_t index) const { return *m_objects.at(index); }
    auto begin() const noexcept { return m_objects.begin(); }
    auto end() const noexcept { return m_objects.end(); }

private:
    std::vector<std::unique_ptr<Object>> m_objects;
    std::unordered_map<zel::String, Object*> m_byKey;
};

/// One property declared by this module: its specification and the handle that the author holds.
struct DeclaredProperty
{
    std::shared_ptr<zel::PropertySpecImp> spec;
    std::unique_ptr<DeviceProperty> property;
};

/// Thread rule: main thread.
class Factories
{
public:
    static Test* createTest(KrelString const& key, DeviceCapability const& capability,
                            Test::Callback callback);
    static Test* createTest(KrelString const& key, DeviceCapability const& capability,
                            Test::ReferenceCallback callback);
    static Indicator* createIndicator(KrelString const& key, DeviceCapability const& capability,
                                      Indicator::DeviceCallback callback);
    static Indicator* createFreeIndicator(KrelString const& key, DeviceCapability const& capability,
                                          Indicator::FreeCallback callback);
    static Parameter* createParameter(KrelString const& key, DataType const& type,
                                      KrelString const& defaultText, bool required, bool isGlobal,
                                      KrelString const& validRange);
    static Event* createEvent(KrelString const& key);
    static LocalizedString* createLocalizedString(KrelString const& key, KrelString const& text);
    static DeviceProperty* createDeviceProperty(KrelString const& key, PropertyCategory const& category,
                                                DataType const& type, DeviceCapability const& capability);
    /// `alias` is a second identity beside the key, kept in the specification.
    static DeviceProperty* createFakeDeviceProperty(KrelString const& key, PropertyCategory const& category,
                                                    DataType const& type, DeviceCapability const& capability,
                                                    KrelString const& alias);
    static DeviceProperty* createDevicePropertyGroup(KrelString const& key, PropertyCategory const& category,
                                                     DeviceCapability const& capability);
    static DeviceProperty* createDevicePropertyLink(KrelString const& key, PropertyCategory const& category,
                                                    DeviceCapability const& capability);

    static ObjectList<Test>& tests();
    static ObjectList<Indicator>& indicators();
    static ObjectList<Parameter>& parameters();
    static ObjectList<Event>& events();
    static ObjectList<LocalizedString>& localizedStrings();
    static ObjectList<DeclaredProperty>& properties();

private:
    static DeviceProperty* declare(char const* function, KrelString const& key,
                                   PropertyCategory const& category, DataType const& type,
                                   DeviceCapability const& capability, KrelString const& alias);
};

} // namespace krel5
