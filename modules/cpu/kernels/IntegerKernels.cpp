#include <cpu/LaneKernels.h>

#include <bit>
#include <cstddef>
#include <cstring>

namespace krel5::modules::cpu {
namespace {

constexpr std::size_t kMaxLimbs = 20;

std::uint32_t crc32(unsigned char const* bytes, std::size_t size) noexcept
{
    std::uint32_t remainder = 0xFFFFFFFFu;
    for (std::size_t i = 0; i < size; ++i) {
        remainder ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit)
            remainder = (remainder >> 1) ^ ((remainder & 1u) ? 0xEDB88320u : 0u);
    }
    return ~computed(remainder);
}

Answer crcCheckValue() noexcept
{
    unsigned char text[9];
    for (unsigned i = 0; i < 9; ++i)
        text[i] = static_cast<unsigned char>(opaque(0x31u + i));
    return {{crc32(text, sizeof text)}};
}

/// A message followed by its own CRC always leaves the same residue; the number of messages that do.
Answer crcResidue(std::uint64_t seed) noexcept
{
    OperandSequence operands(seed ^ 0xC3C32);
    std::uint64_t right = 0;
    for (int message = 0; message < 16; ++message) {
        unsigned char bytes[260];
        for (std::size_t i = 0; i < 256; i += 8) {
            std::uint64_t const word = operands.next();
            std::memcpy(bytes + i, &word, 8);
        }
        std::uint32_t const crc = crc32(bytes, 256);
        for (unsigned i = 0; i < 4; ++i)
            bytes[256 + i] = static_cast<unsigned char>(crc >> (8 * i));
        right += crc32(bytes, sizeof bytes) == 0x2144DF1Cu ? 1 : 0;
    }
    return {{right}};
}

// The first 32 bits of the fractional parts of the cube roots of the first 64 primes (FIPS 180-4, 4.2.2).
constexpr std::uint32_t kSha256Constants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

void sha256Block(std::uint32_t (&state)[8], unsigned char const* block) noexcept
{
    std::uint32_t w[64];
    for (unsigned t = 0; t < 16; ++t)
        w[t] = std::uint32_t(block[4 * t]) << 24 | std::uint32_t(block[4 * t + 1]) << 16 |
               std::uint32_t(block[4 * t + 2]) << 8 | block[4 * t + 3];
    for (unsigned t = 16; t < 64; ++t) {
        std::uint32_t const s0 = std::rotr(w[t - 15], 7) ^ std::rotr(w[t - 15], 18) ^ (w[t - 15] >> 3);
        std::uint32_t const s1 = std::rotr(w[t - 2], 17) ^ std::rotr(w[t - 2], 19) ^ (w[t - 2] >> 10);
        w[t] = w[t - 16] + s0 + w[t - 7] + s1;
    }
    std::uint32_t v[8];
    std::memcpy(v, state, sizeof v);
    for (unsigned t = 0; t < 64; ++t) {
        std::uint32_t const s1 = std::rotr(v[4], 6) ^ std::rotr(v[4], 11) ^ std::rotr(v[4], 25);
        std::uint32_t const choice = (v[4] & v[5]) ^ (~v[4] & v[6]);
        std::uint32_t const t1 = v[7] + s1 + choice + kSha256Constants[t] + w[t];
        std::uint32_t const s0 = std::rotr(v[0], 2) ^ std::rotr(v[0], 13) ^ std::rotr(v[0], 22);
        std::uint32_t const majority = (v[0] & v[1]) ^ (v[0] & v[2]) ^ (v[1] & v[2]);
        for (unsigned i = 7; i > 0; --i)
            v[i] = v[i - 1];
        v[4] += t1;
        v[0] = computed(t1 + s0 + majority);
    }
    for (unsigned i = 0; i < 8; ++i)
        state[i] += v[i];
}

/// SHA-256 of the two-block message of FIPS 180-2, B.2.
Answer sha256() noexcept
{
    char const* volatile message = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
    unsigned char blocks[128] = {};
    std::memcpy(blocks, message, 56);
    blocks[56] = 0x80;
    blocks[126] = 448 >> 8;
    blocks[127] = 448 & 0xFF;
    std::uint32_t state[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                              0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    sha256Block(state, blocks);
    sha256Block(state, blocks + 64);
    Answer answer;
    for (unsigned i = 0; i < 4; ++i)
        answer.m_words[i] = std::uint64_t(state[2 * i]) << 32 | state[2 * i + 1];
    return answer;
}

/// For random a, b, r: (a·b + r) / b gives back a and r; and (a+b)(a-b) = a² - b² modulo 2^128.
Answer divisionIdentities(std::uint64_t seed) noexcept
{
    OperandSequence operands(seed ^ 0xD1F1D);
    std::uint64_t right = 0;
    for (int i = 0; i < 1000; ++i) {
        std::uint64_t const a = operands.next();
        std::uint64_t const b = operands.next() >> (i % 48) | 1u;
        std::uint64_t const r = operands.next() % b;
        Uint128 const n = computed(Uint128(a) * b + r);
        bool const divides = n / b == a && n % b == r;
        Uint128 const wideA = Uint128(a) << 40 | r, wideB = Uint128(b) << 33 | a;
        bool const squares = (wideA + wideB) * (wideA - wideB) == wideA * wideA - wideB * wideB;
        std::uint64_t const low = a >> 32 | 1u;
        bool const narrow = (low * (b & 0xFFFFFFFFu) + low - 1) / low == (b & 0xFFFFFFFFu);
        right += divides && squares && narrow ? 1 : 0;
    }
    return {{right}};
}

std::uint64_t powerModulo(std::uint64_t base, std::uint64_t exponent, std::uint64_t modulus) noexcept
{
    std::uint64_t result = 1;
    for (; exponent != 0; exponent >>= 1) {
        if (exponent & 1u)
            result = computed(static_cast<std::uint64_t>(Uint128(result) * base % modulus));
        base = static_cast<std::uint64_t>(Uint128(base) * base % modulus);
    }
    return result;
}

/// Fermat's little theorem for 2^64 - 59, the largest prime below 2^64: a^(p-1) = 1 for every a.
Answer fermat(std::uint64_t seed) noexcept
{
    std::uint64_t const prime = opaque(std::uint64_t(0) - 59u);
    OperandSequence operands(seed ^ 0xFE1A);
    std::uint64_t right = 0;
    for (int i = 0; i < 20; ++i)
        right += powerModulo(operands.next() % (prime - 2) + 1, prime - 1, prime) == 1 ? 1 : 0;
    return {{right}};
}

/// A residue modulo 2^p - 1, least limb first.
struct MersenneResidue
{
    std::uint64_t m_limbs[kMaxLimbs] = {};
};

/// value := the number below 2^2p held in 2·count limbs, modulo 2^p - 1; 2^p - 1 itself stands for zero.
void reduceMersenne(std::uint64_t const* wide, unsigned p, MersenneResidue& value) noexcept
{
    std::size_t const count = (p + 63) / 64;
    unsigned const shift = p % 64; // never 0: p is an odd prime
    std::uint64_t const topMask = (std::uint64_t(1) << shift) - 1;
    std::uint64_t carry = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t const high = i + p / 64;
        std::uint64_t const upper = wide[high] >> shift | wide[high + 1] << (64 - shift);
        std::uint64_t const lower = i + 1 == count ? wide[i] & topMask : wide[i];
        Uint128 const sum = Uint128(lower) + upper + carry;
        value.m_limbs[i] = computed(static_cast<std::uint64_t>(sum));
        carry = static_cast<std::uint64_t>(sum >> 64);
    }
    // What stands above bit p counts once more at bit 0. Both halves are at most 2^p - 1, so nothing is left above
    // it then.
    std::uint64_t fold = value.m_limbs[count - 1] >> shift;
    value.m_limbs[count - 1] &= topMask;
    for (std::size_t i = 0; i < count; ++i) {
        value.m_limbs[i] += fold;
        fold = value.m_limbs[i] < fold ? 1 : 0;
    }
}

void squareMinusTwo(MersenneResidue& value, unsigned p) noexcept
{
    std::size_t const count = (p + 63) / 64;
    std::uint64_t wide[2 * kMaxLimbs] = {};
    for (std::size_t i = 0; i < count; ++i) {
        std::uint64_t carry = 0;
        for (std::size_t j = 0; j < count; ++j) {
            Uint128 const sum = Uint128(value.m_limbs[i]) * value.m_limbs[j] + wide[i + j] + carry;
            wide[i + j] = static_cast<std::uint64_t>(sum);
            carry = static_cast<std::uint64_t>(sum >> 64);
        }
        wide[i + count] = carry;
    }
    // Adding 2^p - 3 instead of subtracting 2 keeps the number from going below zero; the product has room
    // for it, as it fills at most 2p bits of the wide number.
    std::uint64_t carry = 0;
    for (std::size_t i = 0; i < 2 * count; ++i) {
        std::uint64_t add = 0;
        if (i < count)
            add = i + 1 == count ? (std::uint64_t(1) << (p % 64)) - 1 : ~std::uint64_t(0);
        if (i == 0)
            add -= 2;
        Uint128 const sum = Uint128(wide[i]) + add + carry;
        wide[i] = static_cast<std::uint64_t>(sum);
        carry = static_cast<std::uint64_t>(sum >> 64);
    }
    reduceMersenne(wide, p, value);
}

/// The Lucas-Lehmer sequence for the prime 2^p - 1, one step before its last, is ±2^((p+1)/2). The answer is
/// the number of one bits of that residue (of its complement where the sign is negative), the place of the
/// one bit, and whether the last step then gives 2^p - 1, which stands for zero.
Answer lucasLehmer(unsigned p) noexcept
{
    std::size_t const count = (p + 63) / 64;
    std::uint64_t const topMask = (std::uint64_t(1) << (p % 64)) - 1;
    MersenneResidue value;
    value.m_limbs[0] = opaque(std::uint64_t(4));
    for (unsigned step = 0; step + 3 < p; ++step)
        squareMinusTwo(value, p);

    std::uint64_t ones = 0;
    for (std::size_t i = 0; i < count; ++i)
        ones += static_cast<unsigned>(std::popcount(value.m_limbs[i]));
    bool const negative = ones != 1;
    std::uint64_t place = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::uint64_t const limb =
            negative ? ~value.m_limbs[i] & (i + 1 == count ? topMask : ~std::uint64_t(0)) : value.m_limbs[i];
        if (limb != 0)
            place = 64 * i + static_cast<unsigned>(std::countr_zero(limb));
    }

