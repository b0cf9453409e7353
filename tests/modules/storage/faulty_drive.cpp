// Loaded into a process ahead of the C library: /dev/sda is a drive of 4 MiB there, which holds zeros. The environment
// says what is wrong with it, or with a file that the process makes:
//   FAULTY_DRIVE      the error that reading it gives ...
//   FAULTY_SECTORS    ... and the first and the last of its sectors that do so; all from 1 MiB on
//   FAULTY_GEOMETRY   bytes of its logical and of its physical sectors, 512 and 512
//   FAULTY_CALLS      calls, what each gives, and how often, for ever without: "fsync EIO", "pread EINTR 2, open EACCES".
//                     "read" is pread of a file; what a call gives is an error, "nothing" or "half" of what was asked for

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <optional>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

int s_drive = -1;

constexpr int kNothing = -1, kHalf = -2;

int errorNamed(char const* name)
{
    struct
    {
        char const* m_name;
        int m_error;
    } const errors[] = {
        {"EIO", EIO},          {"ENODATA", ENODATA}, {"EILSEQ", EILSEQ}, {"EREMOTEIO", EREMOTEIO},
        {"EBADMSG", EBADMSG},  {"EBADE", EBADE},     {"EBUSY", EBUSY},   {"EAGAIN", EAGAIN},
        {"ENOLINK", ENOLINK},  {"ENXIO", ENXIO},     {"ENOMEM", ENOMEM}, {"ETIMEDOUT", ETIMEDOUT},
        {"EINTR", EINTR},      {"EINVAL", EINVAL},   {"EACCES", EACCES}, {"EDQUOT", EDQUOT},
        {"ENOSYS", ENOSYS},    {"ESPIPE", ESPIPE},   {"EISDIR", EISDIR}, {"EOPNOTSUPP", EOPNOTSUPP},
        {"nothing", kNothing}, {"half", kHalf}};
    for (auto const& one : errors)
        if (std::strcmp(name, one.m_name) == 0)
            return one.m_error;
    std::abort();
}

struct FaultyCall
{
    char m_name[32] = "", m_gives[32] = "";
    int m_times = 1 << 30;
};

struct FaultyCalls
{
    FaultyCall m_calls[2];

    FaultyCalls()
    {
        char const* text = std::getenv("FAULTY_CALLS");
        for (FaultyCall& one : m_calls) {
            if (text && *text &&
                std::sscanf(text, "%31s %31[^ ,]%d", one.m_name, one.m_gives, &one.m_times) < 2)
                std::abort();
            text = text ? std::strchr(text, ',') : nullptr;
            text = text ? text + 1 : nullptr;
        }
    }
};

/// What this call is to give now, an errno value, kNothing or kHalf; absent when it is to do its work.
std::optional<int> faultOf(char const* call)
{
    static FaultyCalls s_calls;
    for (FaultyCall& one : s_calls.m_calls)
        if (std::strcmp(call, one.m_name) == 0 && one.m_times-- > 0)
            return errorNamed(one.m_gives);
    return std::nullopt;
}

/// True where it is to fail, with errno set.
bool fails(char const* call)
{
    auto const fault = faultOf(call);
    if (fault)
        errno = *fault;
    return fault.has_value();
}

struct Pair
{
    long m_first, m_second;
    Pair(char const* name, long first, long second) : m_first(first), m_second(second)
    {
        if (char const* const text = std::getenv(name))
            if (std::sscanf(text, "%ld %ld", &m_first, &m_second) != 2)
                std::abort();
    }
};

Pair const& geometry()
{
    static Pair const s_pair("FAULTY_GEOMETRY", 512, 512);
    return s_pair;
}

