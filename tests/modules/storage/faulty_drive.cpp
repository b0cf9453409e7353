// Loaded into a process ahead of the C library: /dev/sda is a drive of 4 MiB there, which holds zeros and
// fails with the error named by FAULTY_DRIVE from 1 MiB on.

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int s_drive = -1;

int errorNamed(char const* name)
{
    struct
    {
        char const* m_name;
        int m_error;
    } const errors[] = {
        {"EIO", EIO},         {"ENODATA", ENODATA}, {"EILSEQ", EILSEQ}, {"EREMOTEIO", EREMOTEIO},
        {"EBADMSG", EBADMSG}, {"EBADE", EBADE},     {"EBUSY", EBUSY},   {"EAGAIN", EAGAIN},
        {"ENOLINK", ENOLINK}, {"ENXIO", ENXIO},     {"ENOMEM", ENOMEM}, {"ETIMEDOUT", ETIMEDOUT}};
    for (auto const& one : errors)
        if (name && std::strcmp(name, one.m_name) == 0)
            return one.m_error;
    std::abort();
}

template <typename Function>
Function next(char const* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int open(char const* path, int flags, ...)
{
    std::va_list rest;
    va_start(rest, flags);
    mode_t const mode = flags & (O_CREAT | __O_TMPFILE) ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    auto const real = next<int (*)(char const*, int, ...)>("open");
    if (std::strcmp(path, "/dev/sda") != 0)
        return real(path, flags, mode);
    return s_drive = real("/dev/null", O_RDONLY | O_CLOEXEC);
}

int fstat(int file, struct stat* status)
{
    int const result = next<int (*)(int, struct stat*)>("fstat")(file, status);
    if (result == 0 && file == s_drive)
        status->st_mode = S_IFBLK;
    return result;
}

int ioctl(int file, unsigned long request, ...)
{
    std::va_list rest;
    va_start(rest, request);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    if (file != s_drive)
        return next<int (*)(int, unsigned long, ...)>("ioctl")(file, request, argument);
    if (request == BLKGETSIZE64)
        *static_cast<unsigned long long*>(argument) = 4 << 20;
    else
        *static_cast<int*>(argument) = 512;
    return 0;
}

ssize_t pread(int file, void* into, std::size_t size, off_t offset)
{
    if (file != s_drive)
        return next<ssize_t (*)(int, void*, std::size_t, off_t)>("pread")(file, into, size, offset);
    std::memset(into, 0, size);
    if (offset < 1 << 20)
        return static_cast<ssize_t>(size);
    errno = errorNamed(std::getenv("FAULTY_DRIVE"));
    return -1;
}
}
