// What a person at the console reads: byte for byte, and how a wrong choice ends.
#include <libKrel5/internal/backends/MissingDevices.h>
#include <libKrel5/internal/backends/console/CommStandAlone.h>
#include <libKrel5/internal/backends/console/CommStandAloneText.h>
#include <libKrel5/internal/backends/console/Selection.h>

#include <foundation/TemporaryFolder.h>

#include <krel5/DataType.h>
#include <krel5/DeviceProperty.h>
#include <krel5/IndexOutOfBoundsException.h>
#include <krel5/IndicatorReturnData.h>
#include <krel5/KrelString.h>
#include <krel5/Value.h>

#include <zel/enumerator/Enumerator.h>
#include <zel/foundation/Array.h>
#include <zel/foundation/Logger.h>
#include <zel/model/runs/AlertImp.h>
#include <zel/model/runs/TestRunManager.h>
#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <functional>

using namespace krel5;

namespace {

std::unique_ptr<zel::DeviceImp> device(char const* name)
{
    return zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(), zel::CapabilityImp(), name,
                                         "/dev/x", "a disk", zel::String("SATA:") + name,
                                         zel::CapabilityImp());
}

std::string printed(std::function<void(CommStandAlone&)> const& what)
{
    CommStandAlone comm;
    ::testing::internal::CaptureStdout();
    what(comm);
    return ::testing::internal::GetCapturedStdout();
}

/// What is logged while `what` happens.
std::string logged(std::function<void(CommStandAlone&)> const& what)
{
    test::TemporaryFolder const folder;
    zel::LogFactory::setOverride("debug", "");
    EXPECT_TRUE(zel::LogFactory::createDefaultFileAppender(folder.path("log").c_str()));
    CommStandAlone comm;
    what(comm);
    zel::LogFactory::clearOverrides();
    return folder.read("log");
}

std::string joined(std::vector<zel::String> const& texts)
{
    std::string all;
    for (zel::String const& one : texts)
        all += one.toUtf8() + "|";
    return all;
}

} // namespace

TEST(Console, eventsAreShownByTheirType)
{
    struct Case
    {
        zel::EventTypeImp type;
        bool hasDevice;
        int tips;
        std::string shown;
    };
    for (Case const& one : std::vector<Case>{
             {zel::EventTypeImp::ERR(), true, 2,
              "Error (E7) : broken\n     a.cpp(12)\n     Device: d\\x0aisk : a\\x1b disk\n|Tip(0): tip "
              "0|Tip(1): tip "
              "1|"},
             {zel::EventTypeImp::WARNING(), false, 0,
              "Warning (E7) : broken\n     a.cpp(12)\n     Device: NULL : NULL\n|"},
             {zel::EventTypeImp::INFORMATIVE(), true, 1, "broken|Tip(0): tip 0|"},
             {zel::EventTypeImp::PROGRESS(), false, 0, "broken|"},
         }) {
        zel::TestRunEventImp event(one.type, "k", 7, "E7",
                                   zel::LocalizedStringImp("Event.k.Message", "broken"));
        event.setSource("a.cpp", 12);
        if (one.hasDevice)
            event.setDevice({"guid", "d\nisk", "a\x1B disk"});
        for (int i = 0; i < one.tips; ++i)
            event.addTip(zel::LocalizedStringImp("Tip", zel::String("tip ") + zel::String::number(i)));
        EXPECT_EQ(joined(eventTexts(event)), one.shown);
    }
}

TEST(Console, anAlertIsShownWithItsTips)
{
    zel::AlertImp alert("mod", "Hot", zel::AlertTypeImp::MESSAGE());
    alert.title().setOverride("A title");
    alert.message().setOverride("A message");
    std::string const shown = "Alert\n  Key:     Hot\n  Type:    MESSAGE\n  Title:   A title\n"
                              "  Message: A message\n";
    EXPECT_EQ(alertText(alert).toUtf8(), shown);
    zel::TipImp tip("Cool", zel::TipTypeImp());
    tip.title().setOverride("A tip");
    alert.addTip(tip);
    EXPECT_EQ(alertText(alert).toUtf8(), shown + "  Tips: \n" + tip.toString().toUtf8() + "\n");
    EXPECT_TRUE(tip.toString().contains("A tip"));
}

