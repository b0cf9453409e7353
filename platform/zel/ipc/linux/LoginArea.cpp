#include <zel/ipc/linux/LoginArea.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>
#include <zel/ipc/IPCServer.h>
#include <zel/ipc/linux/Socket.h>

#include <charconv>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <set>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zel {
namespace {

constexpr std::string_view kFolder = "/dev/shm"; // where shm_open puts them
constexpr std::string_view kPrefix = "/krel5-engine-";
constexpr char kMagic[8] = {'Z', 'E', 'L', 'L', 'O', 'G', 'I', 'N'};
constexpr std::uint32_t kVersion = 1;
constexpr int kAttempts = 10;

// As it stands in the area, in the machine's own order: both ends are on one machine.
struct Layout
{
    char magic[sizeof kMagic];
    std::uint32_t version;
    std::uint32_t size;
    std::int64_t engine;
    char socketPath[104]; // zero-terminated
};
static_assert(sizeof(Layout) == 128);

[[noreturn]] void fail(std::string const& name, String const& reason)
{
    throw IPCException("Login area " + String(std::string(kFolder) + name) + ": " + reason);
}

bool isNameOf(std::string_view name, std::int64_t& engine)
{
    if (!name.starts_with(kPrefix))
        return false;
    char const* const end = name.data() + name.size();
    auto const result = std::from_chars(name.data() + kPrefix.size(), end, engine);
    return result.ec == std::errc() && result.ptr == end && engine > 0;
}

// Why a module must not believe it; empty when it may.
String distrust(struct stat const& area)
{
    if (!S_ISREG(area.st_mode))
        return "it is no shared memory";
    if (area.st_uid != 0 && area.st_uid != ::geteuid())
        return "it belongs to user " + String::number(std::uint64_t{area.st_uid}) +
               ", who is neither root nor the caller";
    if ((area.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        return "others than its owner may use it";
    if (area.st_size != sizeof(Layout))
        return "it is of another size than this version's";
    return String();
}

// Nothing, with the reason, for what is no area of this version. The size was looked at.
std::optional<LoginArea::Content> contentOf(FileDescriptor const& area, String& reason)
{
    Layout layout;
    if (retryOnInterrupt([&] { return ::pread(area.number(), &layout, sizeof layout, 0); }) != sizeof layout)
        reason = "it cannot be read";
    else if (std::memcmp(layout.magic, kMagic, sizeof kMagic) != 0 || layout.size != sizeof layout)
        reason = "it is no engine's";
    else if (layout.version != kVersion)
        reason = "version " + String::number(layout.version) + ", not " + String::number(kVersion);
    else if (layout.socketPath[0] != '/' || !std::memchr(layout.socketPath, 0, sizeof layout.socketPath))
        reason = "it names no socket";
    else
        return LoginArea::Content{layout.engine, layout.socketPath};
    return std::nullopt;
}

FileDescriptor openArea(std::string const& name)
{
    return FileDescriptor(::shm_open(name.c_str(), O_RDONLY | O_NONBLOCK, 0)); // follows no link
}

// An engine holds the lock for as long as it lives, whatever its process id is where we look from.
bool isInUse(FileDescriptor const& area) { return ::flock(area.number(), LOCK_SH | LOCK_NB) != 0; }

// Whether the name still stands for what was opened.
bool isStill(std::string const& name, FileDescriptor const& area)
{
    struct stat opened, named;
    return ::fstat(area.number(), &opened) == 0 &&
           ::lstat((std::string(kFolder) + name).c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
           opened.st_dev == named.st_dev;
}

// Makes room for an area of this process. Only an engine of this process's id could have left something there, and this
// process is that one now; unless somebody is in its way on purpose, or in another process id namespace.
void clear(std::string const& name)
{
    FileDescriptor const old = openArea(name);
    struct stat status;
    if (old.isOpen() && ::fstat(old.number(), &status) == 0 && status.st_uid == ::geteuid() && isInUse(old))
        fail(name, "it is in use by another engine");
    if (::shm_unlink(name.c_str()) != 0 && errno != ENOENT)
        fail(name, "something is in its way: " + System::errorText(errno));
    ZEL_LOG(linkLogger(), LogLevel::Warning)
        << "what stood in the way of the login area " << name << " was removed";
}

// Gives the socket that an area names which is in use.
std::string removeIfStale(std::string const& name)
{
    FileDescriptor const area = openArea(name);
    struct stat status;
    if (!area.isOpen() || ::fstat(area.number(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_uid != ::geteuid())
        return {};
    String ignored;
    auto const content = distrust(status).empty() ? contentOf(area, ignored) : std::nullopt;
    std::string const socket = content ? content->socketPath : "";
    if (isInUse(area))
        return socket;
    if (!isStill(name, area))
        return {};
    ZEL_LOG(linkLogger(), LogLevel::Information) << "removes the login area " << name << " of a dead engine";
    if (!socket.empty())
        removeSocket(socket);
    ::shm_unlink(name.c_str());
    return {};
}

} // namespace

std::string LoginArea::nameOf(std::int64_t engine) { return std::string(kPrefix) + std::to_string(engine); }

LoginArea::LoginArea(std::string const& socketPath) : m_name(nameOf(::getpid()))
{
    Layout layout{};
    std::memcpy(layout.magic, kMagic, sizeof kMagic);
    layout.version = kVersion;
    layout.size = sizeof layout;
    layout.engine = ::getpid();
    if (socketPath.size() >= sizeof layout.socketPath)
        fail(m_name, "the path of the socket is too long");
    std::memcpy(layout.socketPath, socketPath.data(), socketPath.size());
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        m_area = FileDescriptor(::shm_open(m_name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600));
        if (!m_area.isOpen() && errno != EEXIST)
            fail(m_name, System::errorText(errno));
        if (!m_area.isOpen()) {
            clear(m_name);
            continue;
        }
        // Another engine that cleans up may have had it between the two.
        retryOnInterrupt([&] { return ::flock(m_area.number(), LOCK_EX); });
        if (!isStill(m_name, m_area))
            continue;
        std::size_t written = 0;
        ::fchmod(m_area.number(), 0600); // whatever the umask took away
        if (int const error =
                writeAll(m_area.number(), reinterpret_cast<char const*>(&layout), sizeof layout, written)) {
            remove();
            fail(m_name, System::errorText(error));
        }
        return;
    }
    fail(m_name, "somebody is in its way");
}

void LoginArea::remove() noexcept { ::shm_unlink(m_name.c_str()); }

LoginArea::Content LoginArea::read(std::string const& name)
{
    std::int64_t engine = 0;
    if (!isNameOf(name, engine))
        fail(name, "no name of one");
    FileDescriptor const area = openArea(name);
    struct stat status;
    if (!area.isOpen() || ::fstat(area.number(), &status) != 0)
        fail(name, errno == ENOENT  ? String("there is no engine of that process id")
                   : errno == ELOOP ? String("it is a symbolic link")
                                    : System::errorText(errno));
    if (String const reason = distrust(status); !reason.empty())
        fail(name, reason);
    String reason;
    auto content = contentOf(area, reason);
    if (content && content->engine != engine)
        reason = "it is that of process " + String::number(content->engine);
    if (!reason.empty())
        fail(name, reason);
    return *std::move(content);
}

void LoginArea::removeStale() noexcept
try {
    std::unique_ptr<DIR, int (*)(DIR*)> const folder(::opendir(std::string(kFolder).c_str()), ::closedir);
    if (!folder)
        return;
    std::set<std::string> used;
    while (dirent const* const entry = ::readdir(folder.get())) {
        std::string const name = std::string("/") + entry->d_name;
        std::int64_t ignored = 0;
        if (isNameOf(name, ignored))
            used.insert(removeIfStale(name));
    }
    removeStaleSockets(used);
} catch (std::bad_alloc const&) { // then they stay
}

} // namespace zel
