#include <zel/model/devices/Guid.h>

namespace zel {
namespace {

__extension__ using Uint128 = unsigned __int128;

// Offset basis and prime of the 128-bit variant (IETF draft "The FNV Non-Cryptographic Hash Algorithm").
class Fnv128
{
public:
    void add(unsigned byte) { m_value = (m_value ^ byte) * kPrime; }
    Uint128 value() const { return m_value; }

private:
    static constexpr Uint128 kPrime = (Uint128(1) << 88) | 0x13b;
    Uint128 m_value = (Uint128(0x6c62272e07bb0142ull) << 64) | 0x62b821756295c58dull;
};

} // namespace

String nameBasedGuid(std::initializer_list<String> names)
{
    Fnv128 hash;
    for (String const& name : names) {
        for (char const byte : name.toUtf8())
            hash.add(static_cast<unsigned char>(byte));
        hash.add(0xFF); // a byte that no UTF-8 text holds separates the names
    }
    Uint128 bits = hash.value();
    bits = (bits & ~(Uint128(0xF) << 76)) | (Uint128(0x8) << 76); // version
    bits = (bits & ~(Uint128(0x3) << 62)) | (Uint128(0x2) << 62); // variant
    std::string text;
    for (int nibble = 31; nibble >= 0; --nibble) {
        text += "0123456789abcdef"[static_cast<unsigned>(bits >> (4 * nibble)) & 0xF];
        if (nibble == 24 || nibble == 20 || nibble == 16 || nibble == 12)
            text += '-';
    }
    return String(text);
}

} // namespace zel
