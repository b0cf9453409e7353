#include <cpu/LaneKernels.h>

#include <array>
#include <bit>
#include <cstring>
#include <utility>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace krel5::modules::cpu {
#if defined(__x86_64__)
namespace {

using Block = std::array<std::uint8_t, 16>;
using Words = std::array<std::uint32_t, 4>;

constexpr std::uint8_t timesX(std::uint8_t a) noexcept
{
    return static_cast<std::uint8_t>(a << 1 ^ ((a & 0x80) != 0 ? 0x1B : 0));
}

constexpr std::uint8_t fieldProduct(std::uint8_t a, unsigned b) noexcept
{
    std::uint8_t out = 0;
    for (; b != 0; b >>= 1, a = timesX(a))
        out = static_cast<std::uint8_t>(out ^ ((b & 1) != 0 ? a : 0));
    return out;
}

struct Boxes
{
    std::array<std::uint8_t, 256> m_forward{}, m_inverse{};

    /// FIPS 197, 5.1.1, with the powers of 3 and of its inverse, 0xF6, walking the field together.
    constexpr Boxes() noexcept
    {
        std::uint8_t p = 1, q = 1;
        do {
            p = fieldProduct(p, 3);
            q = fieldProduct(q, 0xF6);
            put(p, static_cast<std::uint8_t>(q ^ std::rotl(q, 1) ^ std::rotl(q, 2) ^ std::rotl(q, 3) ^
                                             std::rotl(q, 4) ^ 0x63));
        } while (p != 1);
        put(0, 0x63);
    }
    constexpr void put(std::uint8_t in, std::uint8_t out) noexcept
    {
        m_forward[in] = out;
        m_inverse[out] = in;
    }
};
constexpr Boxes kBoxes;

Block cipherRound(Block const& state, Block const& key, bool forward, bool mix) noexcept
{
    Block moved;
    for (unsigned i = 0; i < 16; ++i)
        moved[i] = forward ? kBoxes.m_forward[state[(i * 5) % 16]] : kBoxes.m_inverse[state[(i * 13) % 16]];
    constexpr unsigned kForward[] = {2, 3, 1, 1}, kBackward[] = {14, 11, 13, 9};
    Block out;
    for (unsigned i = 0; i < 16; ++i) {
        std::uint8_t sum = mix ? 0 : moved[i];
        for (unsigned k = 0; mix && k < 4; ++k)
            sum ^= fieldProduct(moved[i / 4 * 4 + (i + k) % 4], (forward ? kForward : kBackward)[k]);
        out[i] = sum ^ key[i];
    }
    return out;
}

template <typename T>
T draw(OperandSequence& random) noexcept
{
    static_assert(sizeof(T) == 16);
    std::uint64_t const words[2] = {random.next(), random.next()};
    return std::bit_cast<T>(words);
}

/// The faults that have a meaning here: a bit of an operand, a bit of the result, a word in another's place.
template <typename T>
void spoil(T& value, LaneFault const* fault, LaneFault::Kind kind) noexcept
{
    if (fault == nullptr || fault->m_kind != kind)
        return;
    auto words = std::bit_cast<Words>(value);
    unsigned const lane = fault->m_lane % 4;
    if (kind == LaneFault::Kind::Lane)
        std::swap(words[lane], words[(lane + 1) % 4]);
    else
        words[lane] ^= 1u;
    value = std::bit_cast<T>(words);
}

constexpr unsigned kSets = 64; // operand sets of one run

/// One instruction, and the same without it, on three operands of 16 bytes.
template <typename T, void (*kUnit)(T const&, T const&, T const&, T&) noexcept,
          T (*kSoftware)(T const&, T const&, T const&) noexcept>
Answer against(std::uint64_t seed, LaneFault const* fault) noexcept
{
    OperandSequence random(seed ^ 0xC0DE5);
    Answer answer;
    for (unsigned i = 0; i < kSets; ++i) {
        T a = draw<T>(random);
        T const b = draw<T>(random), c = draw<T>(random);
        T const right = kSoftware(a, b, c);
        spoil(a, fault, LaneFault::Kind::Operand);
        T result;
        kUnit(a, b, c, result);
        spoil(result, fault, LaneFault::Kind::Bit);
        spoil(result, fault, LaneFault::Kind::Lane);
        answer.m_words[0] += result == right ? 1 : 0;
    }
    return answer;
}

#define KREL5_UNIT(NAME, TARGET, TYPE, EXPRESSION)                                                           \
    __attribute__((noinline, target(TARGET))) void NAME(TYPE const& pa, TYPE const& pb, TYPE const& pc,      \
                                                        TYPE& out) noexcept                                  \
    {                                                                                                        \
        __m128i a, b, c;                                                                                     \
        std::memcpy(&a, &pa, 16);                                                                            \
        std::memcpy(&b, &pb, 16);                                                                            \
        std::memcpy(&c, &pc, 16);                                                                            \
        __m128i const result = EXPRESSION;                                                                   \
        static_cast<void>(b);                                                                                \
        static_cast<void>(c);                                                                                \
        std::memcpy(&out, &result, 16);                                                                      \
    }

KREL5_UNIT(encrypt, "aes,sse4.2", Block, _mm_aesenc_si128(a, b))
KREL5_UNIT(encryptLast, "aes,sse4.2", Block, _mm_aesenclast_si128(a, b))
KREL5_UNIT(decrypt, "aes,sse4.2", Block, _mm_aesdec_si128(a, b))
KREL5_UNIT(decryptLast, "aes,sse4.2", Block, _mm_aesdeclast_si128(a, b))
template <bool kForward, bool kMix>
Block softwareRound(Block const& a, Block const& b, Block const&) noexcept
{
    return cipherRound(a, b, kForward, kMix);
}

KREL5_UNIT(unmixed, "aes,sse4.2", Block, _mm_aesimc_si128(a))
Block softwareUnmixed(Block const& a, Block const&, Block const&) noexcept
{
    constexpr unsigned kBackward[] = {14, 11, 13, 9};
    Block out{};
    for (unsigned i = 0; i < 16; ++i)
        for (unsigned k = 0; k < 4; ++k)
            out[i] ^= fieldProduct(a[i / 4 * 4 + (i + k) % 4], kBackward[k]);
    return out;
}

// Each half of one operand with each half of the other: all four products, one upon the other.
KREL5_UNIT(carryless, "pclmul,sse4.2", Words,
           _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(a, b, 0x00), _mm_clmulepi64_si128(a, b, 0x11)),
                         _mm_xor_si128(_mm_clmulepi64_si128(a, c, 0x01), _mm_clmulepi64_si128(a, c, 0x10))))
