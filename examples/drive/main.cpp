// A module with all the usual parts: a parameter, an event with variables, a condition on the device, a
// question.
#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/DiagModule.h>
#include <krel5/Event.h>
#include <krel5/KrelString.h>
#include <krel5/Parameter.h>
#include <krel5/Test.h>
#include <krel5/TestResult.h>
#include <krel5/Value.h>

#include <fstream>
#include <vector>

using namespace krel5;

static Parameter* s_blocks;
static Event* s_badBlock;

// Reads the first blocks of the drive, 64 KiB each.
static TestResult readStart(DiagDevice const& device)
{
    std::ifstream drive(device.osLocator().getUTF8Buffer(), std::ios::binary);
    if (!drive)
        return TestResult::INSUFFICIENTPRIVILEGE();
    unsigned const blocks = s_blocks->value().valueUint32();
    std::vector<char> block(64 * 1024);
    for (unsigned index = 0; index < blocks; ++index) {
        if (DiagModule::checkForStop())
            return TestResult::USERABORTED();
        if (!drive.read(block.data(), static_cast<std::streamsize>(block.size()))) {
            s_badBlock->setVariable("block", index)->setVariable("drive", device.osLocator());
            DiagModule::error(s_badBlock, __FILE__, __LINE__);
            return TestResult::FAIL();
        }
        DiagModule::percentDone(static_cast<int>(100 * (index + 1) / blocks));
    }
    return TestResult::PASS();
}

// Where nobody can be asked, the default answer counts: it should be one that is no finding.
static TestResult activityLight(DiagDevice const&)
{
    auto const answer = DiagModule::createMessageBox(
        MsgBoxType::YESNOCANCEL, "Activity light", "Does the drive's light work?",
        MsgBoxOption::DEFAULTTHIRD); // nobody there to look: no verdict
    if (answer == MsgBoxReturn::CANCEL)
        return TestResult::SKIPPED();
    return answer == MsgBoxReturn::YES ? TestResult::PASS() : TestResult::FAIL();
}

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    s_blocks = DiagModule::createParameter("blocks", DataType::UINT32(), "16", false, false, "1..1024");
    s_badBlock = DiagModule::createEvent("badBlock");
    DiagModule::createTest("readStart", DeviceCapability::HardDrive(), readStart)
        ->addParameter(s_blocks)
        ->addDevicePropertyRequirement("Size", "67108864..");
    DiagModule::createTest("activityLight", DeviceCapability::HardDrive(), activityLight)
        ->setInteractive(true);
    return DiagModule::start();
}
