#include <zel/ipc/Frame.h>

#include <algorithm>
#include <span>

namespace zel {
namespace {

constexpr std::string_view kMagic = "ZELM";
constexpr std::size_t kVersionAt = 4, kCodeAt = 6, kLengthAt = 8;
// A large message is rare: its memory is given back.
constexpr std::size_t kKeptCapacity = std::size_t{1} << 20;

void put(std::span<char> to, std::uint32_t value)
{
    for (char& byte : to) {
        byte = static_cast<char>(value & 0xFF);
        value >>= 8;
    }
}

std::uint32_t get(char const* from, std::size_t bytes)
{
    std::uint32_t value = 0;
    for (std::size_t i = bytes; i-- > 0;)
        value = value << 8 | static_cast<unsigned char>(from[i]);
    return value;
}

} // namespace

FrameHeader::Bytes FrameHeader::bytes() const noexcept
{
    Bytes bytes;
    std::copy(kMagic.begin(), kMagic.end(), bytes.begin());
    put(std::span(bytes).subspan<kVersionAt, 2>(), kVersion);
    put(std::span(bytes).subspan<kCodeAt, 2>(), typeCode);
    put(std::span(bytes).subspan<kLengthAt, 4>(), payloadSize);
    return bytes;
}

String FrameHeader::parse(std::string_view bytes, FrameHeader& header)
{
    if (!bytes.starts_with(kMagic))
        return "no message begins here";
    if (auto const version = get(bytes.data() + kVersionAt, 2); version != kVersion)
        return "version " + String::number(version) + " of the link, not " + String::number(kVersion);
    header.typeCode = static_cast<std::uint16_t>(get(bytes.data() + kCodeAt, 2));
    header.payloadSize = get(bytes.data() + kLengthAt, 4);
    if (header.payloadSize > kMostPayload)
        return "a message of " + String::number(header.payloadSize) + " bytes";
    return String();
}

// True when what is kept has reached that size.
bool FrameReader::keep(std::string_view& bytes, std::size_t upTo)
{
    std::size_t const count = std::min(bytes.size(), upTo - m_kept.size());
    m_kept.append(bytes.data(), count);
    bytes.remove_prefix(count);
    return m_kept.size() == upTo;
}

FrameReader::Status FrameReader::take(std::string_view& bytes)
{
    if (!m_complaint.empty())
        return Status::Malformed;
    if (m_isKeptDone) {
        m_isKeptDone = false;
        m_kept.clear();
        if (m_kept.capacity() > kKeptCapacity)
            m_kept.shrink_to_fit();
    }
    if (m_kept.empty() &&
        bytes.size() >= FrameHeader::kSize) { // nearly always: the frame stands in the bytes
        m_complaint = FrameHeader::parse(bytes, m_header);
        if (!m_complaint.empty())
            return Status::Malformed;
        if (bytes.size() - FrameHeader::kSize >= m_header.payloadSize) {
            m_payload = bytes.substr(FrameHeader::kSize, m_header.payloadSize);
            bytes.remove_prefix(FrameHeader::kSize + m_header.payloadSize);
            return Status::Complete;
        }
    }
    if (m_kept.size() < FrameHeader::kSize) {
        if (!keep(bytes, FrameHeader::kSize))
            return Status::Incomplete;
        m_complaint = FrameHeader::parse(m_kept, m_header);
        if (!m_complaint.empty())
            return Status::Malformed;
    }
    if (!keep(bytes, FrameHeader::kSize + m_header.payloadSize))
        return Status::Incomplete;
    m_isKeptDone = true;
    m_payload = std::string_view(m_kept).substr(FrameHeader::kSize);
    return Status::Complete;
}

} // namespace zel
