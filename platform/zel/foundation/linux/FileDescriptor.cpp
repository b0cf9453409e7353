#include <zel/foundation/linux/FileDescriptor.h>

#include <algorithm>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

namespace zel {
namespace {

constexpr std::size_t kFirstChunk = 4096;
constexpr std::size_t kLargestChunk = 1u << 20;

void waitForRoom(int descriptor) noexcept
{
    pollfd request{descriptor, POLLOUT, 0};
    retryOnInterrupt([&] { return ::poll(&request, 1, -1); });
}

} // namespace

// close(2) is never repeated: on Linux the descriptor is gone even when a signal interrupted the call.
FileDescriptor::~FileDescriptor()
{
    if (m_number >= 0)
        ::close(m_number);
}

FileDescriptor FileDescriptor::open(char const* path, int flags, unsigned mode) noexcept
{
    return FileDescriptor(retryOnInterrupt([&] { return ::open(path, flags | O_CLOEXEC, mode); }));
}

void FileDescriptor::leaveStandardNumbers() noexcept
{
    if (m_number < STDIN_FILENO || m_number > STDERR_FILENO)
        return;
    if (FileDescriptor moved(::fcntl(m_number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)); moved.isOpen())
        *this = std::move(moved);
}

int writeAll(int descriptor, char const* bytes, std::size_t size, std::size_t& written,
             bool waitWhenFull) noexcept
{
    written = 0;
    while (written < size) {
        ssize_t const count =
            retryOnInterrupt([&] { return ::write(descriptor, bytes + written, size - written); });
        if (count >= 0)
            written += static_cast<std::size_t>(count);
        else if (errno == EAGAIN && waitWhenFull)
            waitForRoom(descriptor);
        else
            return errno;
    }
    return 0;
}

int readAll(int descriptor, std::string& content, std::size_t limit, std::size_t expected)
try {
    std::size_t const before = content.size();
    std::size_t chunk = expected > 0 ? std::min(expected + 1, kLargestChunk) : kFirstChunk;
    for (;;) {
        std::size_t const used = content.size();
        // One byte more than allowed tells a file of exactly `limit` bytes from a larger one.
        std::size_t const room = std::min(chunk, limit - (used - before) + 1);
        content.resize(used + room);
        ssize_t const count =
            retryOnInterrupt([&] { return ::read(descriptor, content.data() + used, room); });
        int const error = count < 0 ? errno : 0;
        content.resize(used + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (content.size() - before > limit)
            return EFBIG;
        if (error != 0 || count == 0)
            return error;
        std::size_t const rest = room - static_cast<std::size_t>(count);
        chunk = rest > 0 ? rest
                         : std::clamp(chunk * 2, kFirstChunk, kLargestChunk); // a short one: mostly the end
    }
} catch (std::bad_alloc const&) {
    return ENOMEM;
} catch (std::length_error const&) {
    return ENOMEM;
}

} // namespace zel
