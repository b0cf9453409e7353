#include <engine/catalog/linux/PrivateFolder.h>

#include <zel/foundation/System.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <mutex>
#include <new>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace engine {

namespace fs = std::filesystem;

namespace {

// Not that of the folders of sockets, which stand below /tmp as well and have no lock.
constexpr std::string_view kName = "krel5-modules-", kPattern = "XXXXXX";
constexpr std::time_t kSettled = 60; // seconds: one that was made just now is locked a moment later

zel::FileDescriptor openFolder(std::string const& path)
{
    return zel::FileDescriptor::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK);
}

bool isStale(std::string const& path)
{
    zel::FileDescriptor const folder = openFolder(path);
    struct stat status;
    return folder.isOpen() && ::fstat(folder.number(), &status) == 0 && status.st_uid == ::geteuid() &&
           (status.st_mode & 07777) == 0700 && status.st_mtime + kSettled < std::time(nullptr) &&
           ::flock(folder.number(), LOCK_EX | LOCK_NB) == 0;
}

} // namespace

PrivateFolder::PrivateFolder()
{
    static std::once_flag s_isTidied;
    std::call_once(s_isTidied, removeStale);
    std::error_code error;
    m_path = (fs::temp_directory_path(error) / (std::string(kName) + std::string(kPattern))).string();
    if (error || !::mkdtemp(m_path.data())) {
        m_problem = m_path + ": " + zel::System::errorText(error ? error.value() : errno).toUtf8();
        m_path.clear();
        return;
    }
    m_lock = openFolder(m_path);
    if (m_lock.isOpen())
        ::flock(m_lock.number(), LOCK_EX | LOCK_NB); // nobody else has it; some file systems know no locks
}

PrivateFolder::~PrivateFolder()
{
    std::error_code ignored;
    if (!m_path.empty())
        fs::remove_all(m_path, ignored);
}

void PrivateFolder::removeStale() noexcept
try {
    std::error_code error;
    fs::directory_iterator it(fs::temp_directory_path(error), error);
    for (fs::directory_iterator const end; !error && it != end; it.increment(error)) {
        std::string const name = it->path().filename().string();
        std::error_code ignored;
        if (name.size() == kName.size() + kPattern.size() && name.starts_with(kName) &&
            isStale(it->path().string()))
            fs::remove_all(it->path(), ignored);
    }
} catch (std::bad_alloc const&) { // then they stay
}

} // namespace engine