TEST(Console, reportsOfARunAndNothingWithoutOne)
{
    auto const disk = device("disk");
    zel::TestImp test("t", zel::CapabilityImp::HardDrive());
    auto& manager = zel::TestRunManager::instance();
    zel::TestRunImp& run = manager.addTestRun(zel::TestRunImp(&test, disk.get()));
    run.setPercentComplete(42);
    run.setEstimatedTimeLeft(7);
    run.setProgressInformation("looking");
    run.setFinalResult(zel::TestResultImp::PASS());
    auto const reports = [&run](CommStandAlone& comm) {
        for (char const* text : {"one", "two"})
            run.addEvent(zel::TestRunEventImp(zel::EventTypeImp::INFORMATIVE(), "k", 1, "1",
                                              zel::LocalizedStringImp("k", text)));
        comm.sendPercentDoneMessage();
        comm.sendEstimatedTimeLeftMessage();
        comm.sendProgressInformativeMessage();
        comm.sendEvent();
        comm.sendEvent();
        comm.sendFinalResult();
    };
    EXPECT_EQ(printed(reports), "");
    std::string const log = logged(reports);
    EXPECT_NE(log.find("critical krel5.Comm.StandAlone"), log.npos) << log;
    EXPECT_NE(log.find(" StateManager is missing its TestRunImp \n"), log.npos) << log;
    run.clearEvents();
    manager.setCurrent(&run);
    EXPECT_EQ(printed(reports),
              "Percent Done: 42%\nEstimated Time Left: 7\nlookingonetwo\nFinal Result: PASS\n\n\n");
    manager.clear();
}

TEST(Console, changesOfTheInventory)
{
    // What a device calls itself stays in its line, whatever it holds.
    std::string const name = "di\\x1b[2J\\x0ask\\u202e";
    auto const disk = device("di\x1B[2J\nsk\xE2\x80\xAE");
    auto const spec = std::make_shared<zel::PropertySpecImp>(
        "size", zel::PropertyCategoryImp::SysInfo(), zel::DataTypeImp::STRING(), zel::CapabilityImp::ALL());
    zel::PropertyImp const made(spec, zel::ValueImp(zel::String("1\nTB")));
    zel::PropertyImp& size = disk->addProperty(&made);
    IndicatorReturnData data;
    data.setProperty(DeviceProperty(&size));
    try {
        data.propertyAtIndex(1);
        ADD_FAILURE() << "there is none";
    } catch (IndexOutOfBoundsException const& e) {
        EXPECT_TRUE(e.toString().zelString().contains("Index 1 is out of bounds [0, 0]"));
    }
    using Action = std::function<void(CommStandAlone&)>;
    struct Case
    {
        Action action;
        std::string shown;
    };
    for (Case const& one : std::vector<Case>{
             {[&](auto& comm) { comm.sendRequestDeviceAddition(*disk); },
              "\n\tAdding Device: " + name + "\n\t\tProperty: size Value: 1\\x0aTB\n"},
             {[&](auto& comm) { comm.sendRequestDeviceRemoval(*disk); },
              "\n\tRemoving Device: " + name + "\n"},
             {[&](auto& comm) { comm.sendRequestDevicePropertyAddition(*disk, size); },
              "\n\tAdding Property: size Value: 1\\x0aTB on device: " + name + "\n"},
             {[&](auto& comm) { comm.sendRequestDevicePropertyRemoval(*disk, size); },
              "\n\tRemoving Property: size Value: 1\\x0aTB on device: " + name + "\n"},
             {[&](auto& comm) {
                  comm.sendRequestAlertRemoval(zel::AlertImp("mod", "hot", zel::AlertTypeImp::CRITICAL()));
              },
              "\n\tRemoving Alert: hot\n"},
             {[&](auto& comm) { comm.sendDeviceUpdateMessage(data, *disk); },
              "Device: " + disk->guid().toUtf8() + "\n  size: 1\\x0aTB\n"},
         })
        EXPECT_EQ(printed(one.action), one.shown);
}

