#include <zel/foundation/linux/PipeTransfer.h>

#include <zel/foundation/linux/BrokenPipesAreErrors.h>
#include <zel/foundation/linux/FileDescriptor.h>

#include <fcntl.h>
#include <memory>
#include <new>
#include <poll.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace zel {
namespace {

constexpr int kSliceMilliseconds = 100;
// What anybody may ask for as the system is shipped (/proc/sys/fs/pipe-max-size). A pipe begins with kUsualPipe, so
// that both sides would wake sixteen times as often.
constexpr int kPipeBytes = 1 << 20;
constexpr std::size_t kUsualPipe = 64u << 10;
constexpr std::size_t kPiece = 256u << 10; // of one read: what a processor's nearer cache holds

// Whoever may not have that much, or has no pipe, works with what there is.
void widen(int descriptor) noexcept
{
    if (::fcntl(descriptor, F_GETPIPE_SZ) < kPipeBytes)
        ::fcntl(descriptor, F_SETPIPE_SZ, kPipeBytes);
}

// 0 once a read or a write would not wait. A negative number is one that poll(2) passes over, and waits.
int waitFor(int descriptor, short events, StopWaiting stop)
{
    if (descriptor < 0)
        return EBADF;
    pollfd request{descriptor, events, 0};
    for (;;) {
        if (stop && stop())
            return ECANCELED;
        int const ready = ::poll(&request, 1, stop ? kSliceMilliseconds : -1);
        if (ready > 0)
            return 0;
        if (ready < 0 && errno != EINTR)
            return errno;
    }
}

// The end of a pipe that is only written to never becomes readable, and poll(2) waits for it without end.
bool isOnlyWritten(int descriptor) noexcept
{
    int const flags = ::fcntl(descriptor, F_GETFL);
    return flags != -1 && (flags & O_ACCMODE) == O_WRONLY;
}

// A write to a blocking pipe or socket returns when everything is written, however long its reader takes.
class NonBlocking
{
public:
    explicit NonBlocking(int descriptor) noexcept : m_descriptor(descriptor)
    {
        struct stat status;
        if (::fstat(descriptor, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode)))
            m_before = ::fcntl(descriptor, F_GETFL);
        if (changes())
            ::fcntl(m_descriptor, F_SETFL, m_before | O_NONBLOCK);
    }
    ~NonBlocking()
    {
        if (changes())
            ::fcntl(m_descriptor, F_SETFL, m_before);
    }
    NonBlocking(NonBlocking const&) = delete;
    NonBlocking& operator=(NonBlocking const&) = delete;

private:
    bool changes() const noexcept { return (m_before & O_NONBLOCK) == 0; }

    int m_descriptor;
    int m_before = O_NONBLOCK; // nothing to be changed
};

} // namespace

int readPipe(int descriptor, std::string& content, std::size_t limit, StopWaiting stop)
try {
    if (isOnlyWritten(descriptor))
        return EBADF;
    widen(descriptor);
    content.clear();
    // Appended, the text grows without being filled with zeros first, and half of its room is never touched.
    auto const piece = std::make_unique_for_overwrite<char[]>(kPiece);
    for (;;) {
        if (int const error = stop ? waitFor(descriptor, POLLIN, stop) : 0; error != 0)
            return error;
        ssize_t const count = ::read(descriptor, piece.get(), kPiece);
        if (count == 0)
            return 0;
        if (count > 0)
            content.append(piece.get(), static_cast<std::size_t>(count));
        else if (errno == EAGAIN) {
            if (int const error = waitFor(descriptor, POLLIN, stop); error != 0)
                return error;
        } else if (errno != EINTR)
            return errno;
        if (content.size() > limit)
            return EFBIG;
    }
} catch (std::bad_alloc const&) {
    return ENOMEM;
} catch (std::length_error const&) {
    return ENOMEM;
}

int writePipe(int descriptor, std::string_view bytes, std::size_t& written, StopWaiting stop)
{
    BrokenPipesAreErrors const guard;
    written = 0;
    if (bytes.size() > kUsualPipe)
        widen(descriptor);
    if (!stop)
        return writeAll(descriptor, bytes.data(), bytes.size(), written);
    NonBlocking const mode(descriptor);
    while (written < bytes.size()) {
        ssize_t const count = ::write(descriptor, bytes.data() + written, bytes.size() - written);
        if (count >= 0)
            written += static_cast<std::size_t>(count);
        else if (errno != EAGAIN && errno != EINTR)
            return errno;
        else if (int const error = waitFor(descriptor, POLLOUT, stop); error != 0)
            return error;
    }
    return 0;
}

} // namespace zel
