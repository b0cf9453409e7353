#pragma once
// A host that keeps warnings by themselves, and the keys of all that it was told but for notes.

#include <modules/RecordingHost.h>

#include <string>
#include <vector>

namespace krel5::modules::test {

struct WarningHost : RecordingHost
{
    void warning(Report const& report) override { m_warnings.push_back(report); }
    std::vector<Report> m_warnings;
};

/// Faults, warnings, problems: "MemoryFault MemoryLow ".
inline std::string keysOf(WarningHost const& host)
{
    std::string keys;
    for (Fault const& one : host.m_faults)
        keys += std::string(one.m_eventKey.text()) + " ";
    for (auto const* const list : {&host.m_warnings, &host.m_problems})
        for (Report const& one : *list)
            keys += std::string(one.m_eventKey.text()) + " ";
    return keys;
}

} // namespace krel5::modules::test
