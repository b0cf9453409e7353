#include <libKrel5/internal/backends/console/CommStandAloneText.h>

#include <zel/model/texts/GlobalParameters.h>
#include <zel/model/texts/LocalizedResource.h>
#include <zel/model/values/LocalizedStringImp.h>

namespace krel5 {
namespace {

zel::String number(std::size_t value) { return zel::String::number(static_cast<std::uint64_t>(value)); }

zel::String faultText(char const* word, zel::TestRunEventImp const& event)
{
    bool const hasDevice = event.device().has_value();
    return zel::String(word) + " (" + event.eventCodeString() + ") : " + event.message().resolve() + "\n" +
           "     " + event.sourceFile().withoutControls(false) + "(" +
           zel::String::number(event.sourceLine()) + ")\n" + "     Device: " +
           (hasDevice ? event.device()->m_name.withoutControls(false) : zel::String("NULL")) + " : " +
           (hasDevice ? event.device()->m_description.withoutControls(false) : zel::String("NULL")) + "\n";
}

} // namespace

std::vector<zel::String> eventTexts(zel::TestRunEventImp const& event)
{
    std::vector<zel::String> texts;
    if (event.type() == zel::EventTypeImp::ERR())
        texts.push_back(faultText("Error", event));
    else if (event.type() == zel::EventTypeImp::WARNING())
        texts.push_back(faultText("Warning", event));
    else if (event.type() == zel::EventTypeImp::INFORMATIVE() ||
             event.type() == zel::EventTypeImp::PROGRESS())
        texts.push_back(shownText(event.message()));
    for (std::size_t i = 0; i < event.tipCount(); ++i)
        texts.push_back(zel::String("Tip(") + number(i) + "): " + event.tip(i).resolve());
    return texts;
}

zel::String shownText(zel::LocalizedStringImp const& text)
{
    bool const hasText = text.overrideText() || !text.defaultText().empty() ||
                         zel::LocalizedResource::find(text.moduleGuid(), text.key(),
                                                      zel::GlobalParameters::instance().language());
    return text.resolve() + (hasText ? "" : "\n");
}

zel::String alertText(zel::AlertImp const& alert)
{
    zel::String text = zel::String("Alert\n") + "  Key:     " + alert.key().withoutControls(false) + "\n" +
                       "  Type:    " + alert.type().toString() + "\n" +
                       "  Title:   " + alert.title().resolve() + "\n" +
                       "  Message: " + alert.message().resolve() + "\n";
    if (alert.tipCount() > 0)
        text += "  Tips: \n";
    for (std::size_t i = 0; i < alert.tipCount(); ++i)
        text += alert.tip(i).toString() + "\n";
    return text;
}

} // namespace krel5