template <typename Function>
Function next(char const* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

using Transfer = ssize_t (*)(int, void*, std::size_t, off_t);

/// Of pread and pwrite, with the fault that is to come up.
ssize_t transfer(char const* call, char const* faulty, int file, void* bytes, std::size_t size, off_t offset)
{
    auto const fault = faultOf(faulty);
    if (fault && *fault != kHalf) {
        errno = *fault;
        return *fault == kNothing ? 0 : -1;
    }
    return next<Transfer>(call)(file, bytes, fault ? std::max<std::size_t>(size / 2, 1) : size, offset);
}

ssize_t readDrive(void* into, std::size_t size, off_t offset)
{
    static Pair const s_bad("FAULTY_SECTORS", 2048, 8191);
    char const* const error = std::getenv("FAULTY_DRIVE");
    std::memset(into, 0, size);
    if (!error || offset + static_cast<off_t>(size) <= s_bad.m_first * 512 ||
        offset >= (s_bad.m_second + 1) * 512)
        return static_cast<ssize_t>(size);
    errno = errorNamed(error);
    return -1;
}

} // namespace

extern "C" {

int open(char const* path, int flags, ...)
{
    std::va_list rest;
    va_start(rest, flags);
    bool const nameless = (flags & O_TMPFILE) == O_TMPFILE;
    mode_t const mode = flags & O_CREAT || nameless ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    auto const real = next<int (*)(char const*, int, ...)>("open");
    bool const isDrive = std::strcmp(path, "/dev/sda") == 0;
    bool const isOpenFile = std::strncmp(path, "/proc/self/fd/", 14) == 0;
    if (fails(isDrive          ? "open"
              : nameless       ? "opennameless"
              : isOpenFile     ? "openagain"
              : flags & O_EXCL ? "opennew"
                               : "openanother"))
        return -1;
    return isDrive ? s_drive = real("/dev/null", O_RDONLY | O_CLOEXEC) : real(path, flags, mode);
}

int fstat(int file, struct stat* status)
{
    if (file == s_drive && fails("fstat"))
        return -1;
    int const result = next<int (*)(int, struct stat*)>("fstat")(file, status);
    if (result == 0 && file == s_drive)
        status->st_mode = S_IFBLK;
    return result;
}

int stat(char const* path, struct stat* status)
{
    if (std::strcmp(path, "/dev/sda") != 0)
        return next<int (*)(char const*, struct stat*)>("stat")(path, status);
    *status = {};
    status->st_mode = S_IFBLK;
    status->st_rdev = makedev(8, 0);
    return 0;
}

int ioctl(int file, unsigned long request, ...)
{
    std::va_list rest;
    va_start(rest, request);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    if (file != s_drive)
        return next<int (*)(int, unsigned long, ...)>("ioctl")(file, request, argument);
    if (fails(request == BLKGETSIZE64 ? "size" : request == BLKSSZGET ? "logical" : "physical"))
        return -1;
    if (request == BLKGETSIZE64)
        *static_cast<unsigned long long*>(argument) = 4 << 20;
    else
        *static_cast<int*>(argument) =
            static_cast<int>(request == BLKSSZGET ? geometry().m_first : geometry().m_second);
    return 0;
}

ssize_t pread(int file, void* into, std::size_t size, off_t offset)
{
    if (file != s_drive)
        return transfer("pread", "read", file, into, size, offset);
    auto const fault = faultOf("pread");
    if (!fault || *fault == kHalf)
        return readDrive(into, fault ? size / 2 : size, offset);
    errno = *fault;
    return *fault == kNothing ? 0 : -1;
}

ssize_t pwrite(int file, void const* from, std::size_t size, off_t offset)
{
    return transfer("pwrite", "pwrite", file, const_cast<void*>(from), size, offset);
}

int fsync(int file) { return fails("fsync") ? -1 : next<int (*)(int)>("fsync")(file); }

int sync_file_range(int file, off64_t offset, off64_t length, unsigned flags)
{
    return fails("sync") ? -1
                         : next<int (*)(int, off64_t, off64_t, unsigned)>("sync_file_range")(file, offset,
                                                                                             length, flags);
}

int unlink(char const* path) noexcept
{
    return fails("unlink") ? -1 : next<int (*)(char const*)>("unlink")(path);
}
}
