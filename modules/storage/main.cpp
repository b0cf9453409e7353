// The module "storage": read tests of drives, and what drives say of their own health.

#include <common/ErrorText.h>
#include <common/SeedParameter.h>
#include <common/TimedHost.h>
#include <storage/Events.h>
#include <storage/StorageTest.h>
#include <storage/Texts.h>
#include <storage/WriteTest.h>
#include <storage/smart/DriveCounts.h>
#include <storage/smart/DriveSelfTest.h>
#include <storage/smart/SmartTest.h>

#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/DiagModule.h>
#include <krel5/Parameter.h>
#include <krel5/Test.h>
#include <krel5/TestResult.h>
#include <krel5/Value.h>

#include <cerrno>
#include <limits>

namespace {

using namespace krel5;
using namespace krel5::modules;
using namespace krel5::modules::storage;

TimedHost s_host;
Parameter* s_blockSize = nullptr;
Parameter* s_randomBlockSize = nullptr;
Parameter* s_size = nullptr;
Parameter* s_reads = nullptr;
Parameter* s_repeats = nullptr;
Parameter* s_mostBad = nullptr;
Parameter* s_floor = nullptr;
Parameter* s_slow = nullptr;
Parameter* s_overwrite = nullptr;
Parameter* s_isErasable = nullptr;
Parameter* s_seed = nullptr;
Parameter* s_useFile = nullptr;
Parameter* s_fileSize = nullptr;
Parameter* s_deviceType = nullptr;
Parameter* s_mostPending = nullptr;
Parameter* s_pollSeconds = nullptr;

/// The product, or the largest number when it does not fit: the checking code refuses or shortens that.
std::uint64_t times(std::uint64_t a, std::uint64_t b)
{
    return b != 0 && a > std::numeric_limits<std::uint64_t>::max() / b
               ? std::numeric_limits<std::uint64_t>::max()
               : a * b;
}

StorageSettings settingsFor(ReadPlan::Order order)
{
    bool const random = order == ReadPlan::Order::Random;
    StorageSettings settings;
    ReadPlan& plan = settings.m_plan;
    plan.m_order = order;
    plan.m_blockSize = std::size_t((random ? s_randomBlockSize : s_blockSize)->value().valueUint32()) << 10;
    plan.m_repeats = s_repeats->value().valueUint32();
    plan.m_mostFaults = s_mostBad->value().valueUint32();
    plan.m_slowSeconds = s_slow->value().valueUint32() / 1000.0;
    plan.m_seed = seedOfRun(*s_seed);
    settings.m_useFile = s_useFile->value().valueBool();
    settings.m_fileBytes = times(s_fileSize->value().valueUint32(), std::uint64_t(1) << 20);
    return settings;
}

TestResult runReading(DiagDevice const& device, StorageSettings const& settings)
{
    return s_host.run(device, [&, path = std::string(device.osLocator().getUTF8Buffer())](TestHost& host) {
        return besideDriveCounts(host, driveReports(path),
                                 [&] { return runStorageTest(host, path, settings); });
    });
}

TestResult readSequential(DiagDevice const& device)
{
    StorageSettings settings = settingsFor(ReadPlan::Order::Sequential);
    settings.m_plan.m_amount = times(s_size->value().valueUint64(), std::uint64_t(1) << 20);
    return runReading(device, settings);
}

TestResult readRandom(DiagDevice const& device)
{
    StorageSettings settings = settingsFor(ReadPlan::Order::Random);
    settings.m_plan.m_amount = times(s_reads->value().valueUint32(), settings.m_plan.m_blockSize);
    return runReading(device, settings);
}

TestResult readSurface(DiagDevice const& device)
{
    StorageSettings const settings = settingsFor(ReadPlan::Order::Surface);
    return runReading(device, settings);
}

TestResult readSpeed(DiagDevice const& device)
{
    StorageSettings settings = settingsFor(ReadPlan::Order::Sequential);
    settings.m_plan.m_amount = times(s_size->value().valueUint64(), std::uint64_t(1) << 20);
    settings.m_plan.m_floor = s_floor->value().valueDouble();
    return runReading(device, settings);
}

TestResult smart(DiagDevice const& device)
{
    SmartOptions options;
    if (Value type{DataType::STRING()}; s_deviceType->value(type))
        options.m_deviceType = type.valueString().getUTF8Buffer();
    if (Value most{DataType::UINT64()}; s_mostPending->value(most))
        options.m_mostPending = most.valueUint64();
    return s_host.run(device, [&](TestHost& host) {
        return runSmartTest(host, device.osLocator().getUTF8Buffer(), options);
    });
}

bool mayErase(TestHost& host, DiagDevice const& device)
{
    if (s_isErasable->value().valueBool())
        return true;
    KrelString const title(host.text(kTextEraseTitle).c_str());
    KrelString const text(host.text(kTextErase, {{"Device", device.osLocator().getUTF8Buffer()},
                                                 {"Name", device.name().getUTF8Buffer()}})
                              .c_str());
    return DiagModule::createMessageBox(MsgBoxType::YESNO, title, text, MsgBoxOption::DEFAULTSECOND,
                                        LookAndFeel::WARNING) == MsgBoxReturn::YES;
}

Outcome runOverwrite(TestHost& host, DiagDevice const& device)
{
    std::string const path = device.osLocator().getUTF8Buffer();
    WritableDrive const drive = openDriveForWriting(path); // nobody else can begin to use it from here on
    if (drive.error == EBUSY) {
        host.problem({kEventWriteInUse, {{"Device", path}}});
        return Outcome::CannotRun;
    }
    if (drive.error != 0) {
        bool const isRefused = drive.error == EACCES || drive.error == EPERM || drive.error == EROFS;
        bool const isGone = drive.error == ENOENT || drive.error == ENXIO || drive.error == ENODEV;
        host.problem({kEventWriteNotOpened, {{"Device", path}, {"Reason", errorText(drive.error)}}});
        return isRefused ? Outcome::InsufficientPrivilege : isGone ? Outcome::NoDevice : Outcome::CannotRun;
    }
    if (!mayErase(host, device)) {
        host.problem({kEventWriteDeclined, {{"Device", path}}});
        return Outcome::CannotRun;
    }
    WritePlan plan;
    plan.amount = times(s_overwrite->value().valueUint64(), std::uint64_t(1) << 20);
    plan.blockSize = std::size_t(s_blockSize->value().valueUint32()) << 10;
    plan.mostFaults = s_mostBad->value().valueUint32();
    plan.seed = seedOfRun(*s_seed);
    return besideDriveCounts(host, driveReports(path), [&] { return runWriteTest(host, drive, plan); });
}

TestResult overwrite(DiagDevice const& device)
{
    return s_host.run(device, [&](TestHost& host) { return runOverwrite(host, device); });
}

template <bool kIsExtended>
TestResult selfTest(DiagDevice const& device)
{
    DriveSelfTestSettings settings;
    settings.isExtended = kIsExtended;
    if (Value type{DataType::STRING()}; s_deviceType->value(type))
        settings.options.m_deviceType = type.valueString().getUTF8Buffer();
    settings.pollSeconds = s_pollSeconds->value().valueDouble();
    return s_host.run(device, [&](TestHost& host) {
        return runDriveSelfTest(host, device.osLocator().getUTF8Buffer(), settings);
    });
}

Test* createStorageTest(char const* key, Test::Callback callback)
{
    return DiagModule::createTest(key, DeviceCapability::HardDrive(), callback)
        ->setDestructive(false)
        ->setSupportsParallelTesting(true);
}

Test* createReadTest(char const* key, Test::Callback callback)
{
    return createStorageTest(key, callback)
        ->addParameter(s_repeats)
        ->addParameter(s_mostBad)
        ->addParameter(s_slow)
        ->addParameter(s_seed)
        ->addParameter(s_useFile)
        ->addParameter(s_fileSize);
}

void createParameters()
{
    s_blockSize =
        DiagModule::createParameter("BlockSizeKiB", DataType::UINT32(), "1024", false, false, "4..65536");
    s_randomBlockSize =
        DiagModule::createParameter("RandomBlockSizeKiB", DataType::UINT32(), "64", false, false, "4..65536");
    s_size = DiagModule::createParameter("SizeMiB", DataType::UINT64(), "1024", false, false, "1..");
    s_reads = DiagModule::createParameter("Reads", DataType::UINT32(), "1000", false, false, "1..");
    s_repeats = DiagModule::createParameter("Retries", DataType::UINT32(), "3", false, false, "0..100");
    s_mostBad = DiagModule::createParameter("MaxBadBlocks", DataType::UINT32(), "16", false, false, "1..");
    s_floor = DiagModule::createParameter("FloorMBps", DataType::DOUBLE(), "0", false, false, "0..");
    s_slow = DiagModule::createParameter("SlowMilliseconds", DataType::UINT32(), "1000", false, false, "1..");
    s_overwrite = DiagModule::createParameter("OverwriteMiB", DataType::UINT64(), "0", false, false, "0..");
    s_isErasable = DiagModule::createParameter("EraseConfirmed", DataType::BOOLEAN(), "false", false);
    s_seed = createSeedParameter();
    s_useFile = DiagModule::createParameter("UseFile", DataType::BOOLEAN(), "false", false);
    s_fileSize = DiagModule::createParameter("FileSizeMiB", DataType::UINT32(), "0", false, false, "0..");
    s_deviceType = DiagModule::createParameter("DeviceType", DataType::STRING(), "", false);
    s_pollSeconds =
        DiagModule::createParameter("PollSeconds", DataType::DOUBLE(), "5", false, false, "0.1..600");
    s_mostPending = DiagModule::createParameter("MaxPendingSectors", DataType::UINT64(), "", false);
}

} // namespace

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    createParameters();
    s_host.createEvents(kEvents);
    s_host.createTexts(kTexts);
    s_host.watchEvidence();
    createReadTest("readsequential", readSequential)->addParameter(s_blockSize)->addParameter(s_size);
    createReadTest("readrandom", readRandom)->addParameter(s_randomBlockSize)->addParameter(s_reads);
    createReadTest("readsurface", readSurface)->addParameter(s_blockSize);
    createReadTest("readspeed", readSpeed)
        ->addParameter(s_blockSize)
        ->addParameter(s_size)
        ->addParameter(s_floor);
    createStorageTest("smart", smart)->addParameter(s_deviceType)->addParameter(s_mostPending);
    createStorageTest("selftestshort", selfTest<false>)
        ->addParameter(s_deviceType)
        ->addParameter(s_pollSeconds);
    createStorageTest("selftestlong", selfTest<true>)
        ->addParameter(s_deviceType)
        ->addParameter(s_pollSeconds);
    createStorageTest("overwrite", overwrite)
        ->setDestructive(true)
        ->setInteractive(true)
        ->addParameter(s_overwrite)
        ->addParameter(s_isErasable)
        ->addParameter(s_blockSize)
        ->addParameter(s_mostBad)
        ->addParameter(s_seed);
    return DiagModule::start();
}