Uint128 carrylessProduct(std::uint64_t a, std::uint64_t b) noexcept
{
    Uint128 out = 0;
    for (unsigned bit = 0; bit < 64; ++bit)
        out ^= (b >> bit & 1) != 0 ? Uint128(a) << bit : 0;
    return out;
}
Words softwareCarryless(Words const& a, Words const& b, Words const& c) noexcept
{
    using Halves = std::array<std::uint64_t, 2>;
    auto const x = std::bit_cast<Halves>(a), y = std::bit_cast<Halves>(b), z = std::bit_cast<Halves>(c);
    Uint128 const sum = carrylessProduct(x[0], y[0]) ^ carrylessProduct(x[1], y[1]) ^
                        carrylessProduct(x[1], z[0]) ^ carrylessProduct(x[0], z[1]);
    return std::bit_cast<Words>(sum);
}

KREL5_UNIT(hashRounds, "sha,sse4.2", Words, _mm_sha256rnds2_epu32(a, b, c))
KREL5_UNIT(hashFirst, "sha,sse4.2", Words, _mm_sha256msg1_epu32(a, b))
KREL5_UNIT(hashSecond, "sha,sse4.2", Words, _mm_sha256msg2_epu32(a, b))
std::uint32_t smallSigma(std::uint32_t w, int first, int second, int shift) noexcept
{
    return std::rotr(w, first) ^ std::rotr(w, second) ^ (w >> shift);
}
Words softwareHashRounds(Words const& cdgh, Words const& abef, Words const& message) noexcept
{
    std::uint32_t a = abef[3], b = abef[2], c = cdgh[3], d = cdgh[2];
    std::uint32_t e = abef[1], f = abef[0], g = cdgh[1], h = cdgh[0];
    for (unsigned i = 0; i < 2; ++i) {
        std::uint32_t const first =
            h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) + ((e & f) ^ (~e & g)) + message[i];
        std::uint32_t const second =
            (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + first;
        d = c;
        c = b;
        b = a;
        a = first + second;
    }
    return {f, e, b, a};
}
Words softwareHashFirst(Words const& a, Words const& b, Words const&) noexcept
{
    Words out;
    for (unsigned i = 0; i < 4; ++i)
        out[i] = a[i] + smallSigma(i < 3 ? a[i + 1] : b[0], 7, 18, 3);
    return out;
}
Words softwareHashSecond(Words const& a, Words const& b, Words const&) noexcept
{
    Words out;
    for (unsigned i = 0; i < 4; ++i)
        out[i] = a[i] + smallSigma(i < 2 ? b[i + 2] : out[i - 2], 17, 19, 10);
    return out;
}

