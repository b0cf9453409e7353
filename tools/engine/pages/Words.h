#pragma once
// Sentences about a session that several pages say. Texts are UTF-8 as they came: the page makes them harmless.

#include <engine/report/Session.h>
#include <engine/report/linux/MachineStart.h>

#include <optional>
#include <string>
#include <vector>

namespace engine {

/// Of a session that did not end: which test was running on which device, how far, since when; and, where the start of
/// the machine is given, whether it went down. Empty for others.
std::vector<std::string> interruption(Session const& session, std::optional<MachineStart> const& now);
/// "storage: Read all blocks on ACME Drive (/dev/sda)".
std::string runTitle(RunBegan const& run);
/// What a table has room for: why, the first error, how many passes.
std::string noteOf(Session const& session, RunReport const& run);
/// "1 FAIL, 3 PASS, 1 not run".
std::string counts(Session const& session);
/// "40 % (pass 3)"; empty when nothing was heard.
std::string progressOf(RunReport const& run);
/// What is wrong with the report itself, a sentence each.
std::vector<std::string> damageOf(Session const& session);
/// "Error 17", "Warning": kind and code of an event.
std::string kindOf(RunEvent const& event);
/// "exit status 23", "killed by SIGSEGV"; empty for a run of which that is not known.
std::string endOf(RunReport const& run);
bool isError(RunEvent const& event);

/// "Gauge 1 is hot (Gauge 1): It is 90 degrees": what a watched module raised, or what became of it.
std::string sentenceOf(Session const& session, WatchNote const& note);
/// Whether a person wants to read it: what came, and not that it went.
bool isTrouble(WatchNote const& note);

/// Whether a person must look at the run: all but what passed, or does not apply.
bool isTrouble(Session const& session, RunReport const& run);

} // namespace engine
