// What a backend does that overrides nothing: a trace under the name that whoever reads traces knows, and no effect.
#include <foundation/TemporaryFolder.h>

#include <libKrel5/internal/backends/CommInterface.h>

#include <krel5/IndicatorReturnData.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/model/runs/MessageBoxImp.h>
#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <functional>

using namespace krel5;

namespace {

struct Bare : CommInterface
{
    bool isStandAlone() const override { return false; }
};

} // namespace

TEST(BareBackend, TracesUnderTheKnownNamesAndDoesNothing)
{
    test::TemporaryFolder const folder;
    zel::LogFactory::setOverride("trace", "krel5");
    zel::LogFactory::configure("modules.xml", 4);
    zel::LogFactory::createDefaultFileAppender(folder.path("test.log"));
    Bare comm;
    auto const device =
        zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(), zel::CapabilityImp(), "disk", "/dev/x",
                                      "a disk", "SATA:1", zel::CapabilityImp());
    zel::PropertyImp property(
        std::make_shared<zel::PropertySpecImp>("Temperature", zel::PropertyCategoryImp(),
                                               zel::DataTypeImp::UINT32(), zel::CapabilityImp::HardDrive()));
    zel::MessageBoxImp box("title", "text", {{1, "OK"}}, 0, 0, {});
    zel::String response = "as it was";
    struct Case
    {
        char const* trace; ///< null: none
        std::function<bool()> hasItsAnswer;
    } const cases[] = {
        {"openConnection", [&] { return comm.openConnection(); }},
        {"closeConnection", [&] { return comm.closeConnection(); }},
        {"receiveTestRun", [&] { return !comm.receiveTestRun(); }},
        {"receiveIndicatorMessages", [&] { return !comm.receiveIndicatorMessages(); }},
        {"receiveIndicatorMessages", [&] { return !comm.receiveIndicatorRun(); }},
        {"receiveTestRun", [&] { return comm.receiveDevices(), true; }},
        {"sendPercentDoneMessage", [&] { return comm.sendPercentDoneMessage(), true; }},
        {"sendEstimatedTimeLeftMessage", [&] { return comm.sendEstimatedTimeLeftMessage(), true; }},
        {"receiveStopMessage", [&] { return !comm.receiveStopMessage(); }},
        {"sendSetTimeOutMessage", [&] { return comm.sendSetTimeOutMessage(7), true; }},
        {"receiveGetTimeOutMessage", [&] { return comm.receiveGetTimeOutMessage() == 0; }},
        {"sendClearTimeOutMessage", [&] { return comm.sendClearTimeOutMessage(), true; }},
        {"sendProgressInformativeMessage", [&] { return comm.sendProgressInformativeMessage(), true; }},
        {"sendEvent", [&] { return comm.sendEvent(), true; }},
        {"sendVersion", [&] { return comm.sendVersion(), true; }},
        {"sendAddDevice", [&] { return comm.sendAddDevice(*device), true; }},
        {"sendAddDevices", [&] { return comm.sendAddDevices(), true; }},
        {"sendUpdateDevice", [&] { return comm.sendEnumTests(), true; }},
        {"sendEnumIndicators", [&] { return comm.sendEnumIndicators(), true; }},
        {"sendFinalResult", [&] { return comm.sendFinalResult(), true; }},
        {"sendMessageBox", [&] { return comm.sendMessageBox(box), !box.hasAnswer(); }},
        {"sendRequestDeviceAddition", [&] { return comm.sendRequestDeviceAddition(*device), true; }},
        {"sendRequestDeviceRemoval", [&] { return comm.sendRequestDeviceRemoval(*device), true; }},
        {"sendRequestDevicePropertyAddition",
         [&] { return comm.sendRequestDevicePropertyAddition(*device, property), true; }},
        {"sendRequestDevicePropertyRemoval",
         [&] { return comm.sendRequestDevicePropertyRemoval(*device, property), true; }},
        {"sendRequestAlertRemoval", [&] { return comm.sendRequestAlertRemoval(zel::AlertImp()), true; }},
        {"sendDeviceUpdateMessage",
         [&] { return comm.sendDeviceUpdateMessage(IndicatorReturnData(), *device), true; }},
        {nullptr, [&] { return !comm.getCurrentStateManagerFromEngine(); }},
        {nullptr, [&] { return !comm.createMessageWaiter(); }},
        {nullptr, [&] { return !comm.httpGetRequest("url", response, "") && response == "as it was"; }},
    };
    std::size_t seen = 0;
    for (Case const& one : cases) {
        std::string const name = one.trace ? one.trace : "";
        EXPECT_TRUE(one.hasItsAnswer()) << name;
        std::string const lines = folder.read("test.log").substr(seen);
        seen += lines.size();
        if (!one.trace) {
            EXPECT_EQ(lines, "");
            continue;
        }
        std::size_t const entered = lines.find(" entering " + name + "\n");
        EXPECT_NE(entered, std::string::npos) << name << ": " << lines;
        EXPECT_NE(lines.find(" leaving " + name + "\n", entered), std::string::npos) << lines;
        EXPECT_NE(lines.find(" krel5.Comm.Interface "), std::string::npos) << lines;
    }
    comm.propagateChanges();
    EXPECT_NE(folder.read("test.log").find(" propagateChanges\n", seen), std::string::npos);
    EXPECT_THROW(comm.hasReceivedMessage(36), zel::AssertionException);
    EXPECT_EQ(zel::StateManager::instance().deviceCount(), 0u);

    zel::LogFactory::clearOverrides();
    zel::LogFactory::configure("modules.xml", 4);
}
