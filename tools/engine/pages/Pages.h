#pragma once
// A session as a page, for people and for other programs. Pure functions; each ends its text with a line end. Whatever
// stands in the report does no harm there: to a terminal, a browser or a parser.

#include <engine/report/Session.h>
#include <engine/report/linux/MachineStart.h>

#include <optional>
#include <string>

namespace engine {

/// What a person mails. `width` is that of the terminal; 0: as wide as it becomes. `now`: of the machine that the report
/// is of, if this is it.
std::string text(Session const& session, std::size_t width, std::optional<MachineStart> const& now = {});
/// One page that needs no other file and runs no script; well-formed as XML, too.
std::string html(Session const& session);
/// A test suite for each module, a test case for each run.
std::string junit(Session const& session);
/// One document: docs/report-format.md.
std::string json(Session const& session, std::optional<MachineStart> const& now = {});
/// Lines of the Open Compute Project's test output, schema 2.0.
std::string ocp(Session const& session);

// Parts of text(); `width` as there:

/// Module, test, device, result, time, note: a line for each run.
std::string resultTable(Session const& session, std::size_t width);
/// Of each run that a person must look at: its events, tips, what it said, and the command that makes it again.
std::string troubles(Session const& session, std::size_t width);
/// What could not be tested, or not even run, with the reasons.
std::string notTested(Session const& session, std::size_t width);
/// Alerts of watched modules, with tips, and what became of the modules.
std::string watchedNotes(Session const& session, std::size_t width);
/// What was read, least, most, last: a line for each reading.
std::string watchedTable(Session const& session, std::size_t width);
/// "Verdict: FAIL (1 FAIL, 3 PASS, 1 not run)".
std::string verdictLine(Session const& session, std::size_t width);

} // namespace engine