TEST(Console, listings)
{
    auto const list = [](CommStandAlone& comm) {
        comm.sendEnumTests();
        comm.sendEnumIndicators();
    };
    EXPECT_EQ(printed(list), "No Tests Enumerated on any Device\nNo Indicators Enumerated on any Device\n");
    auto& state = zel::StateManager::instance();
    auto const bare = device("bare"), a = device("a"), b = device("b");
    for (auto* one : {bare.get(), a.get(), b.get()})
        state.addDevice(*one, nullptr);
    zel::TestImp first("first", zel::CapabilityImp::ALL()), second("second", zel::CapabilityImp::ALL());
    zel::TestImp stranger("stranger", zel::CapabilityImp::ALL());
    zel::IndicatorImp heat("heat", zel::CapabilityImp::ALL(), false),
        free("free", zel::CapabilityImp(), true);
    for (auto* one : {&first, &second, &stranger})
        one->setModuleGuid("mod");
    heat.setModuleGuid("mod");
    free.setModuleGuid("mod");
    state.addTest(first);
    state.addTest(second);
    state.addIndicator(heat);
    state.addIndicator(free);
    state.associate(*b, first, false);
    state.associate(*a, second, false);
    state.associate(*b, second, false);
    state.associate(*b, stranger, false);
    state.associate(*b, heat, false);
    EXPECT_EQ(printed(list), "b (1) : a disk : SATA:b : /dev/x\n"
                             "  first (1) : mod\n  second (2) : mod\n  stranger (0) : mod\n\n"
                             "a (2) : a disk : SATA:a : /dev/x\n  second (2) : mod\n\n"
                             "b (3) : a disk : SATA:b : /dev/x\n  heat (1) : mod\n\n"
                             "  free (2) : mod\n");

    // What is chosen where no number chooses; one of the devices has an indicator and no test.
    state.associate(*bare, heat, false);
    std::string const log = logged([&](CommStandAlone& comm) {
        EXPECT_TRUE(comm.receiveTestRun());
        EXPECT_TRUE(comm.receiveIndicatorMessages());
        comm.sendAddDevice(*a);
    });
    zel::TestRunManager::instance().clear();
    std::string const onDevice = "Imp Dev:" + b->guid().toUtf8();
    for (std::string const& line :
         {std::string("-d Option Not Found Adding all devices"),
          std::string("-t Option Not Found Adding all tests"),
          std::string("-i Option Not Found Adding all indicators"),
          std::string("Appending TestImp:mod.Test.first"), std::string("devices found = 3"),
          "current device = " + b->guid().toUtf8(), std::string("tests found = 3"),
          std::string("no tests found for this device."),
          "Creating TestRun" + onDevice + " Test:mod.Test.first",
          std::string("Appending IndicatorImp:mod.Indicator.heat"),
          "Creating IndicatorRun" + onDevice + " Indicator:mod.Indicator.heat",
          std::string("Creating Freed IndicatorRunImp Indicator:mod.Indicator.free"),
          std::string("sendAddDevice Stub - Need to Implement")})
        EXPECT_NE(log.find(line + "\n"), log.npos) << line << " is not in\n" << log;
    state.clear();
}

