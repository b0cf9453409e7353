#pragma once
// The objects that a module made, kept for the life of the process in the order of their creation, and the
// rules by which they are made. (Properties: DeclaredProperties.)

#include <libKrel5/basics/ObjectList.h>

#include <krel5/Event.h>
#include <krel5/Indicator.h>
#include <krel5/LocalizedString.h>
#include <krel5/Parameter.h>
#include <krel5/Test.h>

namespace krel5 {

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
    static ObjectList<Test>& tests();
    static ObjectList<Indicator>& indicators();
    static ObjectList<Parameter>& parameters();
    static ObjectList<Event>& events();
    static ObjectList<LocalizedString>& localizedStrings();
};

} // namespace krel5
