#include <cpu/LaneKernels.h>

#include <cstddef>
#include <cstring>
#include <iterator>
#include <vector>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace krel5::modules::cpu {
namespace {

constexpr std::uint64_t kMixConstant = 0x13198A2E03707344; // of the fraction of pi
constexpr std::uint64_t kMixLimit = std::uint64_t(1) << 63;
constexpr unsigned kMixRounds = 2000;
constexpr unsigned kTerms = 20000;
constexpr double kSumOfTerms = 20000.0 * 20001.0 / 2.0;
constexpr double kSumOfSquares = 20000.0 * 20001.0 * 40001.0 / 6.0; // below 2^53 before the division too

/// What each lane of the vector mix has to end with, computed in the scalar unit.
[[gnu::noinline]] std::uint64_t scalarMix(std::uint64_t seed) noexcept
{
    std::uint64_t state = opaque(seed);
    for (unsigned round = 0; round < kMixRounds; ++round) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        state += (state & ~(state >> 5)) | kMixConstant;
        state -= (state << 3) ^ (state >> 61);
        state = state > kMixLimit ? state - kMixConstant : state + kMixConstant;
    }
    return state;
}

/// The product that lane `lane` of `lanes` turning lanes ends with.
[[gnu::noinline]] std::uint32_t scalarTurn(unsigned lane, unsigned lanes) noexcept
{
    std::uint32_t sum = 0, product = opaque(1u);
    for (unsigned step = 1; step <= 64 * lanes; ++step) {
        std::uint32_t const value = (lane + step) % lanes + 1;
        sum += value;
        product = product * 3u + (value - sum);
        product ^= product >> 9;
    }
    return product;
}

// The plain turn leaves one lane in hand while the others move: the compiler may use any shuffle it has.
#define KREL5_PLAIN_TURN(lanes, next)                                                                        \
    do {                                                                                                     \
        Halves moved;                                                                                        \
        for (unsigned lane = 0; lane < kHalfLanes; ++lane)                                                   \
            moved[lane] = lanes[next[lane]];                                                                 \
        lanes = moved;                                                                                       \
    } while (false)

#define VECTOR_NAME(x) base##x
#define VECTOR_BYTES 16
#define VECTOR_TARGET
#define VECTOR_TURN KREL5_PLAIN_TURN
#if defined(__x86_64__)
#define VECTOR_SQRT(v) Doubles(_mm_sqrt_pd(__m128d(v)))
#endif
#include "VectorKernelBodies.inc"

#if defined(__x86_64__)
#define VECTOR_NAME(x) avx2##x
#define VECTOR_BYTES 32
#define VECTOR_TARGET __attribute__((target("avx2,fma")))
#define VECTOR_TURN(lanes, next) lanes = Halves(_mm256_permutevar8x32_epi32(__m256i(lanes), __m256i(next)))
#define VECTOR_SQRT(v) Doubles(_mm256_sqrt_pd(__m256d(v)))
#define VECTOR_FMA(a, b, c) Doubles(_mm256_fmadd_pd(__m256d(a), __m256d(b), __m256d(c)))
#include "VectorKernelBodies.inc"

// The forms with a zero mask: GCC 12 warns of an undefined value within its own header for the plain ones.
#define VECTOR_NAME(x) avx512##x
#define VECTOR_BYTES 64
#define VECTOR_TARGET __attribute__((target("avx512f")))
#define VECTOR_TURN(lanes, next)                                                                             \
    lanes = Halves(_mm512_maskz_permutexvar_epi32(0xFFFF, __m512i(next), __m512i(lanes)))
#define VECTOR_SQRT(v) Doubles(_mm512_maskz_sqrt_pd(0xFF, __m512d(v)))
#define VECTOR_FMA(a, b, c) Doubles(_mm512_fmadd_pd(__m512d(a), __m512d(b), __m512d(c)))
#include "VectorKernelBodies.inc"

/// The CRC-32C instruction over "123456789".
__attribute__((target("sse4.2"))) Answer crc32c() noexcept
{
    std::uint32_t state = opaque(0xFFFFFFFFu);
    for (unsigned i = 0; i < 9; ++i)
        state = computed(_mm_crc32_u8(state, static_cast<unsigned char>(opaque(0x31u + i))));
    return {{~state & 0xFFFFFFFFu}};
}

template <int Constant>
__attribute__((target("aes,sse4.2"))) __m128i nextRoundKey(__m128i key) noexcept
{
    __m128i const word = _mm_shuffle_epi32(_mm_aeskeygenassist_si128(key, Constant), 0xFF);
    key = _mm_xor_si128(key, _mm_slli_si128(key, 4));
    key = _mm_xor_si128(key, _mm_slli_si128(key, 8));
    return _mm_xor_si128(key, word);
}

