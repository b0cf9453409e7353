#include <engine/pages/Pages.h>
#include <engine/pages/Words.h>
#include <engine/report/UtcTime.h>

#include <listing/forms/Listing.h>

#include <zel/foundation/XmlDocument.h>

#include <cstdio>
#include <map>

namespace engine {

using zel::XmlElement;

namespace {

std::string decimal(double seconds)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", seconds);
    return text;
}

std::string lines(std::string const& text) { return zel::String(text).withoutControls(true).toUtf8(); }

// Everything a person needs who sees nothing but this.
std::string details(RunReport const& run)
{
    std::string out;
    if (run.ended && !run.ended->note.empty())
        out += run.ended->note + "\n";
    for (RunEvent const& event : run.events) {
        out += kindOf(event) + ": " + event.message + "\n";
        for (std::string const& tip : event.tips)
            out += "    Tip: " + tip + "\n";
    }
    out += endOf(run).empty() ? "" : "The module: " + endOf(run) + "\n";
    return lines(out + (run.began.again.empty() ? "" : "Again: " + run.began.again + "\n"));
}

// Null: it passed.
char const* outcomeOf(Grade grade)
{
    switch (grade) {
    case Grade::Passed:
        return nullptr;
    case Grade::NotTested:
        return "skipped";
    case Grade::Warned:
    case Grade::Failed:
        return "failure";
    case Grade::Stopped:
    case Grade::Broken:
        return "error";
    }
    return "error";
}

class Suite
{
public:
    Suite(std::string const& name, Session const& session)
        : m_name(listing::harmless(name)), m_session(session)
    {}

    void add(RunReport const& run)
    {
        XmlElement& testCase = begin(testName(run.began), deviceName(run.began.device));
        double const seconds = m_session.secondsOf(run);
        testCase.attributes.emplace_back("time", decimal(seconds));
        m_seconds += seconds;
        std::string const result = m_session.resultOf(run);
        if (char const* const outcome = outcomeOf(m_session.gradeOf(run))) {
            std::string const note = noteOf(m_session, run);
            end(testCase, outcome, result, result + (note.empty() ? "" : ": " + note), details(run));
        }
        if (run.ended && !(run.ended->output + run.ended->logTail).empty())
            testCase.children.push_back(
                {"system-out", {}, lines(run.ended->output + run.ended->logTail), {}});
    }
    void add(RunSkipped const& skipped)
    {
        XmlElement& testCase = begin(skipped.test.empty() ? "*" : skipped.test, skipped.deviceName);
        testCase.attributes.emplace_back("time", decimal(0));
        end(testCase, "skipped", skipped.result, skipped.result + ": " + skipped.reason, "");
    }

    XmlElement take(int id)
    {
        XmlElement suite{"testsuite", {}, {}, std::move(m_cases)};
        std::string const time = utcText(m_session.began.time).substr(0, 19); // its type has no zone
        std::string const host = listing::harmless(m_session.began.hostname);
        suite.attributes = {{"name", m_name},
                            {"id", std::to_string(id)},
                            {"tests", std::to_string(suite.children.size())},
                            {"failures", std::to_string(m_counts["failure"])},
                            {"errors", std::to_string(m_counts["error"])},
                            {"skipped", std::to_string(m_counts["skipped"])},
                            {"time", decimal(m_seconds)},
                            {"timestamp", time},
                            {"hostname", host.empty() ? "localhost" : host}};
        return suite;
    }
    std::map<std::string, std::size_t> const& outcomes() const { return m_counts; }

private:
    XmlElement& begin(std::string const& test, std::string const& device)
    {
        std::string name = listing::harmless(test + (device.empty() ? "" : " [" + device + "]"));
        std::size_t const count = ++m_names[name];
        if (count > 1)
            name += " (" + std::to_string(count) + ")"; // readers keep one of each name
        m_cases.push_back({"testcase", {{"classname", m_name}, {"name", name}}, {}, {}});
        return m_cases.back();
    }
    void end(XmlElement& testCase, char const* outcome, std::string const& type, std::string const& message,
             std::string const& text)
    {
        ++m_counts[outcome];
        XmlElement element{outcome, {{"message", listing::harmless(message)}}, text, {}};
        if (std::string(outcome) != "skipped")
            element.attributes.emplace_back("type", listing::harmless(type));
        testCase.children.push_back(std::move(element));
    }

    std::string m_name;
    Session const& m_session;
    std::vector<XmlElement> m_cases;
    std::map<std::string, std::size_t> m_names, m_counts;
    double m_seconds = 0;
};

} // namespace

std::string junit(Session const& session)
{
    std::vector<std::pair<std::string, Suite>> suites; // in the order of the runs
    auto const suiteOf = [&](std::string const& module) -> Suite& {
        for (auto& [name, suite] : suites)
            if (name == module)
                return suite;
        return suites.emplace_back(module, Suite(module, session)).second;
    };
    for (RunReport const& run : session.runs)
        suiteOf(moduleName(run.began)).add(run);
    for (RunSkipped const& one : session.skipped)
        suiteOf(moduleName(session, one.moduleGuid)).add(one);
    if (session.stage() != Stage::Ended) // a session without its end is no success, whatever its runs say
        suiteOf("krel5-engine")
            .add(RunReport{
                RunBegan{session.began.time, 0, {}, {}, {}, "session", "Session", {}, {}, false, 0, 0, {}},
                {},
                0,
                {},
                {},
                {}});

    XmlElement root{"testsuites", {{"name", "krel5-engine"}, {"time", decimal(session.seconds())}}, {}, {}};
    for (auto& [name, suite] : suites)
        root.children.push_back(suite.take(static_cast<int>(root.children.size())));
    return zel::XmlDocument::print(root);
}

} // namespace engine
