#include <cpu/LaneKernels.h>
#include <cpu/kernels/ExactNumber.h>

#include <bit>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace krel5::modules::cpu {
#if defined(__x86_64__)
namespace {

enum class Operation { Add, Multiply, Divide, Root, Fused };

struct Operands
{
    Number m_a, m_b, m_c;
};

template <typename F>
Number normal(OperandSequence& random, int exponent) noexcept
{
    constexpr int kPrecision = Format<F>::kPrecision;
    std::uint64_t const word = random.next();
    std::uint64_t const top = std::uint64_t(1) << (kPrecision - 1);
    return {word >> 63 != 0, (word & (top - 1)) | top, exponent - (kPrecision - 1)};
}

/// So large that some results overflow, and some stay below by little.
template <typename F>
void enlarge(Operands& out, Operation operation, int near, int far) noexcept
{
    constexpr int kFraction = Format<F>::kPrecision - 1, kMax = 1 - Format<F>::kMinExponent;
    switch (operation) {
    case Operation::Multiply:
        out.m_a.m_exp = kMax / 2 + near / 8 - kFraction;
        out.m_b.m_exp = kMax / 2 + far / 8 - kFraction;
        break;
    case Operation::Divide:
        out.m_a.m_exp = kMax - near / 4 - kFraction;
        break;
    case Operation::Root:
        out.m_a.m_exp = kMax - near - kFraction;
        break;
    case Operation::Add:
        out.m_a.m_exp = kMax - kFraction;
        out.m_c.m_exp = kMax - near / 8 - kFraction;
        break;
    case Operation::Fused:
        out.m_a.m_exp = kMax / 2 + near % 2 - kFraction;
        out.m_b.m_exp = kMax / 2 + far % 3 - kFraction;
        out.m_c.m_exp = kMax - near / 8 - kFraction;
        break;
    }
}

/// One in four so small that the result, or an operand, is subnormal; one in eight so large that some overflow.
template <typename F>
Operands operands(OperandSequence& random, Operation operation) noexcept
{
    constexpr int kPrecision = Format<F>::kPrecision, kMin = Format<F>::kMinExponent;
    std::uint64_t const word = random.next();
    bool const small = (word & 3) == 0;
    int const near = static_cast<int>(word >> 8 & 31), far = static_cast<int>(word >> 16 & 31);
    Operands out{normal<F>(random, near - 16), normal<F>(random, far - 16), normal<F>(random, 0)};
    int aligned = 0; // exponent of the last bit of c
    switch (operation) {
    case Operation::Multiply:
        if (small) {
            out.m_a.m_exp = kMin / 2 - near / 2 - (kPrecision - 1);
            out.m_b.m_exp = kMin / 2 - far / 2 - (kPrecision - 1);
        }
        break;
    case Operation::Divide:
        if (small)
            out.m_a.m_exp = kMin + 8 - (kPrecision - 1);
        break;
    case Operation::Root:
        out.m_a.m_negative = false;
        if (small) {
            out.m_a.m_sig = (out.m_a.m_sig >> (1 + near % (kPrecision - 1))) | 1u;
            out.m_a.m_exp = kMin - (kPrecision - 1);
        }
        break;
    case Operation::Add:
        if (small) {
            out.m_a.m_sig = (out.m_a.m_sig >> 2) | 1u;
            out.m_a.m_exp = kMin - (kPrecision - 1);
            aligned = kMin - (kPrecision - 1) + near / 8;
        } else {
            aligned = out.m_a.m_exp + near - 16;
        }
        out.m_c.m_exp = aligned;
        break;
    case Operation::Fused:
        out.m_c.m_exp = out.m_a.m_exp + out.m_b.m_exp + kPrecision - 8 + near % 16;
        break;
    }
    if ((word & 7) == 1)
        enlarge<F>(out, operation, near, far);
    return out;
}

template <typename F>
typename Format<F>::Bits expected(Operation operation, Operands const& of, Rounding rounding) noexcept
{
    switch (operation) {
    case Operation::Add:
        return rounded<F>(sum(of.m_a, of.m_c, rounding), rounding);
    case Operation::Multiply:
        return rounded<F>(product(of.m_a, of.m_b), rounding);
    case Operation::Divide:
        return rounded<F>(quotient(of.m_a, of.m_b), rounding);
    case Operation::Root:
        return rounded<F>(root(of.m_a), rounding);
    case Operation::Fused:
        break;
    }
    return rounded<F>(sum(product(of.m_a, of.m_b), of.m_c, rounding), rounding);
}

constexpr std::size_t kMaxBytes = 64;

/// One packed instruction on vectors in memory, with the control register as given.
using PackedOperation = void (*)(void const* a, void const* b, void const* c, void* result,
                                 unsigned control) noexcept;

// The empty assembler statements are volatile, as those around them: the instruction stays between them.
#define KREL5_PACKED(NAME, TARGET, VECTOR, CLASS, EXPRESSION)                                                \
    __attribute__((noinline)) TARGET void NAME(void const* pa, void const* pb, void const* pc, void* pr,     \
                                               unsigned control) noexcept                                    \
    {                                                                                                        \
        VECTOR a, b, c, r;                                                                                   \
        std::memcpy(&a, pa, sizeof a);                                                                       \
        std::memcpy(&b, pb, sizeof b);                                                                       \
        std::memcpy(&c, pc, sizeof c);                                                                       \
        unsigned before;                                                                                     \
        asm volatile("stmxcsr %0" : "=m"(before));                                                           \
        asm volatile("ldmxcsr %0" : : "m"(control));                                                         \
        asm volatile("" : "+" CLASS(a), "+" CLASS(b), "+" CLASS(c));                                         \
        r = EXPRESSION;                                                                                      \
        asm volatile("" : "+" CLASS(r));                                                                     \
        asm volatile("ldmxcsr %0" : : "m"(before));                                                          \
        std::memcpy(pr, &r, sizeof r);                                                                       \
    }

#define KREL5_PACKED_SET(SET, PREFIX, TARGET, VECTOR, CLASS, KIND)                                           \
    KREL5_PACKED(add##SET##KIND, TARGET, VECTOR, CLASS, PREFIX##_add_##KIND(a, c))                           \
    KREL5_PACKED(multiply##SET##KIND, TARGET, VECTOR, CLASS, PREFIX##_mul_##KIND(a, b))                      \
    KREL5_PACKED(divide##SET##KIND, TARGET, VECTOR, CLASS, PREFIX##_div_##KIND(a, b))

#define KREL5_FUSED(SET, PREFIX, TARGET, VECTOR, CLASS, KIND)                                                \
    KREL5_PACKED(fused##SET##KIND, TARGET, VECTOR, CLASS, PREFIX##_fmadd_##KIND(a, b, c))

#define KREL5_AVX2 __attribute__((target("avx2,fma")))
#define KREL5_AVX512 __attribute__((target("avx512f")))
KREL5_PACKED_SET(Base, _mm, , __m128d, "x", pd)
KREL5_PACKED_SET(Base, _mm, , __m128, "x", ps)
KREL5_PACKED(rootBasepd, , __m128d, "x", _mm_sqrt_pd(a))
KREL5_PACKED(rootBaseps, , __m128, "x", _mm_sqrt_ps(a))
KREL5_PACKED_SET(Avx2, _mm256, KREL5_AVX2, __m256d, "x", pd)
KREL5_PACKED_SET(Avx2, _mm256, KREL5_AVX2, __m256, "x", ps)
KREL5_PACKED(rootAvx2pd, KREL5_AVX2, __m256d, "x", _mm256_sqrt_pd(a))
KREL5_PACKED(rootAvx2ps, KREL5_AVX2, __m256, "x", _mm256_sqrt_ps(a))
KREL5_FUSED(Avx2, _mm256, KREL5_AVX2, __m256d, "x", pd)
KREL5_FUSED(Avx2, _mm256, KREL5_AVX2, __m256, "x", ps)
KREL5_PACKED_SET(Avx512, _mm512, KREL5_AVX512, __m512d, "v", pd)
KREL5_PACKED_SET(Avx512, _mm512, KREL5_AVX512, __m512, "v", ps)
// With a mask of all lanes, which compiles to the plain root: the unmasked form warns in one compiler's own header.
KREL5_PACKED(rootAvx512pd, KREL5_AVX512, __m512d, "v", _mm512_maskz_sqrt_pd(0xFF, a))
KREL5_PACKED(rootAvx512ps, KREL5_AVX512, __m512, "v", _mm512_maskz_sqrt_ps(0xFFFF, a))
KREL5_FUSED(Avx512, _mm512, KREL5_AVX512, __m512d, "v", pd)
KREL5_FUSED(Avx512, _mm512, KREL5_AVX512, __m512, "v", ps)

constexpr unsigned kRepeats = 16;
constexpr unsigned kControl = 0x1F80; // no traps, subnormal numbers kept, to nearest

template <typename F, std::size_t kBytes, Operation kOperation, PackedOperation kPacked>
Answer lanes(std::uint64_t seed, LaneFault const* fault) noexcept
{
    using Bits = typename Format<F>::Bits;
    constexpr unsigned kLanes = kBytes / sizeof(F);
    OperandSequence random(seed ^ (0x1A2E5 + static_cast<unsigned>(kOperation)));
    Answer answer;
    for (unsigned round = 0; round < kRepeats * kRoundings; ++round) {
        auto const rounding = static_cast<Rounding>(round % kRoundings);
        alignas(kMaxBytes) Bits a[kLanes], b[kLanes], c[kLanes], result[kLanes], right[kLanes];
        for (unsigned lane = 0; lane < kLanes; ++lane) {
            Operands const of = operands<F>(random, kOperation);
            a[lane] = rounded<F>(of.m_a, Nearest);
            b[lane] = rounded<F>(of.m_b, Nearest);
            c[lane] = rounded<F>(of.m_c, Nearest);
            right[lane] = expected<F>(kOperation, of, rounding);
        }
        unsigned mode = rounding;
        unsigned const wrong = fault != nullptr ? fault->m_lane % kLanes : 0;
        if (fault != nullptr && fault->m_kind == LaneFault::Kind::Rounding)
            mode = (mode + 1) % kRoundings;
        if (fault != nullptr && fault->m_kind == LaneFault::Kind::Operand)
            a[wrong] ^= 1u;
        kPacked(a, b, c, result, kControl | mode << 13);
        if (fault != nullptr && fault->m_kind == LaneFault::Kind::Bit)
            result[wrong] ^= 1u;
        if (fault != nullptr && fault->m_kind == LaneFault::Kind::Lane)
            result[wrong] = result[(wrong + 1) % kLanes];
        for (unsigned lane = 0; lane < kLanes; ++lane)
            answer.m_words[0] += result[lane] == right[lane] ? 1 : 0;
    }
    return answer;
}

template <Answer (*kRun)(std::uint64_t, LaneFault const*) noexcept>
Answer sound(std::uint64_t seed) noexcept
{
    return kRun(seed, nullptr);
}

template <typename F, std::size_t kBytes, Operation kOperation, PackedOperation kPacked>
constexpr LaneKernel entry(char const* name, CpuFeature feature) noexcept
{
    return {{name,
             "IEEE 754: exact result of each lane rounded once with integer instructions; four roundings",
             feature,
             sound<lanes<F, kBytes, kOperation, kPacked>>,
             {{kRepeats * kRoundings * (kBytes / sizeof(F))}}},
            lanes<F, kBytes, kOperation, kPacked>,
            true};
}

#define KREL5_ENTRIES(NAME, SET, BYTES, FEATURE)                                                             \
    entry<double, BYTES, Operation::Add, add##SET##pd>(NAME "addpd", FEATURE),                               \
        entry<float, BYTES, Operation::Add, add##SET##ps>(NAME "addps", FEATURE),                            \
        entry<double, BYTES, Operation::Multiply, multiply##SET##pd>(NAME "mulpd", FEATURE),                 \
        entry<float, BYTES, Operation::Multiply, multiply##SET##ps>(NAME "mulps", FEATURE),                  \
        entry<double, BYTES, Operation::Divide, divide##SET##pd>(NAME "divpd", FEATURE),                     \
        entry<float, BYTES, Operation::Divide, divide##SET##ps>(NAME "divps", FEATURE),                      \
        entry<double, BYTES, Operation::Root, root##SET##pd>(NAME "sqrtpd", FEATURE),                        \
        entry<float, BYTES, Operation::Root, root##SET##ps>(NAME "sqrtps", FEATURE)
#define KREL5_FUSED_ENTRIES(NAME, SET, BYTES, FEATURE)                                                       \
    entry<double, BYTES, Operation::Fused, fused##SET##pd>(NAME "fmapd", FEATURE),                           \
        entry<float, BYTES, Operation::Fused, fused##SET##ps>(NAME "fmaps", FEATURE)

constexpr LaneKernel kKernels[] = {
    KREL5_ENTRIES("vector128", Base, 16, CpuFeature::None),
    KREL5_ENTRIES("avx2", Avx2, 32, CpuFeature::Avx2Fma),
    KREL5_FUSED_ENTRIES("avx2", Avx2, 32, CpuFeature::Avx2Fma),
    KREL5_ENTRIES("avx512", Avx512, 64, CpuFeature::Avx512),
    KREL5_FUSED_ENTRIES("avx512", Avx512, 64, CpuFeature::Avx512),
};

} // namespace

LaneTable laneKernels() noexcept { return kKernels; }
#else
LaneTable laneKernels() noexcept { return {}; }
#endif

} // namespace krel5::modules::cpu
