#pragma once
// Cores for tests of what runs on cores.

#include <cpu/CoreTest.h>

#include <cerrno>
#include <cstdint>
#include <vector>

namespace krel5::modules::cpu {

inline thread_local unsigned t_core = 0;
inline thread_local std::uint64_t t_loads = 0; ///< for taps that count

/// Cores that exist on paper only: a pinned thread knows its number and runs wherever the system lets it.
struct PaperCores : CpuAffinity
{
    std::vector<unsigned> m_cores;
    unsigned m_refused = ~0u;
    std::size_t m_online = 0;

    explicit PaperCores(std::vector<unsigned> cores) : m_cores(std::move(cores)) {}
    std::vector<unsigned> usable() override { return m_cores; }
    std::size_t online() override { return m_online; }
    int pin(unsigned core) override
    {
        t_core = core;
        t_loads = 0;
        return core == m_refused ? EINVAL : 0;
    }
};

inline CoreTestOptions onePass(bool allAtOnce) { return {0.0, 41, allAtOnce}; }

} // namespace krel5::modules::cpu
