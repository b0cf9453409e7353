#include <common/DiagHost.h>
#include <common/evidence/Events.h>
#include <krel5/DataType.h>
#include <krel5/DiagDevice.h>
#include <krel5/DiagModule.h>
#include <krel5/Event.h>
#include <krel5/LocalizedString.h>
#include <krel5/Parameter.h>
#include <krel5/Test.h>
#include <krel5/TestResult.h>
#include <krel5/Value.h>

namespace krel5::modules {
namespace {

TestResult resultOf(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Pass:
        return TestResult::PASS();
    case Outcome::Fail:
        return TestResult::FAIL();
    case Outcome::Stopped:
        return TestResult::USERABORTED();
    case Outcome::BadParameters:
        return TestResult::BADPARAMS();
    case Outcome::InsufficientPrivilege:
        return TestResult::INSUFFICIENTPRIVILEGE();
    case Outcome::CannotRun:
        return TestResult::CANNOTRUN();
    case Outcome::NotSupported:
        return TestResult::NOTSUPPORTED();
    case Outcome::NotApplicable:
        return TestResult::NOTAPPLICABLE();
    case Outcome::NoDevice:
        return TestResult::NODEVICE();
    case Outcome::NoMedia:
        return TestResult::NOMEDIA();
    }
    return TestResult::INTERNALERROR();
}

bool inFirstPass() { return DiagModule::getCurrentPass() <= 1; }

} // namespace

void DiagHost::createEvents(std::span<EventKey const> keys)
{
    for (EventKey const key : keys)
        m_events[key.text()] = DiagModule::createEvent(key.text());
}

void DiagHost::createTexts(std::span<LocalText const> texts)
{
    m_running = DiagModule::createLocalizedString("Text.Running", "Running: {Test}\n");
    for (LocalText const& text : texts)
        m_texts[text.m_key] = DiagModule::createLocalizedString(text.m_key, text.m_english);
}

std::string DiagHost::text(LocalText const& text, TextValues const& values)
{
    auto const found = m_texts.find(text.m_key);
    if (found == m_texts.end())
        return TestHost::text(text, values);
    for (auto const& [name, value] : values)
        found->second->setVariable(name.c_str(), Value(value.c_str()));
    return found->second->localizedString().getUTF8Buffer();
}

void DiagHost::watchEvidence(evidence::EvidenceRules const& rules, std::string const& root)
{
    createEvents(evidence::kEvents);
    m_correctedFails =
        DiagModule::createParameter("CorrectedErrorsFail", DataType::BOOLEAN(), "false", false, true);
    m_rules = rules;
    m_evidence.emplace(root);
}

TestResult DiagHost::run(DiagDevice const& device, std::function<Outcome(TestHost&)> const& check)
{
    m_device = device.osLocator().getUTF8Buffer();
    return run(check);
}

TestResult DiagHost::run(std::function<Outcome(TestHost&)> const& check)
{
    Test const* const test = DiagModule::getCurrentTest();
    m_notes.begin(inFirstPass());
    if (test && m_running && inFirstPass()) {
        m_running->setVariable("Test", Value(test->localizedName()));
        DiagModule::progress(m_running);
    }
    return resultOf(checkBetweenReadings(check));
}

Outcome DiagHost::checkBetweenReadings(std::function<Outcome(TestHost&)> const& check)
{
    std::string const device = std::exchange(m_device, {});
    if (!m_evidence)
        return check(*this);
    if (inFirstPass()) // a later one begins where the one before it was judged
        m_evidence->beginTest(device);
    Outcome const outcome = check(*this);
    m_rules.m_correctedFails = m_correctedFails->value().valueBool();
    return m_evidence->judge(*this, outcome, m_rules);
}

void DiagHost::progress(int percent) { DiagModule::percentDone(percent); }

bool DiagHost::stopRequested() { return DiagModule::checkForStop(); }

void DiagHost::fault(Fault const& fault)
{
    sendKeptNotes();
    Event const event = filled(fault);
    DiagModule::error(&event, fault.m_file, fault.m_line);
}

void DiagHost::warning(Report const& report)
{
    Event const event = filled(report);
    DiagModule::warning(&event, report.m_file, report.m_line);
}

void DiagHost::problem(Report const& report)
{
    sendKeptNotes();
    Event const event = filled(report);
    DiagModule::error(&event, report.m_file, report.m_line);
}

void DiagHost::note(Report const& report)
{
    if (m_notes.goesOut(report))
        signOfLife(report);
}

void DiagHost::signOfLife(Report const& report)
{
    Event const event = filled(report);
    DiagModule::informative(&event, report.m_file, report.m_line);
}

void DiagHost::sendKeptNotes()
{
    for (Report const& kept : m_notes.release())
        signOfLife(kept);
}

Event DiagHost::filled(Report const& report) const
{
    auto const found = m_events.find(report.m_eventKey.text());
    Event event = found != m_events.end() ? *found->second : Event(report.m_eventKey.text(), 0);
    for (auto const& [name, value] : report.m_values)
        event.setVariable(name.c_str(), Value(value.c_str()));
    return event;
}

} // namespace krel5::modules
