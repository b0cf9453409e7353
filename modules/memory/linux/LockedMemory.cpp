#include <memory/Texts.h>
#include <memory/linux/KernelText.h>
#include <memory/linux/LockedMemory.h>
#include <memory/linux/MemoryNodes.h>

#include <common/ErrorText.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/capability.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <tuple>
#include <unistd.h>

namespace krel5::modules::memory {
namespace {

constexpr std::size_t kLockStep = std::size_t{8} << 20;
// Reading what is available takes a tenth of a millisecond, on a machine with many mounts a few.
constexpr std::size_t kStepsForACheck = 4;

/// The users of the system's first namespace are all its own; the kernel writes columns of ten.
bool inFirstUserNamespace()
{
    return lineAfter("/proc/self/uid_map", "         0          0 4294967295").has_value();
}

/// Root in a container may be without the capability, and its limit then counts. So it does for root of a
/// user namespace, whose capabilities are good in there only: mlock(2) asks for that of the first namespace.
bool mayLockBeyondTheLimit()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct held[_LINUX_CAPABILITY_U32S_3]{};
    (void)syscall(SYS_capget, &header, held);
    return (held[0].effective & (1u << CAP_IPC_LOCK)) != 0 && inFirstUserNamespace();
}

/// mlock(2) answers ENOMEM both for the limit and for lack of memory; which one it was the limit tells.
LockedMemory::Made lockFailed(std::size_t bytes, int error)
{
    rlimit limit{};
    (void)getrlimit(RLIMIT_MEMLOCK, &limit);
    bool const limited = limit.rlim_cur < bytes && !mayLockBeyondTheLimit();
    if (error == EPERM || limited)
        return {nullptr,
                LockError::NotPermitted,
                kTextLockLimit,
                {{"MiB", std::to_string(bytes >> 20)}, {"KiB", std::to_string(limit.rlim_cur >> 10)}}};
    return {nullptr,
            LockError::NoMemory,
            kTextLockFailed,
            {{"MiB", std::to_string(bytes >> 20)}, {"Error", errorText(error)}}};
}

LockedMemory::Made memoryWasTaken(std::size_t rest, std::uint64_t available, std::uint64_t floor)
{
    return {nullptr,
            LockError::NoMemory,
            kTextMemoryTaken,
            {{"MiB", std::to_string(available >> 20)},
             {"Rest", std::to_string(rest >> 20)},
             {"Floor", std::to_string(floor >> 20)}}};
}

/// Makes the pages present and keeps them so; a failure says why.
LockedMemory::Made lockAll(char* begin, std::size_t bytes, std::function<bool()> const& stop,
                           SpareMemory const& spare)
{
    for (std::size_t at = 0; at < bytes; at += kLockStep) {
        std::size_t const rest = bytes - at;
        if (stop())
            return {nullptr, LockError::Stopped};
        if (at / kLockStep % kStepsForACheck == 0) {
            std::uint64_t const available = spare.m_available();
            if (available < spare.m_floor + rest)
                return memoryWasTaken(rest, available, spare.m_floor);
        }
        if (mlock(begin + at, std::min(kLockStep, rest)) != 0)
            return lockFailed(bytes, errno);
    }
    return {};
}

} // namespace

LockedMemory::Made LockedMemory::make(std::size_t bytes, std::function<bool()> const& stop,
                                      SpareMemory const& spare)
{
    std::size_t const whole = (bytes + pageSize() - 1) / pageSize() * pageSize();
    if (whole == 0) // also where the sum is more than a number can hold
        return {nullptr, LockError::NoMemory, kTextMapTooLarge, {{"Bytes", std::to_string(bytes)}}};
    void* const mapped = mmap(nullptr, whole, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED)
        return {nullptr,
                LockError::NoMemory,
                kTextMapFailed,
                {{"MiB", std::to_string(whole >> 20)}, {"Error", errorText(errno)}}};
    std::unique_ptr<LockedMemory> memory(new LockedMemory(static_cast<std::uint64_t*>(mapped), whole));
    if (spare.m_nodes.size() > 1)
        (void)spreadOverNodes(mapped, whole, spare.m_nodes);
    // Only a matter of speed: fewer pages to fault in and to translate.
    (void)madvise(mapped, whole, MADV_HUGEPAGE);
    // A child that a host forks must not turn tested pages into copy-on-write ones.
    (void)madvise(mapped, whole, MADV_DONTFORK);
    auto const failed = lockAll(static_cast<char*>(mapped), whole, stop, spare);
    if (failed.m_error != LockError::None)
        return {nullptr, failed.m_error, failed.m_reason, failed.m_values};
    return {std::move(memory), LockError::None};
}

LockedMemory::~LockedMemory() { (void)munmap(m_words, m_bytes); }

std::size_t pageSize() noexcept
{
    static auto const s_size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return s_size;
}

std::optional<std::uint64_t> frameNumber(std::uint64_t entry) noexcept
{
    // Documentation/admin-guide/mm/pagemap.rst: bit 63 present, bits 0-54 frame number, which reads as zero
    // without CAP_SYS_ADMIN; bit 62 swapped, bits 0-4 type and 5-54 offset of the swap entry. For a poisoned
    // page that offset is the frame number (include/linux/swapops.h, make_hwpoison_entry).
    constexpr std::uint64_t kPresent = std::uint64_t{1} << 63;
    constexpr std::uint64_t kSwapped = std::uint64_t{1} << 62;
    std::uint64_t const low = entry & ((std::uint64_t{1} << 55) - 1);
    std::uint64_t const frame = entry & kPresent ? low : entry & kSwapped ? low >> 5 : 0;
    return frame ? std::optional(frame) : std::nullopt;
}

std::vector<std::uint64_t> frameNumbers(void const* begin, std::size_t bytes,
                                        std::function<bool()> const& stop)
{
    constexpr std::size_t kStep = 1 << 14;
    int const file = open("/proc/self/pagemap", O_RDONLY | O_CLOEXEC);
    std::size_t const first = reinterpret_cast<std::uintptr_t>(begin) / pageSize();
    std::size_t const count = bytes / pageSize();
    std::vector<std::uint64_t> frames(count, 0); // what cannot be read stays unknown
    for (std::size_t at = 0; at < count && file >= 0; at += kStep) {
        if (stop()) {
            frames.resize(at);
            break;
        }
        std::size_t const some = std::min(kStep, count - at) * sizeof frames[0];
        auto const got = pread(file, &frames[at], some, static_cast<off_t>((first + at) * sizeof frames[0]));
        if (got != static_cast<ssize_t>(some)) {
            std::fill(frames.begin() + static_cast<std::ptrdiff_t>(at), frames.end(), 0);
            break;
        }
        for (std::size_t i = at; i < at + some / sizeof frames[0]; ++i)
            frames[i] = frameNumber(frames[i]).value_or(0);
    }
    close(file);
    return frames;
}

std::optional<std::uint64_t> physicalAddress(void const* pointer) noexcept
{
    int const file = open("/proc/self/pagemap", O_RDONLY | O_CLOEXEC);
    auto const address = reinterpret_cast<std::uintptr_t>(pointer);
    std::uint64_t entry = 0;
    auto const offset = static_cast<off_t>(address / pageSize() * sizeof entry);
    std::ignore =
        pread(file, &entry, sizeof entry, offset); // what cannot be read stays an entry that tells nothing
    close(file);
    auto const frame = frameNumber(entry);
    return frame ? std::optional(*frame * pageSize() + address % pageSize()) : std::nullopt;
}

} // namespace krel5::modules::memory
