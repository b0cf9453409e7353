#include <libKrel5/objects/UpdateInterval.h>

#include <libKrel5/basics/LibraryMutex.h>

namespace krel5 {

// Global, since it is the whole module's: one line in the settings file serves every indicator.
zel::ParameterImp& updateIntervalParameter()
{
    zel::AutoMutex const guard(libraryMutex());
    static auto* const s_parameter =
        new zel::ParameterImp("UpdateIntervalInSeconds", "5", zel::DataTypeImp::DOUBLE(), "0..", false, true);
    return *s_parameter;
}

double updateInterval()
{
    zel::AutoMutex const guard(libraryMutex());
    return updateIntervalParameter().value().doubleValue();
}

} // namespace krel5
