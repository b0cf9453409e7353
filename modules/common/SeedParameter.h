#pragma once
// The parameter "Seed" of a test that draws random numbers: who sets it repeats a run, and all its passes.
//
//     Parameter* const seed = createSeedParameter();     // before DiagModule::start()
//     ...
//     options.m_seed = seedOfRun(*seed);
//
// Thread rule: the module's main thread only.

#include <common/RandomSeed.h>
#include <krel5/DataType.h>
#include <krel5/DiagModule.h>
#include <krel5/Parameter.h>
#include <krel5/Value.h>

#include <optional>

namespace krel5::modules {

inline Parameter* createSeedParameter()
{
    return DiagModule::createParameter("Seed", DataType::UINT64(), "", false);
}

/// For the pass that runs.
inline std::optional<std::uint64_t> seedThatWasSet(Parameter const& parameter)
{
    Value seed{DataType::UINT64()};
    if (!parameter.value(seed))
        return std::nullopt;
    return seedOfPass(seed.valueUint64(), DiagModule::getCurrentPass());
}

/// A new one for each pass of a run that was not given any.
inline std::uint64_t seedOfRun(Parameter const& parameter)
{
    auto const given = seedThatWasSet(parameter);
    return given ? *given : randomSeed();
}

} // namespace krel5::modules
