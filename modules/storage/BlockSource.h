#pragma once
// Where the storage checks read: a drive, a file on it, or a test's drive on paper. There is no operation
// that writes.
//
// Thread rule: none of its own; used from one thread at a time.

#include <cstddef>
#include <cstdint>
#include <span>

namespace krel5::modules::storage {

/// What one read brought. Fewer bytes than asked for without an error is a short read.
struct ReadOutcome
{
    std::size_t m_bytes = 0;
    int m_error = 0; ///< errno value; zero when the read succeeded

    bool complete(std::size_t wanted) const noexcept { return m_error == 0 && m_bytes == wanted; }
};

struct BlockSource
{
    virtual ~BlockSource() = default;
    /// Bytes, a multiple of the sector size.
    virtual std::uint64_t size() const = 0;
    /// The smallest unit that can be read, in bytes; a power of two.
    virtual std::uint32_t sectorSize() const = 0;
    /// What the drive itself reads, and loses, at once: its physical sector. A multiple of the sector size.
    virtual std::uint32_t unitSize() const { return sectorSize(); }
    /// Reads past the caches. Offset and length are multiples of the sector size; the memory is aligned to
    /// kReadAlignment.
    virtual ReadOutcome readAt(std::uint64_t offset, std::span<std::byte> into) = 0;
};

/// Meets every drive's demand on memory for direct reads.
constexpr std::size_t kReadAlignment = 4096;

/// How many units it takes to hold so many bytes.
constexpr std::uint64_t unitsOf(std::uint64_t bytes, std::uint64_t unit) noexcept
{
    return bytes / unit + (bytes % unit != 0 ? 1 : 0);
}

/// Checks that what was read at `offset` is what was once written there.
struct ContentCheck
{
    virtual ~ContentCheck() = default;
    /// Offset within `bytes` of the first wrong one, or bytes.size().
    virtual std::size_t firstWrong(std::uint64_t offset, std::span<std::byte const> bytes) const = 0;
};

} // namespace krel5::modules::storage
