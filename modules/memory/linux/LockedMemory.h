#pragma once
// A region of memory that stays where it is: mapped, filled in and locked, so that what is tested is memory
// and not the swap device.

#include <common/LocalText.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace krel5::modules::memory {

enum class LockError {
    None,
    Stopped,      ///< the caller's `stop` said so
    NotPermitted, ///< more than an unprivileged process may lock
    NoMemory      ///< the system does not give that much
};

/// What locking must leave to others. Asked for again and again: whoever else takes memory meanwhile, maybe a
/// second run of this very test, took it after the size was chosen.
struct SpareMemory
{
    std::function<std::uint64_t()> m_available; ///< bytes that can be taken now
    std::uint64_t m_floor = 0;                  ///< bytes of them that must stay
    std::vector<unsigned> m_nodes{}; ///< the NUMA nodes to take from in turn; none: as the system likes
};

/// Unmapped (and with that unlocked) when destroyed.
class LockedMemory
{
public:
    struct Made
    {
        std::unique_ptr<LockedMemory> m_memory; ///< null exactly when m_error is not None
        LockError m_error = LockError::None;
        LocalText m_reason{"", ""}; ///< for people, with its values
        TextValues m_values{};
    };

    /// `bytes` is rounded up to whole pages. `stop` is asked every few milliseconds, as locking makes every
    /// page present, which takes about a third of a second for a GiB. NoMemory as soon as the rest of the
    /// region would not leave `spare.m_floor`.
    static Made make(std::size_t bytes, std::function<bool()> const& stop, SpareMemory const& spare);
    ~LockedMemory();
    LockedMemory(LockedMemory const&) = delete;
    LockedMemory& operator=(LockedMemory const&) = delete;

    std::uint64_t* words() const noexcept { return m_words; }
    std::size_t wordCount() const noexcept { return m_bytes / sizeof(std::uint64_t); }

private:
    LockedMemory(std::uint64_t* words, std::size_t bytes) : m_words(words), m_bytes(bytes) {}

    std::uint64_t* m_words;
    std::size_t m_bytes;
};

/// Number of the page frame that an entry of /proc/self/pagemap names; absent when it names none, or none that
/// this process may know. Only for locked memory: of a page that the kernel took away for an error it still
/// tells the frame, in the form of one that was swapped out.
std::optional<std::uint64_t> frameNumber(std::uint64_t entry) noexcept;

/// The frames of a region's pages, from one on; 0 for one that this process may not know. Fewer when `stop`, which
/// is asked every few milliseconds, says so. `begin` is at a page's start.
std::vector<std::uint64_t> frameNumbers(void const* begin, std::size_t bytes,
                                        std::function<bool()> const& stop);

/// Physical address behind a pointer of this process, from /proc/self/pagemap; absent when the page is not
/// present or the process may not know (it takes CAP_SYS_ADMIN). A signal handler may call it once there has
/// been a LockedMemory.
std::optional<std::uint64_t> physicalAddress(void const* pointer) noexcept;

/// Bytes.
std::size_t pageSize() noexcept;

} // namespace krel5::modules::memory
