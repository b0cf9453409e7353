#include <krel5/Test.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/FactoryRules.h>
#include <libKrel5/basics/ModuleIdentity.h>
#include <libKrel5/basics/Texts.h>
#include <libKrel5/objects/Factories.h>

#include <krel5/AlreadyAddedException.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/InvalidCreationException.h>
#include <krel5/KrelString.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/model/module/TestImp.h>
#include <zel/model/runs/TestRunEventImp.h>

#include <optional>

namespace krel5 {

struct TestInternalData
{
    TestInternalData() : imp(zel::String(), zel::CapabilityImp()) {}

    zel::TestImp imp;
    KrelString defaultName;
    Test::Callback callback = nullptr; // one of the two
    Test::ReferenceCallback referenceCallback = nullptr;
    KrelString key;
    mutable KrelString localizedName, localizedDescription; // as last read
};
template class DataHolder<TestInternalData>;

namespace {

TestInternalData record(KrelString const& key, KrelString const& defaultName,
                        DeviceCapability const& capability)
{
    checkKeyOfNewObject("Test", key);
    TestInternalData data;
    data.imp = zel::TestImp(key.zelString(), capability.imp());
    data.defaultName = defaultName;
    data.key = key;
    return data;
}

zel::String text(zel::TestImp const& test, char const* what, KrelString const& defaultText)
{
    zel::LocalizedStringImp const localized(zel::String("Test.") + test.keyInModule() + what,
                                            defaultText.zelString(), ModuleIdentity::guid());
    return localized.resolve();
}

} // namespace

Test::Test(KrelString const& key, KrelString const& defaultName, DeviceCapability const& capability,
           Callback callback)
    : m_holder(record(key, defaultName, capability))
{
    if (!callback)
        throw InvalidCreationException(KrelString("Test \"") + key + "\" has no callback");
    data().callback = callback;
}

Test::Test(KrelString const& key, KrelString const& defaultName, DeviceCapability const& capability,
           ReferenceCallback callback)
    : m_holder(record(key, defaultName, capability))
{
    if (!callback)
        throw InvalidCreationException(KrelString("Test \"") + key + "\" has no callback");
    data().referenceCallback = callback;
}

Test::Test(Test const& other) = default;
Test& Test::operator=(Test const& other) = default;
Test::~Test() = default;

TestInternalData& Test::data() { return m_holder.data(); }
TestInternalData const& Test::data() const { return m_holder.data(); }
zel::TestImp& Test::imp() { return data().imp; }
zel::TestImp const& Test::imp() const { return data().imp; }

KrelString const& Test::key() const { return data().key; }

KrelString const& Test::localizedName() const
{
    return cached(data().localizedName, text(imp(), ".Name", data().defaultName));
}

KrelString const& Test::localizedDescription() const
{
    return cached(data().localizedDescription, text(imp(), ".Description", data().defaultName));
}

DeviceCapability Test::deviceCapabilities() const { return DeviceCapability(imp().deviceCapabilities()); }

bool Test::hasCapability(DeviceCapability const& capability) const
{
    return imp().deviceCapabilities().isCapable(capability.imp());
}

bool Test::getForcedResult(TestResult& result) const
{
    if (!imp().forcedResult())
        return false;
    result = TestResult(*imp().forcedResult());
    return true;
}

bool Test::getForcedEvent(zel::TestRunEventImp& event) const
{
    if (!imp().forcedEvent())
        return false;
    Event const* const forced = Factories::events().find(*imp().forcedEvent());
    if (!forced) {
        ZEL_LOG(zel::LogFactory::getLogger("krel5.DiagModule"), zel::LogLevel::Error)
            << "The settings force the event \"" << *imp().forcedEvent()
            << "\", which this module does not have";
        return false;
    }
    event = forced->createEventToSend(zel::EventTypeImp::INFORMATIVE(), ModuleIdentity::guid(), "", 0);
    return true;
}

Test* Test::setInteractive(bool interactive)
{
    imp().flags().interactive = interactive;
    return this;
}

Test* Test::setCreatesOwnGUI(bool createsOwnGui)
{
    imp().flags().createsOwnGui = createsOwnGui;
    return this;
}

Test* Test::setDestructive(bool destructive)
{
    imp().flags().destructive = destructive;
    return this;
}

Test* Test::setSupportsParallelTesting(bool supportsParallelTesting)
{
    imp().flags().supportsParallelTesting = supportsParallelTesting;
    return this;
}

Test* Test::setEnumeratesOnlyOnce(bool onlyOnce)
{
    imp().flags().enumeratesOnlyOnce = onlyOnce;
    return this;
}

Test* Test::setMinShutdownSeconds(unsigned seconds)
{
    imp().flags().minShutdownSeconds = seconds;
    return this;
}

Test* Test::setUsesNoGlobalParameters()
{
    imp().flags().usesNoGlobalParameters = true;
    return this;
}

Test* Test::addDeviceExistenceRequirement(DeviceCapability const& capability)
{
    imp().addExistenceRequirement(capability.imp());
    return this;
}

Test* Test::addDeviceAbsenceRequirement(DeviceCapability const& capability)
{
    imp().addAbsenceRequirement(capability.imp());
    return this;
}

namespace {

void addRequirement(zel::TestImp& test, zel::DeviceRequirement requirement)
{
    try {
        test.addPropertyRequirement(std::move(requirement));
    } catch (zel::InvalidArgumentException const& e) {
        throw InvalidCreationException(KrelString(e.getMessage()));
    }
}

} // namespace

Test* Test::addDevicePropertyRequirement(KrelString const& propertyKey, KrelString const& validRange)
{
    addRequirement(imp(), {propertyKey.zelString(), validRange.zelString(), false});
    return this;
}

Test* Test::addDevicePropertyExclusion(KrelString const& propertyKey, KrelString const& validRange)
{
    addRequirement(imp(), {propertyKey.zelString(), validRange.zelString(), true});
    return this;
}

Test* Test::addOptionalDeviceCapabilities(DeviceCapability const& capability)
{
    imp().addOptionalDeviceCapabilities(capability.imp());
    return this;
}

Test* Test::addParameter(Parameter const* parameter)
{
    requireArgument(parameter != nullptr, "parameter", "Test::addParameter(...)");
    if (!imp().addParameter(parameter->imp()))
        throw AlreadyAddedException("Test", key(), "Parameter", parameter->key());
    return this;
}

TestResult Test::runTest(DiagDevice const& device) const
{
    return data().callback ? data().callback(device) : data().referenceCallback(device);
}

} // namespace krel5
