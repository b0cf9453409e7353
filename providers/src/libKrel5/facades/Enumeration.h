#pragma once
// The action of a system-information module.

#include <krel5/TestResult.h>

namespace krel5 {

class CommInterface;

struct Enumeration
{
    /// Gets the devices that are known already, calls `discover` to find more, applies the overrides of the
    /// settings file, and reports all of them. CANNOTRUN without a connection, when the enumerator, if it was
    /// asked, could not look everywhere, and when who must confirm the list does not; USERABORTED when somebody
    /// asked to stop: who does so waits for no list. Otherwise PASS. Main thread.
    static TestResult run(CommInterface& comm, void (*discover)());
};

} // namespace krel5
