#pragma once
// Runs the checking code of a shipped module under krel5::DiagModule.
//
//     static DiagHost s_host;
//     static TestResult quick(DiagDevice const&)
//     {
//         return s_host.run([](TestHost& host) { return check(host); });
//     }
//     ...
//     s_host.createEvents(kEvents); // before DiagModule::start()
//
// Thread rule: the module's main thread only.

#include <common/PassNotes.h>
#include <common/TestHost.h>

#include <common/evidence/EvidenceWatch.h>

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>

namespace krel5 {
class DiagDevice;
class Event;
class LocalizedString;
class Parameter;
class TestResult;
} // namespace krel5

namespace krel5::modules {

class DiagHost : public TestHost
{
public:
    /// The events that the checking code sends. A report whose event was not created here goes out all the
    /// same, as an event without a number: what was found counts for more than its form.
    void createEvents(std::span<EventKey const> keys);
    /// The pieces of text that reports are made of; one that was not created here stays English.
    void createTexts(std::span<LocalText const> texts);

    /// Before DiagModule::start(): from now on the machine's own counters are read before and after every pass of
    /// every test, what rose is told, and what could not be corrected is FAIL; see evidence/EvidenceWatch.h. Makes the
    /// events, and the module's parameter CorrectedErrorsFail. `root`: the folder that stands for the machine.
    void watchEvidence(evidence::EvidenceRules const& rules = {}, std::string const& root = "/");

    /// As below, of a test of that device: errors of the device, and of the bus on the way to it, count.
    TestResult run(DiagDevice const& device, std::function<Outcome(TestHost&)> const& check);
    /// Says which test runs, by its name in the person's language; then runs the check and says how it went
    /// in the library's terms. While a test is repeated for a minimum time, its name is said in the first
    /// pass only, its notes in that one and in each that finds a fault or a problem; everything else in each.
    virtual TestResult run(std::function<Outcome(TestHost&)> const& check);

    void progress(int percent) override;
    bool stopRequested() override;
    void fault(Fault const& fault) override;
    void warning(Report const& report) override;
    void problem(Report const& report) override;
    void note(Report const& report) override;
    void signOfLife(Report const& report) override;
    std::string text(LocalText const& text, TextValues const& values = {}) override;

private:
    Outcome checkBetweenReadings(std::function<Outcome(TestHost&)> const& check);
    Event filled(Report const& report) const;
    void sendKeptNotes();

    std::map<std::string, Event const*> m_events;    // the library's
    std::map<std::string, LocalizedString*> m_texts; // the library's
    LocalizedString* m_running = nullptr;            // the library's
    PassNotes m_notes;
    std::optional<evidence::EvidenceWatch> m_evidence;
    evidence::EvidenceRules m_rules;
    Parameter* m_correctedFails = nullptr; // the library's
    std::string m_device;                  // the osLocator of the one under test, where run() knows it
};

} // namespace krel5::modules
