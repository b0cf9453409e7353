#include "StateDump.h"

#include <cstdio>

namespace zel::test {
namespace {

// A line with a name and facts; units beyond printable ASCII by their numbers.
class Line
{
public:
    explicit Line(char const* name) : m_text(name) {}
    Line& operator<<(String const& text)
    {
        m_text += " '";
        for (std::size_t i = 0; i < text.size(); ++i) {
            char unit[8];
            bool const isPlain = text[i] >= 0x20 && text[i] < 0x7F && text[i] != '\'';
            std::snprintf(unit, sizeof unit, isPlain ? "%c" : "{%04x}", static_cast<unsigned>(text[i]));
            m_text += unit;
        }
        m_text += "'";
        return *this;
    }
    Line& operator<<(std::integral auto number)
    {
        m_text += " " + std::to_string(number);
        return *this;
    }
    Line& operator<<(double number)
    {
        char text[40];
        std::snprintf(text, sizeof text, " %a", number);
        m_text += text;
        return *this;
    }
    Line& operator<<(Line const& inner)
    {
        m_text += "(" + inner.m_text + ")";
        return *this;
    }
    operator std::string() const { return m_text + "\n"; }

private:
    std::string m_text;
};

Line line(ZELValue const& value)
{
    Line line("value");
    line << value.type().toString();
    for (String const& text : value.texts())
        line << text;
    return line;
}

Line line(LocalizedStringImp const& text)
{
    Line line("text");
    line << text.key() << text.defaultText() << text.moduleGuid() << text.overrideText().has_value()
         << text.overrideText().value_or(String());
    for (auto const& [name, value] : text.variables())
        line << name << test::line(value);
    return line;
}

Line line(ParameterImp const& one)
{
    return Line("parameter") << one.key() << one.defaultText() << one.type().toString()
                             << one.validDataRange() << one.isRequired() << one.isGlobalParameter()
                             << one.declarationError() << one.moduleGuid() << one.parentKind()
                             << one.parentKey() << line(one.value().toZELValue())
                             << one.valueSource().toString();
}

Line line(TestRunEventImp const& event)
{
    Line line("event");
    line << event.type().toString() << event.key() << event.eventCode() << event.eventCodeString()
         << event.sourceFile() << event.sourceLine() << test::line(event.message())
         << event.device().has_value();
    if (event.device())
        line << event.device()->m_guid << event.device()->m_name << event.device()->m_description;
    for (std::size_t i = 0; i < event.tipCount(); ++i)
        line << test::line(event.tip(i));
    return line;
}

std::string dump(ModuleImp const& one)
{
    Line line("module");
    line << one.guid() << one.name() << one.type().toString() << one.version().majorVersion()
         << one.version().minorVersion() << one.version().revision() << one.buildDate()
         << one.supportedCapabilities().toString() << one.choosesOwnTests();
    for (String const& name : one.libraries())
        line << (Line("library") << name);
    for (String const& name : one.librariesList())
        line << (Line("localized") << name);
    for (auto const& requirement : one.enumerationRequirements())
        line << (Line("requires") << requirement.module << requirement.completion);
    return line;
}

Line line(PropertySpecImp const& one)
{
    Line line("specification");
    line << one.guid() << one.keyInModule() << one.category().toString() << one.type().toString()
         << one.deviceCapability().toString() << one.moduleGuid() << one.defaultName() << one.alias();
    if (one.group())
        line << test::line(*one.group());
    return line;
}

std::string dump(DeviceImp const& one, StateManager const& state)
{
    Line line("device");
    DeviceImp const* const parent = state.parentOf(one);
    line << one.guid() << (parent ? parent->guid() : String()) << one.name() << one.description()
         << one.osLocator() << one.hwLocator() << one.busClass().toString() << one.deviceType().toString()
         << one.deviceCapabilities().toString() << one.state().toString() << one.deviceID()
         << one.isComplete();
    for (String const& id : one.childBusIds())
        line << id;
    std::string text = line;
    for (std::size_t i = 0; i < one.propertyCount(); ++i) {
        PropertyImp const& property = one.getProperty(i);
        PropertyImp const* const group = one.groupOf(property);
        Line row("  property");
        row << property.key() << (group ? group->key() : String()) << property.specGuid()
            << property.isDiscoveredLater() << test::line(property.value().toZELValue())
            << test::line(*property.spec());
        for (String const& member : property.children())
            row << member;
        text += row;
    }
    return text;
}

Line functionLine(char const* kind, ModuleFunctionImp const& one)
{
    Line line(kind);
    line << one.guid() << one.keyInModule() << one.moduleGuid() << one.index()
         << one.deviceCapabilities().toString() << static_cast<int>(one.enabledInSettings())
         << one.isSwitchedOff() << one.switchedOffBy();
    for (auto const& error : one.settingsErrors())
        line << (Line("error") << error.m_file << error.m_line << error.m_key << error.m_reason
                               << error.m_parameter);
    for (ParameterImp const& parameter : one.parameters())
        line << test::line(parameter);
    return line;
}

std::string dump(TestImp const& one)
{
    auto const& flags = one.flags();
    Line line = functionLine("test", one);
    line << one.optionalDeviceCapabilities().toString() << flags.interactive << flags.createsOwnGui
         << flags.destructive << flags.supportsParallelTesting << flags.enumeratesOnlyOnce
         << flags.usesNoGlobalParameters << flags.minShutdownSeconds << one.forcedResult().has_value()
         << one.forcedResult().value_or(TestResultImp()).toString() << one.forcedEvent().has_value()
         << one.forcedEvent().value_or(String()) << one.getForceAllEvents();
    for (CapabilityImp const& capability : one.existenceRequirements())
        line << (Line("exists") << capability.toString());
    for (CapabilityImp const& capability : one.absenceRequirements())
        line << (Line("absent") << capability.toString());
    for (DeviceRequirement const& requirement : one.propertyRequirements())
        line << (Line("needs") << requirement.propertyKey << requirement.validRange << requirement.exclusion);
    for (String const& forcing : one.forcingLines())
        line << (Line("forcing") << forcing);
    return line;
}

std::string dump(IndicatorImp const& one)
{
    auto const& flags = one.flags();
    return functionLine("indicator", one)
           << one.isFree() << flags.destructive << flags.enumeratesOnlyOnce << flags.minShutdownSeconds;
}

std::string dump(TestRunImp const& run)
{
    Line line("testRun");
    line << run.guid() << run.testGuidOrKey() << run.deviceGuid() << (run.test() != nullptr)
         << (run.device() != nullptr) << run.currentPass() << run.state().toString() << run.percentComplete()
         << run.estimatedTimeLeft() << run.progressInformation() << run.minTime() << run.beginningTime()
         << run.isInterrupted() << run.hasErrors() << run.result().toString() << run.resultNote();
    for (auto const& one : run.givenParameters())
        line << one.key << test::line(one.value.toZELValue()) << one.source.toString();
    for (ParameterImp const& parameter : run.parameters())
        line << test::line(parameter);
    for (TestRunEventImp const& event : run.events())
        line << test::line(event);
    return line;
}

// The clock goes on meanwhile; whole minutes do not show it.
std::string dump(IndicatorRunImp const& run)
{
    return Line("indicatorRun") << run.indicatorGuidOrKey() << run.deviceGuid() << run.isBound()
                                << run.updateInterval() << static_cast<int>(run.elapsedSinceLastCall() / 60)
                                << run.hasBeenCalled() << run.hasUpdateBeenForced() << run.hasEnded();
}

std::string dump(AlertImp const& alert)
{
    Line line("alert");
    line << alert.guid() << alert.hasOwnGuid() << alert.key() << alert.moduleGuid() << alert.deviceGuid()
         << alert.type().toString() << alert.timeTriggered() << test::line(alert.title())
         << test::line(alert.message());
    for (std::size_t i = 0; i < alert.tipCount(); ++i) {
        TipImp const& tip = alert.tip(i);
        line << tip.key() << tip.type().toString() << test::line(tip.title()) << test::line(tip.content())
             << test::line(tip.contentEx());
    }
    return line;
}

template <typename Left, typename Right>
std::string dumpTies(char const* name, Left const& left, std::vector<Right*> const& rights)
{
    std::string text;
    for (Right const* right : rights)
        text += Line(name) << left.guid() << right->guid();
    return text;
}

} // namespace

std::string dump(TestRunEventImp const& event) { return line(event); }

std::string dump(MessageBoxImp const& box)
{
    auto const& look = box.appearance();
    Line line("messageBox");
    line << box.title() << box.text() << static_cast<int>(look.type) << static_cast<int>(look.look)
         << static_cast<int>(look.surface) << box.defaultIndex() << box.cancelIndex() << box.answer()
         << box.hasAnswer() << box.wasCutShort() << box.words().warning << box.words().error
         << box.words().defaultMark << box.words().again;
    for (auto const& answer : box.answers())
        line << answer.code << answer.text << answer.english;
    return line;
}

std::string dump(StateManager const& state)
{
    std::string text;
    for (ModuleImp const* one = state.nextModule(nullptr); one; one = state.nextModule(one)) {
        text += dump(*one);
        text += dumpTies("module-test", *one, state.testsOf(*one));
        text += dumpTies("module-indicator", *one, state.indicatorsOf(*one));
        text += dumpTies("module-device", *one, state.devicesOf(*one));
    }
    for (std::size_t i = 0; i < state.propertySpecCount(); ++i)
        text += line(*state.propertySpecAtIndex(i));
    for (std::size_t i = 0; i < state.deviceCount(); ++i) {
        DeviceImp const& one = *state.deviceAtIndex(i);
        text += dump(one, state);
        text += dumpTies("device-child", one, state.childrenOf(one));
        text += dumpTies("device-test", one, state.testsOf(one));
        text += dumpTies("device-indicator", one, state.indicatorsOf(one));
    }
    for (std::size_t i = 0; i < state.testCount(); ++i)
        text += dump(*state.testAtIndex(i));
    for (std::size_t i = 0; i < state.indicatorCount(); ++i)
        text += dump(*state.indicatorAtIndex(i));
    for (std::size_t i = 0; i < state.testRunCount(); ++i)
        text += dump(state.testRunAtIndex(i));
    for (std::size_t i = 0; i < state.indicatorRunCount(); ++i)
        text += dump(state.indicatorRunAtIndex(i));
    for (std::size_t i = 0; i < state.alertCount(); ++i)
        text += dump(*state.alertAtIndex(i));
    return text;
}

} // namespace zel::test
