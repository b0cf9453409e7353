#include <libKrel5/internal/backends/StopRequest.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <zel/foundation/StopSignal.h>

#include <atomic>

namespace krel5 {

static std::atomic<bool> s_made{false};

bool StopRequest::isMade()
{
    if (s_made || zel::StopSignal::requested())
        return true;
    zel::AutoMutex const guard(libraryMutex()); // a backend is asked by one thread at a time
    CommInterface* const comm = ModuleCommon::comm();
    if (comm && comm->receiveStopMessage())
        s_made = true;
    return s_made;
}

void StopRequest::make() { s_made = true; }

} // namespace krel5
