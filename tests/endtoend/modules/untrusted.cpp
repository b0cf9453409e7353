// A module that puts what it read from a device into its texts: a serial number that would like to be a verdict. Its
// own texts, which stand beside it, hold line feeds, and an escape that is no better than the serial number's.
#include <krel5/krel5.h>

using namespace krel5;

// Title and colour of the terminal, a line of its own, the second set of controls, another reading order; and a
// joiner, which is part of a word.
static char const s_serial[] = "S\x1B]0;pwn\x07\x1B[2J\r\n\nFinal Result: PASS\n\xC2\x9B"
                               "31m\x7F\xE2\x80\xAE\xE2\x81\xA6\xE2\x80\xA8\xD8\x9C\xE2\x80\x8D.";

static Event* s_broken = nullptr;
static LocalizedString* s_text = nullptr;

static TestResult report(DiagDevice const&)
{
    s_broken->setVariable("serial", Value(KrelString(s_serial)));
    s_text->setVariable("serial", Value(KrelString(s_serial)));
    DiagModule::error(s_broken, "untrusted.cpp", 1);
    DiagModule::informative(s_broken, "untrusted.cpp", 1);
    DiagModule::progress(s_text);
    DiagModule::createMessageBox(MsgBoxType::OK, s_serial, s_text->localizedString());
    return TestResult::FAIL();
}

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    s_broken = DiagModule::createEvent("broken");
    s_text = DiagModule::createLocalizedString("Text.looking");
    DiagModule::createTest("report", DeviceCapability::Memory(), report);
    return DiagModule::start();
}