// SHA-1, with the words from the highest down as the algorithm counts them. All four of its functions, one after the other.
KREL5_UNIT(olderRounds, "sha,sse4.2", Words,
           _mm_sha1rnds4_epu32(_mm_sha1rnds4_epu32(_mm_sha1rnds4_epu32(_mm_sha1rnds4_epu32(a, b, 0), c, 1), b,
                                                   2),
                               c, 3))
KREL5_UNIT(olderNext, "sha,sse4.2", Words, _mm_sha1nexte_epu32(b, a))
KREL5_UNIT(olderFirst, "sha,sse4.2", Words, _mm_sha1msg1_epu32(a, b))
KREL5_UNIT(olderSecond, "sha,sse4.2", Words, _mm_sha1msg2_epu32(a, b))
Words softwareOlderRounds(Words const& state, Words const& b, Words const& c) noexcept
{
    constexpr std::uint32_t kConstants[] = {0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xCA62C1D6};
    std::array<std::uint32_t, 4> x{state[3], state[2], state[1], state[0]};
    for (unsigned function = 0; function < 4; ++function) {
        Words const& message = function % 2 == 0 ? b : c;
        std::uint32_t last = 0; // the first word holds it already
        for (unsigned round = 0; round < 4; ++round) {
            std::uint32_t const chosen = function == 0   ? (x[1] & x[2]) ^ (~x[1] & x[3])
                                         : function == 2 ? (x[1] & x[2]) ^ (x[1] & x[3]) ^ (x[2] & x[3])
                                                         : x[1] ^ x[2] ^ x[3];
            std::uint32_t const first =
                chosen + std::rotl(x[0], 5) + message[3 - round] + last + kConstants[function];
            last = x[3];
            x = {first, x[0], std::rotl(x[1], 30), x[2]};
        }
    }
    return {x[3], x[2], x[1], x[0]};
}
Words softwareOlderNext(Words const& a, Words const& b, Words const&) noexcept
{
    return {a[0], a[1], a[2], a[3] + std::rotl(b[3], 30)};
}
Words softwareOlderFirst(Words const& a, Words const& b, Words const&) noexcept
{
    return {b[2] ^ a[0], b[3] ^ a[1], a[0] ^ a[2], a[1] ^ a[3]};
}
Words softwareOlderSecond(Words const& a, Words const& b, Words const&) noexcept
{
    std::uint32_t const first = std::rotl(a[3] ^ b[2], 1);
    return {std::rotl(a[0] ^ first, 1), std::rotl(a[1] ^ b[0], 1), std::rotl(a[2] ^ b[1], 1), first};
}

