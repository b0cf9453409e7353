#pragma once
// A process without descriptors or memory left sees no file, and a test that takes this for a device that is gone accuses a sound
// part, or passes what it did not see.
//
//     return unlessShort(host, machine, runBusTest(host, machine, ...));
//
// Thread rule: as for TestHost.

#include <common/TestHost.h>
#include <common/evidence/MachineFolder.h>

namespace krel5::modules::evidence {

/// For a test that rests on files of the machine: where some could not be opened for want of descriptors or memory, the problem
/// "EvidenceFilesUnread" (Reason) and CannotRun. A test that was stopped stays so, and one that failed: tests lay nothing at
/// a part's door once `machine.shortage()` says something.
Outcome unlessShort(TestHost& host, MachineFolder const& machine, Outcome outcome);

} // namespace krel5::modules::evidence
