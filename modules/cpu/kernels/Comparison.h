#pragma once
// One instruction on operands from the seed, against software that does not use it.
//
//     constexpr LaneKernel kKernel = compared<pshufb, shuffledBytes, Shape{1, 1, 16}>("pshufb", CpuFeature::Ssse3);
//
// The instructions stand in assembler, so that no compiler replaces them: KREL5_X, KREL5_Y and KREL5_Z load the
// three operands into registers 0 to 2 of 128, 256 or 512 bits and store register 3; KREL5_SCALAR does the same
// for general registers, lane by lane.
//
// Thread rule: no state.

#include <cpu/LaneKernels.h>
#include <cpu/kernels/ExactNumber.h>

#include <algorithm>
#include <cstring>

namespace krel5::modules::cpu {

using Bytes = std::array<std::uint8_t, 64>;

struct alignas(64) Operands
{
    Bytes m_a, m_b, m_c;
    Rounding m_rounding; ///< that the instruction finds in the control register
};

/// Of a vector's lanes that hold `T`; `index` below 64 / sizeof(T).
template <typename T>
T laneOf(Bytes const& bytes, unsigned index) noexcept
{
    T value;
    std::memcpy(&value, bytes.data() + index * sizeof(T), sizeof(T));
    return value;
}
template <typename T>
void setLane(Bytes& bytes, unsigned index, T value) noexcept
{
    std::memcpy(bytes.data() + index * sizeof(T), &value, sizeof(T));
}

/// An instruction, or the software it is compared with.
using Step = void (*)(Operands const&, Bytes& out) noexcept;
/// Makes operands with a meaning out of random bits.
using Prepare = void (*)(Operands&) noexcept;

/// Sizes in bytes: a lane of operand a, a lane of the result, the result (at most 64).
struct Shape
{
    unsigned m_lane, m_resultLane, m_result;
    bool m_rounds = false;
};

inline void asDrawn(Operands&) noexcept {}

constexpr unsigned kComparedSets = 64; // operand sets of one run

inline void draw(OperandSequence& random, Bytes& bytes) noexcept
{
    for (unsigned i = 0; i < bytes.size() / 8; ++i)
        setLane(bytes, i, random.next());
}

inline void flipBit(Bytes& bytes, unsigned lane, unsigned laneBytes, unsigned bit) noexcept
{
    unsigned const at = bit % (8 * laneBytes);
    auto& byte = bytes[lane * laneBytes + at / 8];
    byte = static_cast<std::uint8_t>(byte ^ 1u << at % 8);
}

/// A fault flips another bit in each set, so that it meets bits that matter.
template <Step kUnit, Step kSoftware, Shape kShape, Prepare kPrepare>
Answer compare(std::uint64_t seed, LaneFault const* fault) noexcept
{
    using Kind = LaneFault::Kind;
    constexpr unsigned kLanes = kShape.m_result / kShape.m_resultLane;
    constexpr unsigned kWidth = kShape.m_resultLane;
    auto const has = [&](Kind kind) { return fault != nullptr && fault->m_kind == kind; };
    unsigned const wrong = fault != nullptr ? fault->m_lane % kLanes : 0;
    OperandSequence random(seed ^ 0xC09A7E);
    Answer answer;
    for (unsigned set = 0; set < kComparedSets; ++set) {
        Operands in;
        draw(random, in.m_a);
        draw(random, in.m_b);
        draw(random, in.m_c);
        in.m_rounding = static_cast<Rounding>(set % kRoundings);
        kPrepare(in);
        alignas(64) Bytes right{}, result{};
        kSoftware(in, right);
        if (has(Kind::Operand))
            flipBit(in.m_a, wrong, kShape.m_lane, set);
        if (has(Kind::Rounding))
            in.m_rounding = static_cast<Rounding>((in.m_rounding + 1) % kRoundings);
        kUnit(in, result);
        if (has(Kind::Bit))
            flipBit(result, wrong, kWidth, set);
        if (has(Kind::Lane))
            std::copy_n(result.data() + (wrong + 1) % kLanes * kWidth, kWidth,
                        result.data() + wrong * kWidth);
        answer.m_words[0] += std::equal(right.begin(), right.begin() + kShape.m_result, result.begin());
    }
    return answer;
}

template <Step kUnit, Step kSoftware, Shape kShape, Prepare kPrepare = asDrawn>
constexpr LaneKernel compared(char const* name, CpuFeature feature) noexcept
{
    return {{name,
             "the same in software, without the instruction; 64 operand sets",
             feature,
             [](std::uint64_t seed) noexcept {
                 return compare<kUnit, kSoftware, kShape, kPrepare>(seed, nullptr);
             },
             {{kComparedSets}}},
            compare<kUnit, kSoftware, kShape, kPrepare>,
            kShape.m_rounds};
}

#if defined(__x86_64__)
// No traps, subnormal numbers kept; the two bits of the rounding above them.
inline unsigned vectorControl(Rounding rounding) noexcept { return 0x1F80u | rounding << 13; }

// All vector registers: the end of wide code clears the upper parts of those that it did not use, too. The mask registers
// have names only where the compiler itself may use them.
#if defined(__AVX512F__)
#define KREL5_MASK_REGISTERS , "k1", "k2", "k3", "k4", "k5", "k6"
#else
#define KREL5_MASK_REGISTERS
#endif
#define KREL5_VECTOR_REGISTERS                                                                               \
    "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10", "xmm11",        \
        "xmm12", "xmm13", "xmm14", "xmm15" KREL5_MASK_REGISTERS

#define KREL5_UNIT(NAME, CODE)                                                                               \
    void NAME(Operands const& in, Bytes& out) noexcept                                                       \
    {                                                                                                        \
        unsigned before = 0;                                                                                 \
        unsigned const control = vectorControl(in.m_rounding);                                               \
        asm volatile("stmxcsr %[before]\n\tldmxcsr %[control]\n\t" CODE "\n\tldmxcsr %[before]"              \
                     : [before] "+m"(before)                                                                 \
                     : [control] "m"(control), [a] "r"(in.m_a.data()), [b] "r"(in.m_b.data()),               \
                       [c] "r"(in.m_c.data()), [out] "r"(out.data())                                         \
                     : "memory", "cc", "rax", "rcx", "rdx", KREL5_VECTOR_REGISTERS);                         \
    }
#define KREL5_LOAD(MOVE, R)                                                                                  \
    MOVE " (%[a]), %%" R "0\n\t" MOVE " (%[b]), %%" R "1\n\t" MOVE " (%[c]), %%" R "2\n\t"
#define KREL5_X(NAME, CODE) KREL5_UNIT(NAME, KREL5_LOAD("movdqu", "xmm") CODE "\n\tmovdqu %%xmm3, (%[out])")
#define KREL5_Y(NAME, CODE)                                                                                  \
    KREL5_UNIT(NAME, KREL5_LOAD("vmovdqu", "ymm") CODE "\n\tvmovdqu %%ymm3, (%[out])\n\tvzeroupper")
#define KREL5_Z(NAME, CODE)                                                                                  \
    KREL5_UNIT(NAME, KREL5_LOAD("vmovdqu64", "zmm") CODE "\n\tvmovdqu64 %%zmm3, (%[out])\n\tvzeroupper")

using Scalar = std::uint64_t (*)(std::uint64_t a, std::uint64_t b, std::uint64_t c) noexcept;

template <Scalar kOne>
void eachScalar(Operands const& in, Bytes& out) noexcept
{
    for (unsigned i = 0; i < 8; ++i)
        setLane(out, i,
                kOne(laneOf<std::uint64_t>(in.m_a, i), laneOf<std::uint64_t>(in.m_b, i),
                     laneOf<std::uint64_t>(in.m_c, i)));
}

/// `%[out]` from `%[a]`, `%[b]` and `%[c]`; free for use: rax, rcx, rdx, r8.
#define KREL5_SCALAR(NAME, CODE)                                                                             \
    std::uint64_t NAME(std::uint64_t a, std::uint64_t b, std::uint64_t c) noexcept                           \
    {                                                                                                        \
        std::uint64_t out = 0;                                                                               \
        asm volatile(CODE                                                                                    \
                     : [out] "+&r"(out)                                                                      \
                     : [a] "r"(a), [b] "r"(b), [c] "r"(c)                                                    \
                     : "cc", "rax", "rcx", "rdx", "r8");                                                     \
        return out;                                                                                          \
    }

template <Scalar kUnit, Scalar kSoftware>
constexpr LaneKernel comparedScalar(char const* name, CpuFeature feature) noexcept
{
    return compared<eachScalar<kUnit>, eachScalar<kSoftware>, Shape{8, 8, 64}>(name, feature);
}
#endif

} // namespace krel5::modules::cpu
