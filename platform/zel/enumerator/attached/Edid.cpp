#include <zel/enumerator/attached/Edid.h>

#include <zel/enumerator/root/Text.h>

#include <array>
#include <cmath>

namespace zel {

namespace {

constexpr std::size_t kBlock = 128;
constexpr std::size_t kFirstDescriptor = 54, kDescriptor = 18, kDescriptors = 4;

/// Octets of the block or of a part of it, as numbers.
class Octets
{
public:
    explicit Octets(std::string_view content) : m_content(content) {}
    unsigned operator[](std::size_t at) const { return static_cast<unsigned char>(m_content[at]); }
    unsigned word(std::size_t at) const { return (*this)[at] | (*this)[at + 1] << 8; }
    std::string_view text(std::size_t at, std::size_t count) const { return m_content.substr(at, count); }

private:
    std::string_view m_content;
};

bool isWhole(std::string_view content)
{
    constexpr std::string_view kBegin("\0\xFF\xFF\xFF\xFF\xFF\xFF\0", 8);
    if (content.size() < kBlock || !content.starts_with(kBegin))
        return false;
    unsigned sum = 0;
    for (std::size_t i = 0; i < kBlock; ++i)
        sum += static_cast<unsigned char>(content[i]);
    return sum % 256 == 0;
}

/// Three letters of five bits each, A is 1.
std::optional<std::string> manufacturerOf(unsigned packed)
{
    std::string letters;
    for (int shift = 10; shift >= 0; shift -= 5) {
        unsigned const letter = packed >> shift & 0x1Fu;
        if (letter < 1 || letter > 26)
            return std::nullopt;
        letters += static_cast<char>('A' + letter - 1);
    }
    return letters;
}

/// Twelve bits: eight of them in one octet, the highest four in half of another.
unsigned twelve(unsigned low, unsigned high) { return low | (high & 0x0Fu) << 8; }

void readTiming(Octets const& timing, Edid& edid)
{
    unsigned const columns = twelve(timing[2], timing[4] >> 4), rows = twelve(timing[5], timing[7] >> 4);
    unsigned const across = columns + twelve(timing[3], timing[4]);
    unsigned const down = rows + twelve(timing[6], timing[7]);
    if (columns == 0 || rows == 0)
        return;
    double const hertz = timing.word(0) * 10'000.0 / (static_cast<double>(across) * down);
    bool const isInterlaced = (timing[17] & 0x80u) != 0; // the rows are those of one half-picture
    edid.preferredMode = std::to_string(columns) + "x" + std::to_string(isInterlaced ? rows * 2 : rows) +
                         (isInterlaced ? "i, " : ", ") + std::to_string(std::lround(hertz)) + " Hz";
    unsigned const width = twelve(timing[12], timing[14] >> 4), height = twelve(timing[13], timing[14]);
    constexpr unsigned kSmallestMm = 20; // some write the ratio of the sides (16, 9) in place of the size
    if (width >= kSmallestMm && height >= kSmallestMm) {
        edid.widthMm = width;
        edid.heightMm = height;
    }
}

void readDescriptor(Octets const& descriptor, Edid& edid)
{
    constexpr unsigned kName = 0xFC, kSerial = 0xFF;
    if (descriptor.word(0) != 0) {
        if (!edid.preferredMode) // the first is the preferred one
            readTiming(descriptor, edid);
        return;
    }
    std::string_view const text = descriptor.text(5, 13);
    auto const shown = text::meaningful(text.substr(0, text.find('\n')));
    if (descriptor[3] == kName && !edid.name)
        edid.name = shown;
    if (descriptor[3] == kSerial && !edid.serial)
        edid.serial = shown;
}

} // namespace

std::optional<Edid> Edid::parse(std::string_view content)
{
    if (!isWhole(content))
        return std::nullopt;
    Octets const block(content);
    Edid edid;
    edid.manufacturer = manufacturerOf(block[8] << 8 | block[9]);
    edid.product = static_cast<std::uint16_t>(block.word(10));
    constexpr unsigned kEpoch = 1990;
    if (block[17] != 0)
        edid.year = kEpoch + block[17];
    if (block[21] != 0 && block[22] != 0) { // in centimetres; with one of them 0, the other is a ratio
        edid.widthMm = block[21] * 10;
        edid.heightMm = block[22] * 10;
    }
    for (std::size_t i = 0; i < kDescriptors; ++i)
        readDescriptor(Octets(content.substr(kFirstDescriptor + i * kDescriptor, kDescriptor)), edid);
    std::uint32_t const number = block.word(12) | block.word(14) << 16;
    if (!edid.serial && number != 0 && number != 0x01010101 && number != 0xFFFFFFFF) // blanks of makers
        edid.serial = std::to_string(number);
    return edid;
}

} // namespace zel