    squareMinusTwo(value, p);
    bool modulus = true;
    for (std::size_t i = 0; i < count; ++i)
        modulus = modulus && value.m_limbs[i] == (i + 1 == count ? topMask : ~std::uint64_t(0));
    return {{negative ? p - ones : ones, place, modulus ? 1u : 0u}};
}

Answer lucasLehmer521() noexcept { return lucasLehmer(521); }
Answer lucasLehmer1279() noexcept { return lucasLehmer(1279); }

/// Shifts, rotates, bit counts: the one bits of all 16-bit numbers, the windows of a de Bruijn word, leading
/// zeros.
Answer bitCounts() noexcept
{
    std::uint64_t ones = 0, zeros = 0, windows = 0;
    for (std::uint64_t i = 0; i < 65536; ++i) {
        std::uint64_t const hidden = opaque(i);
        ones += computed(static_cast<unsigned>(std::popcount(hidden)));
        zeros += static_cast<unsigned>(std::countl_zero(static_cast<std::uint16_t>(hidden)));
    }
    // The 64-bit de Bruijn word of Leiserson, Prokop, Randall, "Using de Bruijn sequences to index a 1",
    // 1998.
    std::uint64_t const word = opaque(std::uint64_t(0x03f79d71b4cb0a89));
    for (int i = 0; i < 64; ++i)
        windows |= std::uint64_t(1) << (std::rotl(word, opaque(i)) >> 58);
    return {{ones, zeros, windows}};
}

