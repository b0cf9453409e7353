#include <storage/Drive.h>
#include <storage/MountTable.h>
#include <storage/ScratchChoice.h>

#include <common/RandomSeed.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/fs.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace krel5::modules::storage {
namespace {

namespace fs = std::filesystem;

class Descriptor
{
public:
    explicit Descriptor(int number = -1) noexcept : m_number(number) {}
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_number, other.m_number);
        return *this;
    }
    ~Descriptor()
    {
        if (m_number != -1)
            ::close(m_number);
    }
    int get() const noexcept { return m_number; }
    explicit operator bool() const noexcept { return m_number != -1; }

private:
    int m_number;
};

class DescriptorSource : public BlockSource
{
public:
    DescriptorSource(Descriptor file, std::uint64_t size, std::uint32_t sectorSize, std::uint32_t unitSize)
        : m_file(std::move(file)), m_size(size), m_sectorSize(sectorSize), m_unitSize(unitSize)
    {}
    std::uint64_t size() const override { return m_size; }
    std::uint32_t sectorSize() const override { return m_sectorSize; }
    std::uint32_t unitSize() const override { return m_unitSize; }

    ReadOutcome readAt(std::uint64_t offset, std::span<std::byte> into) override
    {
        ReadOutcome outcome;
        while (outcome.m_bytes != into.size()) {
            ssize_t const got =
                ::pread(m_file.get(), into.data() + outcome.m_bytes, into.size() - outcome.m_bytes,
                        static_cast<off_t>(offset + outcome.m_bytes));
            if (got > 0) {
                // A bad sector in the middle first shows as a short read; going on brings its errno.
                outcome.m_bytes += static_cast<std::size_t>(got);
                if (outcome.m_bytes % m_sectorSize != 0)
                    return outcome;
            } else if (got == 0) {
                return outcome;
            } else if (errno != EINTR) {
                outcome.m_error = errno;
                return outcome;
            }
        }
        return outcome;
    }

private:
    Descriptor m_file;
    std::uint64_t m_size;
    std::uint32_t m_sectorSize;
    std::uint32_t m_unitSize;
};

Descriptor openRetrying(char const* path, int flags, mode_t mode = 0)
{
    int number;
    do
        number = ::open(path, flags | O_CLOEXEC, mode);
    while (number == -1 && errno == EINTR);
    return Descriptor(number);
}

/// With O_DIRECT where it is offered.
Descriptor openForReading(char const* path, int flags, bool& direct)
{
    Descriptor file = openRetrying(path, O_RDONLY | O_DIRECT | flags);
    direct = static_cast<bool>(file);
    if (!file && errno == EINVAL)
        file = openRetrying(path, O_RDONLY | flags);
    return file;
}

Descriptor makeNameless(std::string const& directory)
{
    Descriptor file = openRetrying(directory.c_str(), O_TMPFILE | O_RDWR, 0600);
    // EISDIR and EOPNOTSUPP: kernels and file systems without nameless files (open(2)).
    if (file || (errno != EOPNOTSUPP && errno != EISDIR))
        return file;
    // A name that nobody else has or can guess.
    std::string const name = directory + "/.storage-test-" + std::to_string(randomSeed());
    file = openRetrying(name.c_str(), O_CREAT | O_EXCL | O_NOFOLLOW | O_RDWR, 0600);
    if (file && ::unlink(name.c_str()) != 0) {
        int const error = errno;
        file = Descriptor();
        errno = error;
    }
    return file;
}

/// Bit by bit, so that a stop request does not wait for the whole file to reach the drive at the end. An
/// error of writing is told only once: the fsync at the end would not bring it again.
int writeOut(int file, std::uint64_t offset, std::uint64_t length)
{
    if (::sync_file_range(file, static_cast<off64_t>(offset), static_cast<off64_t>(length),
                          SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER) == 0)
        return 0;
    // File systems without it leave all to the fsync.
    bool const notOffered = errno == ENOSYS || errno == EINVAL || errno == ESPIPE || errno == EOPNOTSUPP;
    return notOffered || errno == EINTR ? 0 : errno;
}

