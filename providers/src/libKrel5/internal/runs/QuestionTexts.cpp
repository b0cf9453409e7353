#include <libKrel5/internal/runs/QuestionTexts.h>

#include <libKrel5/basics/ModuleIdentity.h>

#include <zel/model/texts/GlobalParameters.h>
#include <zel/model/texts/LocalizedResource.h>

namespace krel5 {
namespace {

/// A key of the text files, and what shows where they have nothing for it.
struct Row
{
    char const* key;
    char const* english;
    char const* german;
};

constexpr Row kWarning{"Question.Warning", "Warning", "Warnung"};
constexpr Row kError{"Question.Error", "Error", "Fehler"};
constexpr Row kDefaultMark{"Question.Default", "(default)", "(Vorgabe)"};
constexpr Row kAgain{"Question.Again", "Please type one of the numbers or answers above.",
                     "Bitte eine der Nummern oder Antworten oben eingeben."};

Row row(MsgBoxReturn answer)
{
    switch (answer) {
    case MsgBoxReturn::OK:
        return {"Question.OK", "OK", "OK"};
    case MsgBoxReturn::CANCEL:
        return {"Question.Cancel", "Cancel", "Abbrechen"};
    case MsgBoxReturn::YES:
        return {"Question.Yes", "Yes", "Ja"};
    case MsgBoxReturn::NO:
        return {"Question.No", "No", "Nein"};
    case MsgBoxReturn::RETRY:
        return {"Question.Retry", "Retry", "Wiederholen"};
    case MsgBoxReturn::ABORT:
        return {"Question.Abort", "Abort", "Abbrechen"};
    case MsgBoxReturn::IGNORE:
        return {"Question.Ignore", "Ignore", "Ignorieren"};
    }
    return {"", "", ""};
}

zel::String shown(Row const& row)
{
    zel::String const& guid = ModuleIdentity::guid();
    zel::LanguageImp const language = zel::GlobalParameters::instance().language();
    if (auto text = zel::LocalizedResource::findInLanguage(guid, row.key, language))
        return *text;
    if (language == zel::LanguageImp::de())
        return row.german;
    return zel::LocalizedResource::find(guid, row.key, language).value_or(row.english);
}

} // namespace

zel::String QuestionTexts::answer(MsgBoxReturn answer) { return shown(row(answer)); }

zel::String QuestionTexts::english(MsgBoxReturn answer) { return row(answer).english; }

zel::MessageBoxImp::Words QuestionTexts::words()
{
    return {shown(kWarning), shown(kError), shown(kDefaultMark), shown(kAgain)};
}

} // namespace krel5
