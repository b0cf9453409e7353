#include <zel/enumerator/firmware/Smbios.h>

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace zel {

namespace {

constexpr std::size_t kHeaderSize = 4; // type, length, handle
constexpr std::uint8_t kEndOfTable = 127;
constexpr std::size_t kMostStrings = 255; // a field names one by a number of one byte

std::uint8_t at(std::string_view bytes, std::size_t offset)
{
    return static_cast<std::uint8_t>(bytes[offset]);
}

std::uint32_t littleEndian(std::string_view bytes, std::size_t offset, std::size_t count)
{
    std::uint32_t number = 0;
    for (std::size_t i = count; i-- > 0;)
        number = number << 8 | at(bytes, offset + i);
    return number;
}

bool sumIsZero(std::string_view bytes)
{
    return std::accumulate(bytes.begin(), bytes.end(), 0u,
                           [](unsigned sum, char byte) { return sum + static_cast<std::uint8_t>(byte); }) %
               256 ==
           0;
}

/// An entry point with its anchor, its length field at `lengthAt` and a checksum that holds.
bool isEntryPoint(std::string_view bytes, std::string_view anchor, std::size_t lengthAt, std::size_t smallest)
{
    if (bytes.size() < smallest || bytes.substr(0, anchor.size()) != anchor)
        return false;
    std::size_t const length = at(bytes, lengthAt);
    return length >= smallest - 1 && length <= bytes.size() && sumIsZero(bytes.substr(0, length));
}

} // namespace

template <typename Number>
std::optional<Number> SmbiosStructure::field(std::size_t offset) const noexcept
{
    std::string_view const octets = bytes(offset, sizeof(Number));
    if (octets.empty())
        return std::nullopt;
    return static_cast<Number>(littleEndian(octets, 0, sizeof(Number)));
}

std::optional<std::uint8_t> SmbiosStructure::byte(std::size_t offset) const noexcept
{
    return field<std::uint8_t>(offset);
}
std::optional<std::uint16_t> SmbiosStructure::word(std::size_t offset) const noexcept
{
    return field<std::uint16_t>(offset);
}
std::optional<std::uint32_t> SmbiosStructure::doubleWord(std::size_t offset) const noexcept
{
    return field<std::uint32_t>(offset);
}

std::optional<std::string> SmbiosStructure::text(std::size_t offset) const
{
    std::size_t const number = byte(offset).value_or(0); // 0: no text
    if (number == 0 || number > m_strings.size())
        return std::nullopt;
    return std::string(m_strings[number - 1]);
}

std::string_view SmbiosStructure::bytes(std::size_t offset, std::size_t count) const noexcept
{
    std::string_view const there = m_formatted.substr(std::min(offset, m_formatted.size()), count);
    return there.size() == count ? there : std::string_view();
}

Smbios::Smbios(std::string table, std::string_view entryPoint) : m_table(std::move(table))
{
    readEntryPoint(entryPoint);
    readTable();
}

void Smbios::readEntryPoint(std::string_view entryPoint)
{
    if (isEntryPoint(entryPoint, "_SM3_", 6, 24)) {
        m_major = at(entryPoint, 7);
        m_minor = at(entryPoint, 8);
        m_declaredSize = littleEndian(entryPoint, 0x0C, 4);
    } else if (isEntryPoint(entryPoint, "_SM_", 5, 31)) {
        m_major = at(entryPoint, 6);
        m_minor = at(entryPoint, 7);
        m_declaredSize = littleEndian(entryPoint, 0x16, 2);
        m_structureLimit = littleEndian(entryPoint, 0x1C, 2);
    } else {
        return;
    }
    m_table.resize(std::min(m_table.size(), m_declaredSize));
}

void Smbios::readTable()
{
    std::size_t offset = 0;
    unsigned counts[256] = {};
    while (m_structures.size() < m_structureLimit) {
        std::size_t const size = readStructure(offset, counts);
        if (size == 0)
            return judgeRest(offset);
        offset += size;
        if (m_structures.back().type() == kEndOfTable)
            return;
    }
}

/// Returns how many bytes it takes with its strings; 0 where no whole structure stands.
std::size_t Smbios::readStructure(std::size_t offset, unsigned (&counts)[256])
{
    std::string_view const table = std::string_view(m_table).substr(offset);
    std::size_t const length = table.size() >= kHeaderSize ? at(table, 1) : 0;
    if (length < kHeaderSize || length > table.size())
        return 0;
    // The strings follow, each ended by a zero; one more zero ends the structure, two when it has none.
    std::vector<std::string_view> strings;
    std::size_t begin = length;
    std::size_t end = table.find('\0', begin);
    for (; end != std::string_view::npos && end != begin; end = table.find('\0', begin)) {
        if (strings.size() < kMostStrings)
            strings.push_back(table.substr(begin, end - begin));
        begin = end + 1;
    }
    if (end == std::string_view::npos)
        return 0;
    std::size_t const size = end + (strings.empty() ? 2 : 1);
    if (size > table.size() || table[size - 1] != '\0')
        return 0;
    std::uint8_t const type = at(table, 0);
    m_structures.emplace_back(counts[type]++, table.substr(0, length), std::move(strings));
    return size;
}

/// What stands at the offset is no structure: the end of the table, what fills it up, or damage.
void Smbios::judgeRest(std::size_t offset)
{
    std::string_view const rest = std::string_view(m_table).substr(offset);
    std::string what;
    if (rest.find_first_not_of(rest.substr(0, 1) == "\xFF" ? '\xFF' : '\0') == std::string_view::npos) {
        // The kernel ends its copy where it meets what is no structure; what is less than a header is padding.
        if (m_table.empty() || m_declaredSize < m_table.size() + kHeaderSize)
            return;
        what = "it ends there, and should have " + std::to_string(m_declaredSize) + " bytes";
    } else if (rest.size() < kHeaderSize) {
        what = "a structure is cut";
    } else if (at(rest, 0) == kEndOfTable && at(rest, 1) == kHeaderSize) {
        return; // the last one, but for its zeros
    } else {
        std::size_t const length = at(rest, 1);
        what = "a structure of type " + std::to_string(at(rest, 0)) +
               (length < kHeaderSize   ? " is shorter than its header"
                : length > rest.size() ? " is cut"
                                       : " does not end");
    }
    char place[32];
    std::snprintf(place, sizeof place, "damaged at offset 0x%04zx: ", offset);
    m_damage = place + what;
}

std::vector<SmbiosStructure const*> Smbios::ofType(std::uint8_t type) const
{
    std::vector<SmbiosStructure const*> found;
    for (SmbiosStructure const& structure : m_structures)
        if (structure.type() == type)
            found.push_back(&structure);
    return found;
}

SmbiosStructure const* Smbios::first(std::uint8_t type) const
{
    auto const found = std::find_if(m_structures.begin(), m_structures.end(),
                                    [type](SmbiosStructure const& s) { return s.type() == type; });
    return found == m_structures.end() ? nullptr : &*found;
}

std::optional<std::string> Smbios::version() const
{
    if (m_major == 0)
        return std::nullopt;
    return std::to_string(m_major) + "." + std::to_string(m_minor);
}

bool Smbios::isAtLeast(unsigned major, unsigned minor) const noexcept
{
    return m_major > major || (m_major == major && m_minor >= minor);
}

} // namespace zel
