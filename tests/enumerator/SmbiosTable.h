#pragma once
// Builds SMBIOS tables for tests.

#include <cstdint>
#include <string>
#include <vector>

namespace zel::test {

class SmbiosTable
{
public:
    /// `fields` follow the header; their number makes the length.
    SmbiosTable& add(std::uint8_t type, std::vector<std::uint8_t> const& fields,
                     std::vector<std::string> const& strings = {})
    {
        m_bytes += static_cast<char>(type);
        m_bytes += static_cast<char>(fields.size() + 4);
        m_bytes += static_cast<char>(m_count & 0xFF);
        m_bytes += static_cast<char>(m_count++ >> 8);
        m_bytes.append(fields.begin(), fields.end());
        for (std::string const& text : strings)
            m_bytes += text + '\0';
        m_bytes.append(strings.empty() ? 2 : 1, '\0');
        return *this;
    }
    std::string const& bytes() const { return m_bytes; }

    /// A 64-bit entry point ("_SM3_") for a table of at most `maximum` bytes.
    static std::string entryPoint(std::uint8_t major, std::uint8_t minor, std::uint32_t maximum)
    {
        std::string bytes = "_SM3_";
        bytes += '\0'; // checksum, below
        bytes += {24, static_cast<char>(major), static_cast<char>(minor), 0, 1, 0};
        for (int shift = 0; shift < 32; shift += 8)
            bytes += static_cast<char>(maximum >> shift & 0xFF);
        bytes.resize(24, '\0');
        unsigned sum = 0;
        for (char const byte : bytes)
            sum += static_cast<std::uint8_t>(byte);
        bytes[5] = static_cast<char>(256 - sum % 256);
        return bytes;
    }

private:
    std::string m_bytes;
    unsigned m_count = 0;
};

/// Fields of a memory device (type 17) of 34 bytes: `size` as in the table, strings 1 to 5 for locator, bank,
/// manufacturer, serial and part number.
inline std::vector<std::uint8_t> memoryDevice(std::uint16_t size, std::uint32_t extendedSize = 0,
                                              std::uint16_t array = 0xFFFF)
{
    std::vector<std::uint8_t> fields(30, 0);
    auto const put = [&fields](std::size_t offset, std::uint32_t value, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            fields[offset - 4 + i] = static_cast<std::uint8_t>(value >> (8 * i));
    };
    put(0x04, array, 2);
    put(0x08, 72, 2);
    put(0x0A, 64, 2);
    put(0x0C, size, 2);
    put(0x0E, 0x0D, 1); // SODIMM
    put(0x10, 1, 1);
    put(0x11, 2, 1);
    put(0x12, 0x1A, 1); // DDR4
    put(0x15, 3200, 2);
    put(0x17, 3, 1);
    put(0x18, 4, 1);
    put(0x1A, 5, 1);
    put(0x1B, 0x02, 1); // two ranks
    put(0x1C, extendedSize, 4);
    put(0x20, 2933, 2);
    return fields;
}

/// Fields of a processor socket (type 4) of 48 bytes: `status` as in the table, strings 1 to 3 for socket,
/// manufacturer and version.
inline std::vector<std::uint8_t> processorSocket(std::uint8_t status, std::uint8_t cores = 4,
                                                 std::uint16_t manyCores = 0, std::uint8_t kind = 3)
{
    std::vector<std::uint8_t> fields(44, 0);
    auto const at = [&fields](std::size_t offset) -> std::uint8_t& { return fields[offset - 4]; };
    at(0x04) = 1;
    at(0x05) = kind;
    at(0x07) = 2;
    at(0x10) = 3;
    at(0x11) = 0x80 | 9; // 0.9 V
    at(0x14) = 4000 & 0xFF;
    at(0x15) = 4000 >> 8;
    at(0x16) = 1800 & 0xFF;
    at(0x17) = 1800 >> 8;
    at(0x18) = status;
    at(0x23) = cores;
    at(0x25) = 8;
    at(0x2A) = static_cast<std::uint8_t>(manyCores);
    at(0x2B) = static_cast<std::uint8_t>(manyCores >> 8);
    return fields;
}

/// Fields of a memory array (type 16) of 23 bytes: capacity in KiB, and in bytes for the wide field.
inline std::vector<std::uint8_t> memoryArray(std::uint32_t kibibytes, std::uint8_t slots,
                                             std::uint8_t use = 3, std::uint64_t bytes = 0)
{
    std::vector<std::uint8_t> fields{3, use, 6};
    for (unsigned shift = 0; shift < 32; shift += 8)
        fields.push_back(static_cast<std::uint8_t>(kibibytes >> shift));
    for (std::uint8_t const byte : {std::uint8_t{0xFE}, std::uint8_t{0xFF}, slots, std::uint8_t{0}})
        fields.push_back(byte);
    for (unsigned shift = 0; shift < 64; shift += 8)
        fields.push_back(static_cast<std::uint8_t>(bytes >> shift));
    return fields;
}

} // namespace zel::test
