#pragma once
// Packed floating-point arithmetic with other operands in each lane, every result rounded once more with
// integer instructions: the answer never comes from a floating-point unit.
//
//     LaneFault const fault{LaneFault::Kind::Rounding, 3};
//     bool const caught = laneKernels()[0].m_run(seed, &fault) != laneKernels()[0].m_kernel.m_expected;
//
// Thread rule: no state; any number of threads run the same kernel at once.

#include <cpu/Kernel.h>

namespace krel5::modules::cpu {

/// What a broken vector unit would do, for tests of these kernels.
struct LaneFault
{
    enum class Kind { Lane, Bit, Rounding, Operand };
    Kind m_kind;
    /// Lane that is wrong, modulo the number of lanes; with Rounding all are.
    unsigned m_lane;
};

struct LaneKernel
{
    Kernel m_kernel;
    /// As m_kernel.m_run, with a fault put in unless it is null.
    Answer (*m_run)(std::uint64_t seed, LaneFault const* fault) noexcept;
};

/// Empty on architectures other than x86-64.
std::span<LaneKernel const> laneKernels() noexcept;

/// The units for ciphers, hashes, checksums and carry-less products against software that does not use them; the
/// fault Rounding means nothing to them. Empty on architectures other than x86-64.
std::span<LaneKernel const> unitKernels() noexcept;

} // namespace krel5::modules::cpu
