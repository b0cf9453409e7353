#pragma once
// krel5-engine report, krel5-engine last.

#include <string>

namespace engine {

struct ReportRequest
{
    std::string file;        ///< "-": standard input
    std::string to = "text"; ///< a word of pageForms()
    std::string output;      ///< file, replaced where it is there; empty: standard output
};

/// "text, html, junit, json, ocp".
std::string pageForms();
/// Throws zel::InvalidArgumentException for a form that is none, zel::ParseException and zel::SystemException, each with a
/// message that says all. Exit status: 0, or 22 for a report that is damaged, which is told, or a full disk.
int writeReport(ReportRequest const& request);

/// Says what became of the newest report of the user; its exit status is 0 also for one that holds a FAIL, 22 where there
/// is none. Throws as writeReport.
int showLast(bool asJson);

} // namespace engine
