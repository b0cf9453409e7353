#pragma once
// A host that keeps what a check says, each report as its key and its "Name=value" pairs.

#include <common/TestHost.h>

#include <limits>

namespace krel5::modules {

struct ReportLog : TestHost
{
    int m_percent = -1; ///< the last one
    std::vector<std::string> m_faults, m_warnings, m_problems, m_notes;
    std::vector<std::string> m_signsOfLife; ///< in m_notes as well
    /// Questions for a stop that are answered no, before the first yes.
    int m_stopAfterQuestions = std::numeric_limits<int>::max();

    void progress(int percent) override { m_percent = percent; }
    bool stopRequested() override { return m_stopAfterQuestions == 0 || --m_stopAfterQuestions < 0; }
    void fault(Fault const& report) override { m_faults.push_back(lineOf(report)); }
    void warning(Report const& report) override { m_warnings.push_back(lineOf(report)); }
    void problem(Report const& report) override { m_problems.push_back(lineOf(report)); }
    void note(Report const& report) override { m_notes.push_back(lineOf(report)); }
    void signOfLife(Report const& report) override
    {
        note(report);
        m_signsOfLife.push_back(m_notes.back());
    }

private:
    static std::string lineOf(Report const& report)
    {
        std::string out = report.m_eventKey.text();
        for (auto const& [name, value] : report.m_values)
            out += " " + name + "=" + value;
        return out;
    }
};

} // namespace krel5::modules
