#pragma once
// What a processor must offer beyond its base instruction set. A row of the table is one bit of `cpuid` and the
// name that the kernel gives it in /proc/cpuinfo; a feature is there if all its rows are, and if the system
// saves the registers that they need.
//
// Thread rule: no state; any thread at any time.

#include <cstdint>
#include <span>

namespace krel5::modules::cpu {

enum class CpuFeature {
    None,
    Ssse3,
    Sse42,
    Popcnt,
    CompareExchange16,
    Bmi,
    Adx,
    Aes,
    Carryless,
    Sha,
    F16c,
    Avx2Fma,
    AvxVnni,
    Avx512,
    Avx512Bw,
    Avx512Dq,
    Avx512Vbmi,
    Avx512Vnni,
    Avx512Bf16,
    Avx512Fp16,
    AmxInt8,
    AmxBf16,
};

/// Where `cpuid` tells of a feature: leaf, sub-leaf, register (0 to 3: a to d), bit.
struct CpuFeatureRow
{
    CpuFeature m_feature;
    unsigned m_leaf, m_subleaf, m_register, m_bit;
    std::uint64_t m_state; ///< bits of XCR0 for the registers it needs; 0: none beyond the base
    char const* m_flag;    ///< in /proc/cpuinfo
};

std::span<CpuFeatureRow const> cpuFeatureRows() noexcept;

/// False on every other architecture but x86-64 for all but None. The matrix unit's registers are asked of the
/// system once per process; refused, there is no such feature.
bool hasFeature(CpuFeature feature) noexcept;

/// Asks the system to let this process use the registers of the matrix unit. False: it refuses, or knows none.
bool requestMatrixState() noexcept;

} // namespace krel5::modules::cpu