TEST(Console, aDamagedTableOfTheFirmwareCostsTestsOfWhatItTellsOf)
{
    test::TemporaryFolder const folder;
    std::string const tables = folder.path("sys/firmware/dmi/tables");
    std::filesystem::create_directories(tables);
    std::ofstream(tables + "/DMI") << "\x11\x28 cut";
    zel::Enumerator& enumerator = zel::Enumerator::instance();
    enumerator.setRoot(folder.path());
    using C = zel::CapabilityImp;
    struct Case
    {
        C tested;
        bool isRun;
        char const* said;
    };
    std::string const damage =
        "the firmware's table (/sys/firmware/dmi/tables/DMI) is damaged at offset 0x0000: "
        "a structure of type 17 is cut; what follows is not shown\n";
    for (Case const& one :
         {Case{C::CPU() | C::HardDrive(), true, ""}, Case{C::Memory(), true, "Not everything is known: "},
          Case{C::MemoryChip(), false, "Devices may be missing: "}}) {
        enumerator.getDevicesOfType(one.tested, 1, 0);
        EXPECT_EQ(CommStandAlone().hasAllDevices(), one.isRun) << one.said;
        ::testing::internal::CaptureStderr();
        EXPECT_TRUE(tellMissingDevices()) << "whoever lists devices has listed them";
        std::string const said = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(said.find(*one.said == 0 ? "table" : one.said + damage) == std::string::npos,
                  *one.said == 0)
            << said;
    }
    enumerator.setRoot("/");
}

TEST(ConsoleDeathTest, nothingToRunSaysWhy)
{
    auto const a = device("a"), b = device("b");
    zel::Array<zel::DeviceImp*> const none, one{a.get()}, two{a.get(), b.get()};
    std::string const guid = "\"" + a->guid().toUtf8() + "\"";
    zel::TestImp test("key", zel::CapabilityImp());
    zel::IndicatorImp indicator("key", zel::CapabilityImp(), false);
    auto const end = [&](std::string const& what, zel::Array<zel::DeviceImp*> const& devices,
                         std::size_t count) {
        zel::Array<zel::TestImp*> tests;
        zel::Array<zel::IndicatorImp*> indicators;
        for (std::size_t i = 0; i < count; ++i) {
            tests.append(&test);
            indicators.append(&indicator);
        }
        if (what == "test")
            endWithoutTestRuns(devices, tests);
        endWithoutIndicatorRuns(devices, indicators);
    };
    struct Case
    {
        char const* what;
        zel::Array<zel::DeviceImp*> devices;
        std::size_t selected;
        TestResult result;
        std::string line;
    };
    for (Case const& it : std::vector<Case>{
             {"test", two, 2, TestResult::NOTEST(),
              "Error: No devices are associated with any of the tests in this module."},
             {"test", none, 0, TestResult::NOTEST(),
              "Error: No devices are associated with any of the tests in this module."},
             {"test", one, 2, TestResult::NOTEST(),
              "Error: Device " + guid + " is not associated with any tests in this module."},
             {"test", two, 1, TestResult::NODEVICE(), "Error: No devices associated with test \"key\""},
             {"test", none, 1, TestResult::NODEVICE(), "Error: No devices associated with test \"key\""},
             {"test", one, 1, TestResult::NOTEST(),
              "Error: Device " + guid + " is not associated with the test \"key\""},
             {"indicator", two, 2, TestResult::NOINDICATOR(),
              "Error: No devices are associated with any of the indicators in this module."},
             {"indicator", one, 2, TestResult::NOINDICATOR(),
              "Error: Device " + guid + " is not associated with any indicators in this module."},
             {"indicator", none, 1, TestResult::NODEVICE(),
              "Error: No devices associated with indicator \"key\""},
             {"indicator", one, 1, TestResult::NOINDICATOR(),
              "Error: Device " + guid + " is not associated with the indicator \"key\""},
         })
        EXPECT_EXIT(end(it.what, it.devices, it.selected), ::testing::ExitedWithCode(it.result.value()),
                    "^" + it.line + "\n$");
}
