#pragma once
// The inner part of a dense matrix product, and loops that find out what the processor can do at most.
//
//     MatrixKernel const& kernel = bestMatrixKernel();
//     kernel.multiply(a, b, depth, c, columnsOfC);
//
// Thread rule: no state; any number of threads use the same one at once.

#include <cpu/CpuFeature.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace krel5::modules::cpu {

struct MatrixKernel
{
    char const* name; ///< of the instructions: "AVX-512"
    CpuFeature feature;
    unsigned rows, columns; ///< of the tile of C that it calculates, in registers
    /// C = A * B for one tile. `a`: for each of `depth` steps `rows` numbers; `b`: `columns` numbers, 64-byte aligned; `c`: its rows stand
    /// `stride` numbers apart. Double precision.
    void (*multiply)(double const* a, double const* b, std::size_t depth, double* c,
                     std::size_t stride) noexcept;
    /// Multiplies and adds in registers only, for some microseconds; gives how many floating-point operations that were.
    std::uint64_t (*saturate)() noexcept;
};

/// The widest first; not every processor has them all.
std::span<MatrixKernel const> matrixKernels() noexcept;
/// The widest that this processor has.
MatrixKernel const& bestMatrixKernel() noexcept;

} // namespace krel5::modules::cpu
