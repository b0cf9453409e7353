#pragma once
// Descriptors of this operating system: owned, read and written whole, with EINTR handled here and nowhere
// else.

#include <zel/foundation/Export.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>

namespace zel {

/// Repeats a system call for as long as a signal interrupts it.
template <typename Call>
auto retryOnInterrupt(Call call) noexcept
{
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

/// Closes its descriptor when destroyed. Thread rule: as an int.
class ZEL_EXPORT FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) noexcept : m_number(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(m_number, other.m_number);
        return *this;
    }
    ~FileDescriptor();

    /// open(2), close-on-exec always. Not open on failure, with the reason in errno.
    static FileDescriptor open(char const* path, int flags, unsigned mode = 0) noexcept;

    /// For what stays open: away from 0 to 2, which a host that has closed them may mean to be closed, or open anew. It stays where it
    /// is when there is no other number. For signal handlers, too.
    void leaveStandardNumbers() noexcept;

    bool isOpen() const noexcept { return m_number >= 0; }
    int number() const noexcept { return m_number; }
    int release() noexcept { return std::exchange(m_number, -1); }

private:
    int m_number = -1;
};

/// Writes everything, waiting where the descriptor is non-blocking and `waitWhenFull` is set. Returns 0 or an
/// errno value; `written` counts the bytes that went out.
ZEL_EXPORT int writeAll(int descriptor, char const* bytes, std::size_t size, std::size_t& written,
                        bool waitWhenFull = true) noexcept;

/// Appends everything up to the end to `content`. Returns 0 or an errno value: EFBIG beyond `limit` bytes,
/// ENOMEM without memory. `expected` bytes, 0 for not known, are asked for at once.
ZEL_EXPORT int readAll(int descriptor, std::string& content, std::size_t limit, std::size_t expected = 0);

} // namespace zel
