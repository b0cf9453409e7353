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

#include <functional>
#include <map>
#include <span>
#include <string>

namespace krel5 {
class Event;
class LocalizedString;
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
    Event filled(Report const& report) const;
    void sendKeptNotes();

    std::map<std::string, Event const*> m_events;    // the library's
    std::map<std::string, LocalizedString*> m_texts; // the library's
    LocalizedString* m_running = nullptr;            // the library's
    PassNotes m_notes;
};

} // namespace krel5::modules
