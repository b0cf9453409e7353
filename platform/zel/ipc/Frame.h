#pragma once
// Messages on the stream: each is a frame of a header and its payload. docs/engine-link.md has the layout.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zel {

/// What stands before a payload: "ZELM", version, type code, size of the payload; little-endian.
struct FrameHeader
{
    static constexpr std::size_t kSize = 12;
    static constexpr std::uint16_t kVersion = 1;
    static constexpr std::size_t kMostPayload = std::size_t{256} << 20;
    using Bytes = std::array<char, kSize>;

    std::uint16_t typeCode = 0;
    std::uint32_t payloadSize = 0;

    Bytes bytes() const noexcept;
    /// Empty, or what is wrong with it.
    static String parse(std::string_view bytes, FrameHeader& header);
};

/// Takes a stream apart, in whatever pieces it comes. Memory grows with what has come, not with what a header
/// promises. Thread rule: one thread at a time.
class ZEL_EXPORT FrameReader
{
public:
    enum class Status {
        Incomplete, ///< all bytes were taken, and more are needed
        Complete,   ///< there is a frame; bytes behind it were not taken
        Malformed   ///< complaint() says why; nothing that follows counts
    };

    /// Takes bytes from the front.
    Status take(std::string_view& bytes);
    // Of the frame that is complete, until the next take() and as long as the bytes are where they were.
    int typeCode() const noexcept { return m_header.typeCode; }
    std::string_view payload() const noexcept { return m_payload; }
    String const& complaint() const noexcept { return m_complaint; }
    /// Whether a part of a frame waits for the rest.
    bool isInside() const noexcept { return !m_kept.empty() && !m_isKeptDone; }

private:
    bool keep(std::string_view& bytes, std::size_t upTo);

    FrameHeader m_header;
    std::string m_kept; // the beginning of a frame that came in pieces, with its header
    bool m_isKeptDone = false;
    std::string_view m_payload;
    String m_complaint;
};

} // namespace zel
