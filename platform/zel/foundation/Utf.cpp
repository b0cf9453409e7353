#include <zel/foundation/Utf.h>

#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace zel::utf {
namespace {

constexpr Unit kReplacement = 0xFFFD;

struct Decoded
{
    std::uint32_t codePoint;
    std::size_t length; // bytes consumed, at least 1
};

// Second-byte ranges follow table 3-7 "Well-Formed UTF-8 Byte Sequences": they exclude overlong forms,
// surrogates and values above U+10FFFF.
Decoded decodeOne(unsigned char const* p, std::size_t available) noexcept
{
    unsigned const lead = p[0];
    unsigned low = 0x80, high = 0xBF;
    std::size_t needed = 0;
    std::uint32_t value = 0;
    if (lead < 0x80)
        return {lead, 1};
    if (lead >= 0xC2 && lead <= 0xDF) {
        needed = 1, value = lead & 0x1Fu;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        needed = 2, value = lead & 0x0Fu;
        low = lead == 0xE0 ? 0xA0 : 0x80, high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        needed = 3, value = lead & 0x07u;
        low = lead == 0xF0 ? 0x90 : 0x80, high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return {kReplacement, 1};
    }
    for (std::size_t i = 1; i <= needed; ++i) {
        if (i >= available || p[i] < low || p[i] > high)
            return {kReplacement, i};
        value = (value << 6) | (p[i] & 0x3Fu);
        low = 0x80, high = 0xBF;
    }
    return {value, needed + 1};
}

// Copies the leading run of ASCII, 16 bytes a step where the processor allows, and returns its length.
std::size_t copyAscii(char const* bytes, std::size_t length, Unit* out) noexcept
{
    std::size_t i = 0;
#ifdef __SSE2__
    __m128i const zero = _mm_setzero_si128();
    for (; i + 16 <= length; i += 16) {
        __m128i const chunk = _mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes + i));
        if (_mm_movemask_epi8(chunk) != 0)
            break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_unpacklo_epi8(chunk, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i + 8), _mm_unpackhi_epi8(chunk, zero));
    }
    for (; i + 8 <= length; i += 8) { // most names and keys are shorter than sixteen
        __m128i const chunk = _mm_loadl_epi64(reinterpret_cast<__m128i const*>(bytes + i));
        if (_mm_movemask_epi8(chunk) != 0)
            break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_unpacklo_epi8(chunk, zero));
    }
#endif
    for (; i < length && static_cast<unsigned char>(bytes[i]) < 0x80; ++i)
        out[i] = static_cast<unsigned char>(bytes[i]);
    return i;
}

char* encodeOne(std::uint32_t c, char* out) noexcept
{
    auto put = [&out](std::uint32_t byte) { *out++ = static_cast<char>(byte); };
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | (c >> 6)), put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        put(0xE0 | (c >> 12)), put(0x80 | ((c >> 6) & 0x3F)), put(0x80 | (c & 0x3F));
    } else {
        put(0xF0 | (c >> 18)), put(0x80 | ((c >> 12) & 0x3F));
        put(0x80 | ((c >> 6) & 0x3F)), put(0x80 | (c & 0x3F));
    }
    return out;
}

bool isHigh(Unit unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLow(Unit unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

} // namespace

std::size_t decodeUtf8(char const* bytes, std::size_t length, Unit* out) noexcept
{
    Unit* const begin = out;
    std::size_t i = 0;
    while (i < length) {
        std::size_t const ascii = copyAscii(bytes + i, length - i, out);
        i += ascii, out += ascii;
        while (i < length && static_cast<unsigned char>(bytes[i]) >= 0x80) {
            auto const one = decodeOne(reinterpret_cast<unsigned char const*>(bytes + i), length - i);
            i += one.length;
            if (one.codePoint >= 0x10000) {
                *out++ = static_cast<Unit>(0xD800 + ((one.codePoint - 0x10000) >> 10));
                *out++ = static_cast<Unit>(0xDC00 + ((one.codePoint - 0x10000) & 0x3FF));
            } else {
                *out++ = static_cast<Unit>(one.codePoint);
            }
        }
    }
    return static_cast<std::size_t>(out - begin);
}

std::size_t sequenceLength(char const* bytes, std::size_t length) noexcept
{
    auto const* const p = reinterpret_cast<unsigned char const*>(bytes);
    auto const one = decodeOne(p, length);
    bool const isWritten = p[0] == 0xEF && one.length == 3; // the replacement character itself: EF BF BD
    return one.codePoint == kReplacement && !isWritten ? 0 : one.length;
}

std::size_t encodeUtf8(Unit const* units, std::size_t length, char* out) noexcept
{
    char* to = out;
    for (std::size_t i = 0; i < length; ++i) {
        std::uint32_t c = units[i];
        if (isHigh(units[i]) && i + 1 < length && isLow(units[i + 1])) {
            c = 0x10000 + ((c - 0xD800) << 10) + (units[i + 1] - 0xDC00u);
            ++i;
        } else if (isHigh(units[i]) || isLow(units[i])) {
            c = kReplacement;
        }
        to = encodeOne(c, to);
    }
    return static_cast<std::size_t>(to - out);
}

void encodeUtf8(Unit const* units, std::size_t length, std::string& out)
{
    std::size_t const before = out.size();
    out.resize(before + 3 * length); // three bytes a unit is the worst case; a pair needs four for two units
    out.resize(before + encodeUtf8(units, length, out.data() + before));
}

} // namespace zel::utf
