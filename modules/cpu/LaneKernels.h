#pragma once
// Kernels that take a fault on request, so that a test shows what each of them catches: packed floating-point
// arithmetic, every lane rounded once more with integer instructions, and single instructions against software
// that does not use them (Comparison.h).
//
//     LaneFault const fault{LaneFault::Kind::Rounding, 3};
//     bool const caught = laneKernels()[0].m_run(seed, &fault) != laneKernels()[0].m_kernel.m_expected;
//
// Thread rule: no state; any number of threads run the same kernel at once.

#include <cpu/Kernel.h>

#include <vector>

namespace krel5::modules::cpu {

struct LaneKernel
{
    Kernel m_kernel;
    /// As m_kernel.m_run, with a fault put in unless it is null.
    Answer (*m_run)(std::uint64_t seed, LaneFault const* fault) noexcept;
    bool m_rounds; ///< false: the fault Rounding means nothing to it
};

using LaneTable = std::span<LaneKernel const>;

// All empty on architectures other than x86-64.
LaneTable laneKernels() noexcept;
/// Ciphers, hashes, checksums, carry-less products.
LaneTable unitKernels() noexcept;
/// Between integers and floating-point numbers, and between precisions.
LaneTable conversionKernels() noexcept;
/// Shuffles, permutations, gather, scatter, masks.
LaneTable shuffleKernels() noexcept;
/// Sums of products of bytes, 16-bit integers and upper halves of floats; half precision; matrices.
LaneTable narrowKernels() noexcept;
/// Bit manipulation in general registers.
LaneTable bitKernels() noexcept;
/// Compare-and-swap, string instructions, accesses across lines and pages, loads from stores.
LaneTable accessKernels() noexcept;
/// Walks through the caches, memory and pages.
LaneTable walkKernels() noexcept;

/// Which of the module's tests runs a kernel.
enum class UnitClass { Integer, Vector };

/// All tables above.
std::vector<LaneKernel> allLaneKernels();
/// The kernels of a test: its own, then those of the tables above that belong to it.
std::vector<Kernel> withLaneKernels(KernelTable own, UnitClass unitClass);

} // namespace krel5::modules::cpu