int writeContent(int file, std::uint64_t size, SeededContent const& content, ScratchProgress const& progress)
{
    constexpr std::size_t kChunk = std::size_t(1) << 20;
    std::vector<std::byte> chunk(kChunk);
    for (std::uint64_t written = 0; written != size;) {
        if (!progress(written))
            return ECANCELED;
        auto const part = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, size - written));
        content.fill(written, std::span(chunk).first(part));
        for (std::size_t done = 0; done != part;) {
            ssize_t const put =
                ::pwrite(file, chunk.data() + done, part - done, static_cast<off_t>(written + done));
            if (put == -1 && errno == EINTR)
                continue;
            if (put <= 0)
                return put < 0 ? errno : EIO;
            done += static_cast<std::size_t>(put);
        }
        written += part;
        if (int const error = writeOut(file, written - part, part); error != 0)
            return error;
        // A file whose pages are all in memory takes a fifth of a second to be given up, which a stop would wait for.
        ::posix_fadvise(file, static_cast<off_t>(written - part), static_cast<off_t>(part),
                        POSIX_FADV_DONTNEED);
    }
    if (::fsync(file) != 0)
        return errno;
    ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
    return 0;
}

OpenedSource failed(int error, std::string place)
{
    OpenedSource opened;
    opened.m_error = error;
    opened.m_place = std::move(place);
    return opened;
}

OpenedSource failedAt(ScratchStep step, int error, std::string const& directory)
{
    OpenedSource opened = failed(error, directory);
    opened.m_driveFailed = isDriveFailure(error, step);
    return opened;
}

std::string firstLine(fs::path const& file)
{
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    return line;
}

/// The numbers of the device of a /sys/block folder, its partitions and its holders.
void addFamily(fs::path const& folder, int depth, std::vector<DeviceNumber>& family)
{
    if (auto const number = parseDeviceNumber(firstLine(folder / "dev")))
        family.push_back(*number);
    constexpr int kDeepest = 6; // encryption on volumes on a RAID on a partition is 5
    if (depth == kDeepest)
        return;
    std::error_code ignored;
    for (auto const& entry : fs::directory_iterator(folder, ignored))
        if (fs::exists(entry.path() / "partition", ignored))
            addFamily(entry.path(), depth + 1, family);
    for (auto const& holder : fs::directory_iterator(folder / "holders", ignored))
        addFamily(holder.path(), depth + 1, family);
}

/// The block device that was opened, or why it was not (errno).
OpenedSource source(Descriptor file, OpenedSource opened)
{
    std::string const path = opened.m_place;
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0)
        return failed(errno, path);
    if (!S_ISBLK(status.st_mode))
        return failed(ENOTBLK, path);
    std::uint64_t size = 0;
    int sectorSize = 0;
    if (::ioctl(file.get(), BLKGETSIZE64, &size) != 0 || ::ioctl(file.get(), BLKSSZGET, &sectorSize) != 0)
        return failed(errno, path);
    if (sectorSize < 512 || sectorSize > int(kReadAlignment) * 16)
        return failed(EINVAL, path);
    if (::fcntl(file.get(), F_SETFL, ::fcntl(file.get(), F_GETFL) & ~O_NONBLOCK) != 0)
        return failed(errno, path);
    // A drive made of 4 KiB sectors loses all of one. What claims more means the unit that it likes to be
    // written in.
    unsigned physical = 0;
    (void)::ioctl(file.get(), BLKPBSZGET, &physical); // which leaves the zero where it cannot tell
    bool const known =
        physical > 0 && physical <= kReadAlignment && physical % static_cast<unsigned>(sectorSize) == 0;
    opened.m_source =
        std::make_unique<DescriptorSource>(std::move(file), size, static_cast<std::uint32_t>(sectorSize),
                                           known ? physical : static_cast<std::uint32_t>(sectorSize));
    return opened;
}

} // namespace

