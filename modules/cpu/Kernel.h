#pragma once
// A kernel is a small piece of arithmetic whose right answer is known from elsewhere than this machine: from
// a published vector, or from a theorem. Every kernel names where its answer comes from.
//
// Some theorems hold for all operands: a number times another and divided by it again, a message followed by
// its checksum, a rounding done once by the unit under test and once by other instructions. Those kernels
// take their operands from a seed, and their answer is how often the theorem held: the same, whatever the
// seed. A kernel with a published answer has one set of operands and ignores the seed.
//
//     for (Kernel const& kernel : integerKernels())
//         if (hasFeature(kernel.m_feature) && kernel.m_run(seed) != kernel.m_expected)
//             report(core, kernel.m_name, seed);
//
// Thread rule: a kernel keeps no state; any number of threads run the same one at once.

#include <cpu/CpuFeature.h>
#include <cpu/Injection.h>

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace krel5::modules::cpu {

/// What a kernel computes; most use the first word or two.
struct Answer
{
    std::array<std::uint64_t, 4> m_words{};

    bool operator==(Answer const&) const = default;
    /// Hexadecimal words joined by ":", zero words at the end left out.
    std::string text() const;
};

struct Kernel
{
    char const* m_name;
    char const* m_source; ///< where the known answer comes from
    CpuFeature m_feature;
    /// Runs at most some ten milliseconds, so that a stop request is heeded between two runs.
    Answer (*m_run)(std::uint64_t seed) noexcept;
    Answer m_expected;
};

using KernelTable = std::span<Kernel const>;

KernelTable integerKernels() noexcept;
KernelTable floatingPointKernels() noexcept;
KernelTable vectorKernels() noexcept;

/// Hides a value from the compiler, so that no kernel is computed when the module is built.
template <typename T>
T opaque(T value) noexcept
{
    T volatile hidden = Injection::strikes(LaneFault::Kind::Operand) ? Injection::spoiled(value) : value;
    return hidden;
}

/// For a kernel that has one set of operands.
template <Answer (*kFixed)() noexcept>
Answer fixedOperands(std::uint64_t) noexcept
{
    return kFixed();
}

/// The operands of a kernel: for one seed the same sequence on every machine (splitmix64: Steele, Lea, Flood,
/// "Fast splittable pseudorandom number generators", 2014).
class OperandSequence
{
public:
    explicit OperandSequence(std::uint64_t seed) noexcept : m_state(opaque(seed)) {}
    std::uint64_t next() noexcept
    {
        std::uint64_t z = (m_state += 0x9E3779B97F4A7C15u);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }

private:
    std::uint64_t m_state;
};

__extension__ typedef unsigned __int128 Uint128;

} // namespace krel5::modules::cpu
