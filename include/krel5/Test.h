#pragma once
// One test that a diagnostic module offers.
//
//     DiagModule::createTest("readSurface", DeviceCapability::HardDrive(), readSurface)
//         ->setSupportsParallelTesting(true)
//         ->addDevicePropertyRequirement("Size", "1..");
//
// Made by DiagModule::createTest; belongs to the library and lives as long as the process. Setters return
// this and are for the time before start() and the module-init callback. Thread rule: used by the module's
// main flow only.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/TestResult.h>

namespace zel {
class TestImp;
class TestRunEventImp;
} // namespace zel

namespace krel5 {

class DeviceCapability;
class DiagDevice;
class KrelString;
class Parameter;
struct TestInternalData;

class KREL5_EXPORT Test
{
public:
    /// What a test does: works on the device and says how it went. Runs on the module's main thread.
    using Callback = TestResult (*)(DiagDevice const&);
    using ReferenceCallback = TestResult const& (*)(DiagDevice const&);

    /// For the library's own use: `defaultName` is the name shown where no localized text exists. Throws
    /// InvalidKeyException for a key that is empty or holds a blank, InvalidCreationException for a null
    /// callback.
    Test(KrelString const& key, KrelString const& defaultName, DeviceCapability const& capability,
         Callback callback);
    Test(KrelString const& key, KrelString const& defaultName, DeviceCapability const& capability,
         ReferenceCallback callback);
    Test(Test const& other);
    Test& operator=(Test const& other);
    ~Test();

    KrelString const& key() const;
    /// Texts "Test.{key}.Name" and ".Description" in the current language, else the key.
    KrelString const& localizedName() const;
    KrelString const& localizedDescription() const;
    /// The devices that the test takes: those with at least one of these capabilities.
    DeviceCapability deviceCapabilities() const;
    /// Whether the test's capabilities include all of the argument's.
    bool hasCapability(DeviceCapability const& capability) const;

    /// True, and the result stored, when the settings force this test's result: the test then does not run.
    bool getForcedResult(TestResult& result) const;
    /// True, and the event stored, when the settings make every run of this test send an event.
    bool getForcedEvent(zel::TestRunEventImp& event) const;

    Test* setInteractive(bool interactive);     ///< asks the person something; default false
    Test* setCreatesOwnGUI(bool createsOwnGui); ///< default false
    Test* setDestructive(bool destructive);     ///< changes data on the device; default false
    Test* setSupportsParallelTesting(bool supportsParallelTesting); ///< default false
    Test* setEnumeratesOnlyOnce(bool onlyOnce);    ///< goes to the one device of greatest rank; default false
    Test* setMinShutdownSeconds(unsigned seconds); ///< time to end after a stop request; default 5
    Test* setUsesNoGlobalParameters(); ///< the module's global parameters are not handed down to it

    /// A device with this capability must exist in the machine.
    Test* addDeviceExistenceRequirement(DeviceCapability const& capability);
    /// No device with this capability may exist.
    Test* addDeviceAbsenceRequirement(DeviceCapability const& capability);
    /// The device must have the property, with a value in the valid range: single values and `low..high`
    /// spans separated by commas, either end open; an empty range takes any value. A measurement counts in
    /// its plain unit: "1000000000.." is 1 GB and more. Throws InvalidCreationException for a range that
    /// cannot be read.
    Test* addDevicePropertyRequirement(KrelString const& propertyKey, KrelString const& validRange);
    /// The device must not have the property with a value in the range. Errors as above.
    Test* addDevicePropertyExclusion(KrelString const& propertyKey, KrelString const& validRange);
    /// Further devices that the test can use beside the one it tests; see DiagModule::optionalDevice.
    Test* addOptionalDeviceCapabilities(DeviceCapability const& capability);
    /// Gives the test a parameter. Null is a programming error. Throws AlreadyAddedException when the test
    /// has a parameter of that key.
    Test* addParameter(Parameter const* parameter);

    /// Calls the callback.
    TestResult runTest(DiagDevice const& device) const;

    /// The record behind the handle. For the library's own use.
    zel::TestImp& imp();
    zel::TestImp const& imp() const;

private:
    TestInternalData& data();
    TestInternalData const& data() const;

    DataHolder<TestInternalData> m_holder;
};

} // namespace krel5
