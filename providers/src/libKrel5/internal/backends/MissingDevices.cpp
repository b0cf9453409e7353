#include <libKrel5/internal/backends/MissingDevices.h>

#include <libKrel5/internal/module/ErrorReporting.h>

#include <zel/enumerator/Enumerator.h>

#include <algorithm>

namespace krel5 {

bool tellMissingDevices()
{
    auto const failures = zel::Enumerator::instance().failures();
    for (zel::RootFailure const& failure : failures)
        ErrorReporting::tell("Devices may be missing: " + zel::String(failure.toString()));
    for (zel::TableDamage const& damage : zel::Enumerator::instance().tableDamages())
        ErrorReporting::tell(
            (damage.missing.isEmpty() ? "Not everything is known: " : "Devices may be missing: ") +
            damage.what);
    return failures.empty();
}

bool mayMissTestedDevices()
{
    zel::Enumerator const& enumerator = zel::Enumerator::instance();
    auto const damages = enumerator.tableDamages();
    return !enumerator.failures().empty() ||
           std::any_of(damages.begin(), damages.end(),
                       [](zel::TableDamage const& damage) { return !damage.missing.isEmpty(); });
}

} // namespace krel5