/// A maximal 16-bit shift register comes back to its seed after 2^16 - 1 steps and not before: how often it
/// did, and when last.
Answer shiftRegister() noexcept
{
    unsigned const seed = opaque(0xACE1u);
    unsigned state = seed;
    std::uint64_t returns = 0, last = 0;
    for (unsigned step = 1; step <= 65535; ++step) {
        unsigned const bit = (state ^ (state >> 2) ^ (state >> 3) ^ (state >> 5)) & 1u;
        state = computed((state >> 1) | (bit << 15));
        if (state == seed) {
            ++returns;
            last = step;
        }
    }
    return {{returns, last}};
}

std::uint64_t queens(unsigned all, unsigned columns, unsigned left, unsigned right) noexcept
{
    if (columns == all)
        return 1;
    std::uint64_t count = 0;
    for (unsigned open = all & ~(columns | left | right); open != 0; open &= open - 1) {
        unsigned const queen = computed(open & (0u - open));
        count += queens(all, columns | queen, ((left | queen) << 1) & all, (right | queen) >> 1);
    }
    return count;
}

Answer branches() noexcept { return {{queens(opaque(0xFFu), 0, 0, 0), queens(opaque(0x1FFu), 0, 0, 0)}}; }

Answer primeCount() noexcept
{
    constexpr std::size_t kLimit = 100000;
    std::uint64_t composite[kLimit / 64 + 1] = {};
    std::uint64_t count = 0;
    for (std::size_t n = opaque(std::size_t(2)); n <= kLimit; ++n) {
        if (composite[n / 64] >> (n % 64) & 1u)
            continue;
        count = computed(count + 1);
        for (std::size_t multiple = n * n; multiple <= kLimit; multiple += n)
            composite[multiple / 64] |= std::uint64_t(1) << (multiple % 64);
    }
    return {{count}};
}

