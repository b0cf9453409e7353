#pragma once
// A host that keeps what a test sends, and asks for a stop after a number of polls.

#include <common/TestHost.h>

#include <limits>
#include <string>
#include <vector>

namespace krel5::modules::test {

struct RecordingHost : TestHost
{
    void progress(int percent) override { m_progress.push_back(percent); }
    bool stopRequested() override { return m_pollsBeforeStop <= 0 || m_pollsBeforeStop-- <= 0; }
    void fault(Fault const& found) override { m_faults.push_back(found); }
    void problem(Report const& report) override { m_problems.push_back(report); }
    void note(Report const& report) override { m_notes.push_back(report); }

    int m_pollsBeforeStop = std::numeric_limits<int>::max();
    std::vector<int> m_progress;
    std::vector<Fault> m_faults;
    std::vector<Report> m_problems;
    std::vector<Report> m_notes;
};

/// The value of a report's variable; "(none)" when it has no such variable.
inline std::string valueOf(Report const& report, std::string const& name)
{
    for (auto const& [key, value] : report.m_values) {
        if (key == name)
            return value;
    }
    return "(none)";
}

} // namespace krel5::modules::test
