#pragma once
// Nothing that a module started outlives the engine's runs, as far as the kernel allows.

#include <zel/foundation/linux/FileDescriptor.h>

#include <set>
#include <sys/types.h>

namespace engine {

/// A small process of its own ends the modules' process groups when this one is gone, however it went: the kernel ends only
/// the modules themselves then. Beside that this process adopts what modules leave behind outside of their groups, to
/// end it. What left its group before an engine was killed is out of reach. Thread rule: the main thread's, one at a time.
class Keeper
{
public:
    /// Where there is no such process for want of memory, the groups are not kept.
    Keeper();
    ~Keeper();
    Keeper(Keeper const&) = delete;
    Keeper& operator=(Keeper const&) = delete;

    /// A module that leads a group of its own; at once after its start. Once more changes nothing.
    void watch(pid_t module);
    void forget(pid_t module); ///< it has ended, with its group
    /// What was adopted. REQUIRES: no module runs, since nobody can tell whose it is.
    void endOrphans() const;
    /// The process is not needed any more; it ends while this one does something else. REQUIRES: no module runs.
    void release() { m_pipe = zel::FileDescriptor(); }

private:
    void begin();
    void tell(pid_t number) const;

    zel::FileDescriptor m_pipe; // to the process
    bool m_hasBegun = false;
    pid_t m_process = -1;
    std::set<pid_t> m_others; // children that are no module's
};

} // namespace engine