OpenedSource openDrive(std::string const& path)
{
    OpenedSource opened;
    opened.m_place = path;
    // O_NONBLOCK: neither a pipe of that name nor a drive without medium may hold the open.
    Descriptor file = openForReading(path.c_str(), O_NONBLOCK, opened.m_direct);
    return source(std::move(file), std::move(opened));
}

WritableDrive openDriveForWriting(std::string const& path)
{
    WritableDrive drive;
    struct stat status = {}; // what is no device is not opened for writing
    if (::stat(path.c_str(), &status) != 0)
        drive.error = errno;
    else if (!S_ISBLK(status.st_mode))
        drive.error = ENOTBLK;
    if (drive.error != 0)
        return drive;
    Descriptor file = openRetrying(path.c_str(), O_RDWR | O_EXCL | O_DIRECT | O_NONBLOCK);
    int const number = file.get();
    OpenedSource opened = source(std::move(file), OpenedSource());
    drive.error = opened.m_error;
    drive.source = std::move(opened.m_source);
    drive.write = [number](std::uint64_t offset, std::span<std::byte const> bytes) {
        for (std::size_t done = 0; done != bytes.size();) {
            ssize_t const put =
                ::pwrite(number, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
            if (put == -1 && errno == EINTR)
                continue;
            if (put <= 0)
                return put < 0 ? errno : EIO;
            done += static_cast<std::size_t>(put);
        }
        return 0;
    };
    drive.sync = [number] { return ::fsync(number) == 0 ? 0 : errno; };
    return drive;
}

std::vector<std::string> scratchDirectories(std::string const& drivePath)
{
    struct stat status = {};
    (void)::stat(drivePath.c_str(), &status); // which leaves the zeros where it fails
    if (!S_ISBLK(status.st_mode))
        return {};
    std::vector<DeviceNumber> family;
    addFamily("/sys/dev/block/" + std::to_string(major(status.st_rdev)) + ":" +
                  std::to_string(minor(status.st_rdev)),
              0, family);
    std::ifstream table("/proc/self/mountinfo");
    std::ostringstream text;
    text << table.rdbuf();
    auto directories = writableMounts(parseMountInfo(text.str()), family);
    // Another file system may have been mounted over one of these since.
    std::erase_if(directories, [&family](std::string const& directory) {
        struct stat there = {};
        return ::stat(directory.c_str(), &there) != 0 ||
               std::find(family.begin(), family.end(),
                         DeviceNumber(major(there.st_dev), minor(there.st_dev))) == family.end();
    });
    return directories;
}

OpenedSource makeScratchFile(std::string const& directory, std::uint64_t size, SeededContent const& content,
                             ScratchProgress const& progress)
{
    struct statvfs space = {};
    if (::statvfs(directory.c_str(), &space) != 0)
        return failedAt(ScratchStep::Making, errno, directory);
    std::uint64_t const free = std::uint64_t(space.f_bavail) * space.f_frsize;
    if (free / 2 < size) {
        OpenedSource opened = failed(ENOSPC, directory);
        opened.m_free = free;
        opened.m_wanted = size * 2;
        return opened;
    }
    Descriptor writing = makeNameless(directory);
    if (!writing)
        return failedAt(ScratchStep::Making, errno, directory);
    if (int const error = writeContent(writing.get(), size, content, progress); error != 0) {
        OpenedSource opened = failedAt(ScratchStep::Writing, error, directory);
        opened.m_free = free;
        return opened;
    }
    OpenedSource opened;
    opened.m_place = directory;
    std::string const itself = "/proc/self/fd/" + std::to_string(writing.get());
    Descriptor reading = openForReading(itself.c_str(), 0, opened.m_direct);
    if (!reading)
        return failedAt(ScratchStep::Making, errno, directory);
    // What a file system demands for direct reads is at most the page size.
    opened.m_source = std::make_unique<DescriptorSource>(std::move(reading), size, SeededContent::kUnit,
                                                         SeededContent::kUnit);
    return opened;
}

} // namespace krel5::modules::storage
