// Questions of a running test to the person.
#include <krel5/DiagModule.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/internal/runs/PromptSwitches.h>
#include <libKrel5/internal/runs/QuestionTexts.h>

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
    zel::MessageBoxImp::Type record;
    std::vector<MsgBoxReturn> answers; // in the order shown
    std::size_t cancel;                // the answer of someone who wants out
};

BoxRow const& boxRow(MsgBoxType type)
{
    using enum MsgBoxReturn;
    using Type = zel::MessageBoxImp::Type;
    static auto const* const s_rows = new std::vector<BoxRow>{
        {MsgBoxType::OK, Type::Ok, {OK}, 0},
        {MsgBoxType::OKCANCEL, Type::OkCancel, {OK, CANCEL}, 1},
        {MsgBoxType::YESNO, Type::YesNo, {YES, NO}, 1},
        {MsgBoxType::YESNOCANCEL, Type::YesNoCancel, {YES, NO, CANCEL}, 2},
        {MsgBoxType::RETRYCANCEL, Type::RetryCancel, {RETRY, CANCEL}, 1},
        {MsgBoxType::ABORTRETRYIGNORE, Type::AbortRetryIgnore, {ABORT, RETRY, IGNORE}, 0},
    };
    auto const found =
        std::find_if(s_rows->begin(), s_rows->end(), [type](BoxRow const& row) { return row.type == type; });
    requireArgument(found != s_rows->end(), "MsgBoxType", "DiagModule::createMessageBox(...)");
    return *found;
}

zel::MessageBoxImp::Look look(LookAndFeel lookAndFeel)
{
    using enum zel::MessageBoxImp::Look;
    switch (lookAndFeel) {
    case LookAndFeel::INFORMATION:
        return Information;
    case LookAndFeel::QUESTION:
        return Question;
    case LookAndFeel::WARNING:
        return Warning;
    case LookAndFeel::ERR:
        return Error;
    }
    return Question;
}

zel::MessageBoxImp makeBox(MsgBoxType type, KrelString const& title, KrelString const& text,
                           MsgBoxOption option, zel::MessageBoxImp::Appearance appearance)
{
    BoxRow const& row = boxRow(type);
    std::vector<zel::MessageBoxImp::Answer> answers;
    for (MsgBoxReturn const answer : row.answers)
        answers.push_back(
            {static_cast<int>(answer), QuestionTexts::answer(answer), QuestionTexts::english(answer)});
    appearance.type = row.record;
    zel::MessageBoxImp box(title.zelString(), text.zelString(), std::move(answers),
                           static_cast<std::size_t>(option), row.cancel, appearance);
    box.setWords(QuestionTexts::words());
    return box;
}

void takeDefault(zel::MessageBoxImp& box)
{
    box.setAnswer(box.defaultCode());
    zel::String const text = "Question \"" + box.englishHeading().withoutControls(false) +
                             "\": nobody can be asked; the default answer \"" +
                             box.englishOf(box.defaultCode()) + "\" is taken";
    ZEL_LOG(logger(), zel::LogLevel::Warning) << text;
    ErrorReporting::tell(text);
}

// Gets the box its answer, from the person or in place of one.
void ask(CommInterface& comm, zel::MessageBoxImp& box, bool mayAsk)
{
    if (DiagModule::checkForStop()) // who wants out is not asked first
        return box.cutShort();
    if (mayAsk)
        comm.sendMessageBox(box);
    if (!box.hasAnswer())
        takeDefault(box);
}

} // namespace

MsgBoxReturn DiagModule::createMessageBox(MsgBoxType type, KrelString const& title, KrelString const& text,
                                          MsgBoxOption option, LookAndFeel lookAndFeel, void* parent,
                                          MsgBoxCallback shown)
{
    ZEL_LOG(logger(), zel::LogLevel::Debug)
        << "createMessageBox: DiagModule::s_bGUIPromptSupported is " << (s_bGUIPromptSupported ? 1 : 0);
    zel::TestRunImp* run = nullptr; // the one that asks; a thread of the test may outlive it
    {
        zel::AutoMutex const guard(libraryMutex());
        run = s_testRunImp;
        s_msgBoxCallback = shown;
    }
    if (!run)
        throw KrelException("Invalid KREL state for message box");
    auto const surface =
        PromptSwitches{s_bPromptEnable, s_bGUIPromptSupported, s_bAlwaysUseGUIPrompt}.surface();
    zel::MessageBoxImp box = makeBox(type, title, text, option,
                                     {.look = look(lookAndFeel),
                                      .surface = surface.value_or(zel::MessageBoxImp::Surface::Text),
                                      .parent = parent});
    if (shown && run->device())
        shown(DiagDevice(run->device()));
    ask(*ModuleCommon::comm(), box, surface.has_value()); // who runs has one
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
