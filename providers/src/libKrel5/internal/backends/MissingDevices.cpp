#include <libKrel5/internal/backends/MissingDevices.h>

#include <libKrel5/internal/module/ErrorReporting.h>

#include <zel/enumerator/Enumerator.h>

namespace krel5 {

bool tellMissingDevices()
{
    auto const failures = zel::Enumerator::instance().failures();
    for (zel::RootFailure const& failure : failures)
        ErrorReporting::tell("Devices may be missing: " + zel::String(failure.toString()));
    return failures.empty();
}

} // namespace krel5
