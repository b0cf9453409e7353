// The module "network": the links of network cards, their drivers' own tests, and frames through a loop.

#include <network/Events.h>
#include <network/LinkTest.h>
#include <network/Loopback.h>
#include <network/SelfTest.h>
#include <network/Texts.h>

#include <common/ErrorText.h>
#include <common/SeedParameter.h>
#include <common/TimedHost.h>

#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/DiagModule.h>
#include <krel5/Parameter.h>
#include <krel5/Test.h>
#include <krel5/TestResult.h>
#include <krel5/Value.h>

#include <cerrno>

namespace {

using namespace krel5;
using namespace krel5::modules;
using namespace krel5::modules::network;

TimedHost s_host;
Parameter* s_seconds = nullptr;
Parameter* s_isRequired = nullptr;
Parameter* s_mayBeHalf = nullptr;
Parameter* s_leastSpeed = nullptr;
Parameter* s_mostErrors = nullptr;
Parameter* s_isOffline = nullptr;
Parameter* s_partner = nullptr;
Parameter* s_isPlugIn = nullptr;
Parameter* s_frames = nullptr;
Parameter* s_mostLost = nullptr;
Parameter* s_floor = nullptr;
Parameter* s_seed = nullptr;

std::string nameOf(DiagDevice const& device) { return device.osLocator().getUTF8Buffer(); }

LinkSettings linkSettings()
{
    LinkSettings settings;
    settings.seconds = s_seconds->value().valueDouble();
    settings.isRequired = s_isRequired->value().valueBool();
    settings.mayBeHalfDuplex = s_mayBeHalf->value().valueBool();
    settings.leastMegabits = s_leastSpeed->value().valueUint32();
    settings.mostErrors = s_mostErrors->value().valueUint64();
    return settings;
}

TestResult link(DiagDevice const& device)
{
    return s_host.run(device, [name = nameOf(device)](TestHost& host) {
        return runLinkTest(host, name, linkSettings(), interfaceAccess(name));
    });
}

TestResult selfTest(DiagDevice const& device)
{
    return s_host.run(device, [name = nameOf(device)](TestHost& host) {
        return runSelfTest(host, name, s_isOffline->value().valueBool(), selfTestOf(name));
    });
}

bool isPlugIn(TestHost& host, std::string const& name)
{
    if (s_isPlugIn->value().valueBool())
        return true;
    KrelString const title(host.text(kTextPlugTitle).c_str());
    KrelString const text(host.text(kTextPlug, {{"Interface", name}}).c_str());
    return DiagModule::createMessageBox(MsgBoxType::YESNO, title, text, MsgBoxOption::DEFAULTSECOND) ==
           MsgBoxReturn::YES;
}

Outcome notOpened(TestHost& host, OpenedWire const& wire)
{
    TextValues const values = {{"Interface", wire.where}, {"Reason", errorText(wire.error)}};
    switch (wire.error) {
    case EPERM:
    case EACCES:
        host.problem({kEventRefused, values});
        return Outcome::InsufficientPrivilege;
    case ENODEV:
    case ENXIO:
        host.problem({kEventGone, {{"Interface", wire.where}}});
        return Outcome::NoDevice;
    case ENETDOWN:
        host.problem({kEventDown, {{"Interface", wire.where}}});
        return Outcome::CannotRun;
    default:
        host.problem({kEventNotOpened, values});
        return Outcome::CannotRun;
    }
}

Outcome runLoop(TestHost& host, std::string const& name)
{
    Value partner{DataType::STRING()};
    std::string const other = s_partner->value(partner) ? partner.valueString().getUTF8Buffer() : "";
    OpenedWire const opened = openWire(name, other);
    if (!opened.wire)
        return notOpened(host, opened);
    if (other.empty() && !isPlugIn(host, name)) {
        host.problem({kEventNoPlug, {{"Interface", name}}});
        return Outcome::CannotRun;
    }
    LoopbackSettings settings;
    settings.frames = s_frames->value().valueUint64();
    settings.mostLost = s_mostLost->value().valueUint64();
    settings.floorMegabits = s_floor->value().valueDouble();
    settings.seed = seedOfRun(*s_seed);
    host.note({kEventSeed, {{"Seed", std::to_string(settings.seed)}}});
    return runLoopback(host, name, settings, *opened.wire);
}

TestResult loopback(DiagDevice const& device)
{
    return s_host.run(device, [name = nameOf(device)](TestHost& host) { return runLoop(host, name); });
}

void createParameters()
{
    auto const create = [](char const* key, DataType const& type, char const* value, char const* range) {
        return DiagModule::createParameter(key, type, value, false, false, range);
    };
    s_seconds = create("Seconds", DataType::DOUBLE(), "10", "0.1..86400");
    s_isRequired = DiagModule::createParameter("LinkRequired", DataType::BOOLEAN(), "false", false);
    s_mayBeHalf = DiagModule::createParameter("HalfDuplexAllowed", DataType::BOOLEAN(), "false", false);
    s_leastSpeed = create("MinSpeedMbps", DataType::UINT32(), "0", "0..");
    s_mostErrors = create("MaxErrors", DataType::UINT64(), "0", "0..");
    s_isOffline = DiagModule::createParameter("Offline", DataType::BOOLEAN(), "false", false);
    s_partner = DiagModule::createParameter("Partner", DataType::STRING(), "", false);
    s_isPlugIn = DiagModule::createParameter("PlugInPlace", DataType::BOOLEAN(), "false", false);
    s_frames = create("Frames", DataType::UINT64(), "10000", "1..");
    s_mostLost = create("MaxLostFrames", DataType::UINT64(), "0", "0..");
    s_floor = create("FloorMbps", DataType::DOUBLE(), "0", "0..");
    s_seed = createSeedParameter();
}

Test* createNetworkTest(char const* key, Test::Callback callback)
{
    return DiagModule::createTest(key, DeviceCapability::NetworkCard(), callback)
        ->setDestructive(false)
        ->setSupportsParallelTesting(true);
}

} // namespace

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    createParameters();
    s_host.createEvents(kEvents);
    s_host.createTexts(kTexts);
    s_host.watchEvidence({.m_leavesOutNetwork = true});
    createNetworkTest("link", link)
        ->addParameter(s_seconds)
        ->addParameter(s_isRequired)
        ->addParameter(s_mayBeHalf)
        ->addParameter(s_leastSpeed)
        ->addParameter(s_mostErrors);
    createNetworkTest("selftest", selfTest)->addParameter(s_isOffline);
    createNetworkTest("loopback", loopback)
        ->setInteractive(true)
        ->addParameter(s_partner)
        ->addParameter(s_isPlugIn)
        ->addParameter(s_frames)
        ->addParameter(s_mostLost)
        ->addParameter(s_floor)
        ->addParameter(s_seed);
    return DiagModule::start();
}