constexpr Kernel kKernels[] = {
    {"crc32",
     "check value of CRC-32/ISO-HDLC (ITU-T V.42) for \"123456789\"",
     CpuFeature::None,
     fixedOperands<crcCheckValue>,
     {{0xCBF43926}}},
    {"crc32residue",
     "residue of CRC-32/ISO-HDLC: one for each of 16 messages",
     CpuFeature::None,
     crcResidue,
     {{16}}},
    {"sha256",
     "FIPS 180-2, example B.2",
     CpuFeature::None,
     fixedOperands<sha256>,
     {{0x248d6a61d20638b8, 0xe5c026930c3e6039, 0xa33ce45964ff2167, 0xf6ecedd419db06c1}}},
    {"muldiv128",
     "(ab+r)/b = a rest r, (a+b)(a-b) = a^2-b^2; 1000 operand sets",
     CpuFeature::None,
     divisionIdentities,
     {{1000}}},
    {"fermat64", "Fermat's little theorem modulo 2^64-59; 20 bases", CpuFeature::None, fermat, {{20}}},
    {"lucaslehmer521",
     "2^521-1 is prime (Robinson 1952); last step but one is a power of two",
     CpuFeature::None,
     fixedOperands<lucasLehmer521>,
     {{1, 261, 1}}},
    {"lucaslehmer1279",
     "2^1279-1 is prime (Robinson 1952); last step but one is a power of two",
     CpuFeature::None,
     fixedOperands<lucasLehmer1279>,
     {{1, 640, 1}}},
    // 16·2^15 one bits; the leading zeros of the 16-bit numbers: 16 for zero, and sum of (15-k)·2^k = 2^16
    // - 17.
    {"bitcounts",
     "counting argument; every 6-bit window of a de Bruijn word",
     CpuFeature::None,
     fixedOperands<bitCounts>,
     {{16 * 32768, 65536 - 17 + 16, ~std::uint64_t(0)}}},
    {"lfsr16",
     "x^16+x^14+x^13+x^11+1 is primitive: period 2^16-1",
     CpuFeature::None,
     fixedOperands<shiftRegister>,
     {{1, 65535}}},
    {"branches",
     "92 and 352 ways to place 8 and 9 queens (OEIS A000170)",
     CpuFeature::None,
     fixedOperands<branches>,
     {{92, 352}}},
    {"primes",
     "9592 primes below 100000 (OEIS A006880)",
     CpuFeature::None,
     fixedOperands<primeCount>,
     {{9592}}},
};

} // namespace

KernelTable integerKernels() noexcept
{
    static std::vector<Kernel> const s_all = withLaneKernels(kKernels, UnitClass::Integer);
    return s_all;
}

} // namespace krel5::modules::cpu