/// All four widths of the instruction, each from where the one before ended; state in, operand in.
__attribute__((noinline, target("sse4.2"))) void checksum(Words const& a, Words const& b, Words const&,
                                                          Words& out) noexcept
{
    std::uint64_t const wide = std::uint64_t(a[1]) << 32 | a[2];
    out[0] = _mm_crc32_u8(a[0], static_cast<unsigned char>(a[3]));
    out[1] = _mm_crc32_u16(b[0], static_cast<unsigned short>(a[1]));
    out[2] = _mm_crc32_u32(b[1], a[2]);
    out[3] = static_cast<std::uint32_t>(_mm_crc32_u64(b[2], wide));
}
std::uint32_t bitwise(std::uint32_t state, std::uint64_t value, unsigned bits) noexcept
{
    for (unsigned bit = 0; bit < bits; ++bit) {
        bool const carry = ((state ^ static_cast<std::uint32_t>(value >> bit)) & 1u) != 0;
        state = state >> 1 ^ (carry ? 0x82F63B78u : 0u);
    }
    return state;
}
Words softwareChecksum(Words const& a, Words const& b, Words const&) noexcept
{
    std::uint64_t const wide = std::uint64_t(a[1]) << 32 | a[2];
    return {bitwise(a[0], a[3], 8), bitwise(b[0], a[1], 16), bitwise(b[1], a[2], 32),
            bitwise(b[2], wide, 64)};
}

template <Answer (*kRun)(std::uint64_t, LaneFault const*) noexcept>
constexpr LaneKernel entry(char const* name, CpuFeature feature) noexcept
{
    return {{name,
             "the same in software, without the instruction; 64 operand sets",
             feature,
             [](std::uint64_t seed) noexcept { return kRun(seed, nullptr); },
             {{kSets}}},
            kRun,
            false};
}

constexpr LaneKernel kKernels[] = {
    entry<against<Block, encrypt, softwareRound<true, true>>>("aesenc", CpuFeature::Aes),
    entry<against<Block, encryptLast, softwareRound<true, false>>>("aesenclast", CpuFeature::Aes),
    entry<against<Block, decrypt, softwareRound<false, true>>>("aesdec", CpuFeature::Aes),
    entry<against<Block, decryptLast, softwareRound<false, false>>>("aesdeclast", CpuFeature::Aes),
    entry<against<Block, unmixed, softwareUnmixed>>("aesimc", CpuFeature::Aes),
    entry<against<Words, carryless, softwareCarryless>>("carryless", CpuFeature::Carryless),
    entry<against<Words, hashRounds, softwareHashRounds>>("sha256rounds", CpuFeature::Sha),
    entry<against<Words, hashFirst, softwareHashFirst>>("sha256message1", CpuFeature::Sha),
    entry<against<Words, hashSecond, softwareHashSecond>>("sha256message2", CpuFeature::Sha),
    entry<against<Words, olderRounds, softwareOlderRounds>>("sha1rounds", CpuFeature::Sha),
    entry<against<Words, olderNext, softwareOlderNext>>("sha1next", CpuFeature::Sha),
    entry<against<Words, olderFirst, softwareOlderFirst>>("sha1message1", CpuFeature::Sha),
    entry<against<Words, olderSecond, softwareOlderSecond>>("sha1message2", CpuFeature::Sha),
    entry<against<Words, checksum, softwareChecksum>>("crc32cwidths", CpuFeature::Sse42),
};

} // namespace

LaneTable unitKernels() noexcept { return kKernels; }
#else
LaneTable unitKernels() noexcept { return {}; }
#endif

} // namespace krel5::modules::cpu
