#include <common/evidence/Shortage.h>

#include <common/ErrorText.h>
#include <common/evidence/Events.h>

namespace krel5::modules::evidence {

Outcome unlessShort(TestHost& host, MachineFolder const& machine, Outcome outcome)
{
    if (machine.shortage() == 0 || outcome == Outcome::Stopped || outcome == Outcome::Fail)
        return outcome;
    host.problem({kEventFilesUnread, {{"Reason", errorText(machine.shortage())}}});
    return Outcome::CannotRun;
}

} // namespace krel5::modules::evidence
