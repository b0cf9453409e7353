#pragma once

#include <zel/foundation/Export.h>

#include <atomic>

namespace zel {

/// Whether the other side of a link is there. Thread rule: any thread.
class ZEL_EXPORT IPCCommMgr
{
public:
    /// From a login that worked until the connection ends, by whichever side and for whatever reason.
    bool isRemoteRunning() const noexcept { return m_isRemoteRunning; }

private:
    friend class IPCClient;
    std::atomic<bool> m_isRemoteRunning{false};
};

} // namespace zel
