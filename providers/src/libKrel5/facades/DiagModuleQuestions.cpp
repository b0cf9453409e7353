// Questions of a running test to the person.
#include <krel5/DiagModule.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/DiagDevice.h>
#include <krel5/KrelException.h>

#include <zel/foundation/Logger.h>
#include <zel/model/runs/MessageBoxImp.h>
#include <zel/model/runs/TestRunImp.h>

#include <algorithm>
#include <vector>

namespace krel5 {

namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.DiagModule");
    return s_logger;
}

struct BoxRow
{
    MsgBoxType type;
    std::vector<MsgBoxReturn> answers; // in the order shown
    std::size_t cancel;                // the answer of someone who wants out
};

BoxRow const& boxRow(MsgBoxType type)
{
    using enum MsgBoxReturn;
    static auto const* const s_rows = new std::vector<BoxRow>{
        {MsgBoxType::OK, {OK}, 0},
        {MsgBoxType::OKCANCEL, {OK, CANCEL}, 1},
        {MsgBoxType::YESNO, {YES, NO}, 1},
        {MsgBoxType::YESNOCANCEL, {YES, NO, CANCEL}, 2},
        {MsgBoxType::RETRYCANCEL, {RETRY, CANCEL}, 1},
        {MsgBoxType::ABORTRETRYIGNORE, {ABORT, RETRY, IGNORE}, 0},
    };
    auto const found =
        std::find_if(s_rows->begin(), s_rows->end(), [type](BoxRow const& row) { return row.type == type; });
    requireArgument(found != s_rows->end(), "MsgBoxType", "DiagModule::createMessageBox(...)");
    return *found;
}

char const* answerText(MsgBoxReturn answer)
{
    switch (answer) {
    case MsgBoxReturn::OK:
        return "OK";
    case MsgBoxReturn::CANCEL:
        return "Cancel";
    case MsgBoxReturn::YES:
        return "Yes";
    case MsgBoxReturn::NO:
        return "No";
    case MsgBoxReturn::RETRY:
        return "Retry";
    case MsgBoxReturn::ABORT:
        return "Abort";
    case MsgBoxReturn::IGNORE:
        return "Ignore";
    }
    return "";
}

char const* prefix(LookAndFeel lookAndFeel)
{
    switch (lookAndFeel) {
    case LookAndFeel::INFORMATION:
    case LookAndFeel::QUESTION:
        return "";
    case LookAndFeel::WARNING:
        return "Warning: ";
    case LookAndFeel::ERR:
        return "Error: ";
    }
    return "";
}

} // namespace

MsgBoxReturn DiagModule::createMessageBox(MsgBoxType type, KrelString const& title, KrelString const& text,
                                          MsgBoxOption option, LookAndFeel lookAndFeel, void*,
                                          MsgBoxCallback shown)
{
    ZEL_LOG(logger(), zel::LogLevel::Debug)
        << "createMessageBox: DiagModule::s_bGUIPromptSupported is " << (s_bGUIPromptSupported ? 1 : 0);
    zel::TestRunImp* run = nullptr; // the one that asks; a thread of the test may outlive it
    CommInterface* const comm = ModuleCommon::comm();
    {
        zel::AutoMutex const guard(libraryMutex());
        run = s_testRunImp;
    }
    if (!run || !comm)
        throw KrelException("Invalid KREL state for message box");
    BoxRow const& row = boxRow(type);
    std::vector<zel::MessageBoxImp::Answer> answers;
    for (MsgBoxReturn const answer : row.answers)
        answers.push_back({static_cast<int>(answer), answerText(answer)});
    zel::MessageBoxImp box(zel::String(prefix(lookAndFeel)) + title.zelString(), text.zelString(),
                           std::move(answers), static_cast<std::size_t>(option), row.cancel);
    s_msgBoxCallback = shown;
    if (s_msgBoxCallback && run->device())
        s_msgBoxCallback(DiagDevice(run->device()));
    comm->sendMessageBox(box);
    // Who may only press OK has no answer that could be misread.
    if (box.wasCutShort() && box.answers().size() > 1) {
        zel::AutoMutex const guard(libraryMutex());
        if (s_testRunImp == run)
            run->interrupt();
    }
    return static_cast<MsgBoxReturn>(box.answer());
}

bool DiagModule::promptEnabled() { return s_bPromptEnable; }
bool DiagModule::GUIPromptSupported() { return s_bGUIPromptSupported; }

} // namespace krel5