/// AES-128 of FIPS 197, C.1 with the processor's own rounds, and back again.
__attribute__((target("aes,sse4.2"))) Answer aes128() noexcept
{
    unsigned char bytes[16], keyBytes[16];
    for (unsigned i = 0; i < 16; ++i) {
        bytes[i] = static_cast<unsigned char>(opaque(0x11u * i));
        keyBytes[i] = static_cast<unsigned char>(opaque(i));
    }
    __m128i keys[11];
    std::memcpy(&keys[0], keyBytes, 16);
    keys[1] = nextRoundKey<0x01>(keys[0]);
    keys[2] = nextRoundKey<0x02>(keys[1]);
    keys[3] = nextRoundKey<0x04>(keys[2]);
    keys[4] = nextRoundKey<0x08>(keys[3]);
    keys[5] = nextRoundKey<0x10>(keys[4]);
    keys[6] = nextRoundKey<0x20>(keys[5]);
    keys[7] = nextRoundKey<0x40>(keys[6]);
    keys[8] = nextRoundKey<0x80>(keys[7]);
    keys[9] = nextRoundKey<0x1B>(keys[8]);
    keys[10] = nextRoundKey<0x36>(keys[9]);

    __m128i block;
    std::memcpy(&block, bytes, 16);
    block = _mm_xor_si128(block, keys[0]);
    for (unsigned round = 1; round < 10; ++round)
        block = _mm_aesenc_si128(block, keys[round]);
    block = _mm_aesenclast_si128(block, keys[10]);
    std::array<std::uint64_t, 2> halves;
    std::memcpy(halves.data(), &block, 16);
    Injection::strikeLanes(halves.data(), halves.size());
    std::memcpy(&block, halves.data(), 16);
    Answer answer;
    std::memcpy(answer.m_words.data(), &block, 16);

    block = _mm_xor_si128(block, keys[10]);
    for (unsigned round = 9; round > 0; --round)
        block = _mm_aesdec_si128(block, _mm_aesimc_si128(keys[round]));
    block = _mm_aesdeclast_si128(block, keys[0]);
    std::memcpy(answer.m_words.data() + 2, &block, 16);
    return answer;
}
#endif

constexpr char const* kMixSource = "lanes equal to the scalar unit";
constexpr char const* kLehmerSource = "2^31-1 is prime (Euler 1772): Lucas-Lehmer ends in zero; lanes right";
constexpr char const* kTurnSource = "a full turn is the identity; lanes right, sums right, products right";
constexpr char const* kDoublesSource = "n(n+1)(2n+1)/6 and n(n+1)/2 for n = 20000; lanes right";

constexpr Kernel kKernels[] = {
    {"vector128mix", kMixSource, CpuFeature::None, baseset::mix, {{2}}},
    {"vector128lehmer", kLehmerSource, CpuFeature::None, fixedOperands<baseset::lucasLehmer>, {{2}}},
    {"vector128turn", kTurnSource, CpuFeature::None, fixedOperands<baseset::turn>, {{4, 4, 4}}},
    {"vector128double", kDoublesSource, CpuFeature::None, fixedOperands<baseset::doubles>, {{2, 2, 2}}},
#if defined(__x86_64__)
    {"crc32c",
     "check value of CRC-32C (RFC 3720) for \"123456789\"",
     CpuFeature::Sse42,
     fixedOperands<crc32c>,
     {{0xE3069283}}},
    // 69c4e0d8 6a7b0430 d8cdb780 70b4c55a, then the plain text 00112233 44556677 8899aabb ccddeeff; bytes in
    // memory order, as little-endian words.
    {"aes128",
     "FIPS 197, C.1",
     CpuFeature::Aes,
     fixedOperands<aes128>,
     {{0x30047b6ad8e0c469, 0x5ac5b47080b7cdd8, 0x7766554433221100, 0xffeeddccbbaa9988}}},
    {"avx2mix", kMixSource, CpuFeature::Avx2Fma, avx2set::mix, {{4}}},
    {"avx2lehmer", kLehmerSource, CpuFeature::Avx2Fma, fixedOperands<avx2set::lucasLehmer>, {{4}}},
    {"avx2turn", kTurnSource, CpuFeature::Avx2Fma, fixedOperands<avx2set::turn>, {{8, 8, 8}}},
    {"avx2double", kDoublesSource, CpuFeature::Avx2Fma, fixedOperands<avx2set::doubles>, {{4, 4, 4}}},
    {"avx2fused",
     "IEEE 754-2008, 5.4.1, fusedMultiplyAdd; lanes right",
     CpuFeature::Avx2Fma,
     fixedOperands<avx2set::fused>,
     {{4}}},
    {"avx512mix", kMixSource, CpuFeature::Avx512, avx512set::mix, {{8}}},
    {"avx512lehmer", kLehmerSource, CpuFeature::Avx512, fixedOperands<avx512set::lucasLehmer>, {{8}}},
    {"avx512turn", kTurnSource, CpuFeature::Avx512, fixedOperands<avx512set::turn>, {{16, 16, 16}}},
    {"avx512double", kDoublesSource, CpuFeature::Avx512, fixedOperands<avx512set::doubles>, {{8, 8, 8}}},
    {"avx512fused",
     "IEEE 754-2008, 5.4.1, fusedMultiplyAdd; lanes right",
     CpuFeature::Avx512,
     fixedOperands<avx512set::fused>,
     {{8}}},
#endif
};

} // namespace

KernelTable vectorKernels() noexcept
{
    static std::vector<Kernel> const s_all = withLaneKernels(kKernels, UnitClass::Vector);
    return s_all;
}

} // namespace krel5::modules::cpu
