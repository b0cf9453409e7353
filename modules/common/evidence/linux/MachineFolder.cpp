#include <common/evidence/MachineFolder.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace krel5::modules {

MachineFolder::MachineFolder(std::string const& root)
    : m_root(::open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)), m_isLive(root == "/")
{
    if (m_root < 0 && (errno == EMFILE || errno == ENFILE || errno == ENOMEM))
        m_shortage = errno;
}

MachineFolder::~MachineFolder()
{
    if (m_root >= 0)
        close(m_root);
}

int MachineFolder::open(std::string const& path, int flags) const
{
    int const file = openOnce(path, flags);
    int none = 0;
    if (file < 0 && (errno == EMFILE || errno == ENFILE || errno == ENOMEM)) {
        int const reason = errno;
        m_shortage.compare_exchange_strong(none, reason);
        errno = reason;
    }
    return file;
}

int MachineFolder::openOnce(std::string const& path, int flags) const
{
    // This machine needs no confining, and its kernel may be older than openat2 (Linux 5.6), or a sandbox refuse it:
    // nothing would be seen then, and nothing said.
    if (m_isLive)
        return openat(m_root, path.c_str(), flags | O_CLOEXEC);
    open_how how{};
    how.flags = static_cast<unsigned>(flags) | O_CLOEXEC;
    how.resolve = RESOLVE_IN_ROOT; // a link of a copied machine does not lead to this one
    constexpr int kAttempts = 8;   // it answers EAGAIN while anything is renamed, and a path leads upwards
    int file = -1;
    for (int i = 0; i < kAttempts && file < 0 && (i == 0 || errno == EAGAIN); ++i)
        file = static_cast<int>(syscall(SYS_openat2, m_root, path.c_str(), &how, sizeof how));
    return file;
}

std::optional<std::string> MachineFolder::read(std::string const& path, std::size_t limit) const
{
    // Not blocking: a copied tree may hold a FIFO.
    int const file = open(path, O_RDONLY | O_NOCTTY | O_NONBLOCK);
    if (file < 0)
        return std::nullopt;
    std::string content(std::min<std::size_t>(limit + 1, 4096), '\0');
    std::size_t used = 0;
    ssize_t got = 0;
    while (used <= limit) {
        if (used == content.size())
            content.resize(std::min(limit + 1, 2 * used));
        got = ::read(file, content.data() + used, content.size() - used);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        used += static_cast<std::size_t>(got);
    }
    close(file);
    if (got < 0 || used > limit)
        return std::nullopt;
    content.resize(used);
    return content;
}

HeldFile::~HeldFile()
{
    if (m_file >= 0)
        close(m_file);
}

std::optional<std::string> HeldFile::attribute() const
{
    char content[4096]; // more than that no attribute of sysfs holds
    ssize_t got = 0;
    do
        got = pread(m_file, content, sizeof content, 0);
    while (got < 0 && errno == EINTR);
    return got >= 0 && std::size_t(got) < sizeof content
               ? std::optional(std::string(content, std::size_t(got)))
               : std::nullopt;
}

HeldFile MachineFolder::hold(std::string const& path) const
{
    constexpr rlim_t kSpare = 64; // a test opens files itself
    // Not blocking: a copied tree may hold a FIFO.
    int const file = open(path, O_RDONLY | O_NOCTTY | O_NONBLOCK);
    rlimit limit{};
    HeldFile held(file);
    bool const isSpare = getrlimit(RLIMIT_NOFILE, &limit) == 0 && rlim_t(file) + kSpare >= limit.rlim_cur;
    return file >= 0 && isSpare ? HeldFile() : std::move(held);
}

std::optional<std::string> MachineFolder::attribute(std::string const& path) const
{
    return HeldFile(open(path, O_RDONLY | O_NOCTTY | O_NONBLOCK)).attribute();
}

std::optional<double> MachineFolder::reading(std::string const& path) const
{
    constexpr std::uint64_t kMost = std::uint64_t{1} << 40;
    std::string const text = word(path);
    bool const isNegative = text.starts_with('-');
    auto const size = wholeNumber(std::string_view(text).substr(isNegative ? 1 : 0));
    if (!size || *size > kMost)
        return std::nullopt;
    return isNegative ? -static_cast<double>(*size) : static_cast<double>(*size);
}

std::string MachineFolder::word(std::string const& path) const
{
    std::string text = attribute(path).value_or(std::string());
    text.erase(text.find_last_not_of(" \n") + 1);
    return text;
}

std::optional<std::uint64_t> MachineFolder::number(std::string const& path) const
{
    auto const content = attribute(path);
    return content ? wholeNumber(*content) : std::nullopt;
}

bool MachineFolder::has(std::string const& path) const
{
    int const file = open(path, O_PATH);
    if (file >= 0)
        close(file);
    return file >= 0;
}

std::vector<std::string> MachineFolder::list(std::string const& path) const
{
    std::vector<std::string> names;
    int const folder = open(path, O_RDONLY | O_DIRECTORY);
    DIR* const entries = folder >= 0 ? fdopendir(folder) : nullptr;
    if (!entries) {
        if (folder >= 0)
            close(folder);
        return names;
    }
    while (dirent const* const entry = readdir(entries))
        if (entry->d_name[0] != '.')
            names.emplace_back(entry->d_name);
    closedir(entries);
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<std::string> MachineFolder::resolve(std::string const& path) const
{
    int const there = open(path, O_PATH), root = open(".", O_PATH);
    auto const nameOf = [](int file) -> std::optional<std::string> {
        char name[PATH_MAX];
        ssize_t const length = readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), name, sizeof name);
        return length > 0 && length < PATH_MAX ? std::optional(std::string(name, std::size_t(length)))
                                               : std::nullopt;
    };
    auto target = there >= 0 ? nameOf(there) : std::nullopt, base = root >= 0 ? nameOf(root) : std::nullopt;
    for (int const file : {there, root})
        if (file >= 0)
            close(file);
    if (!target || !base)
        return std::nullopt;
    if (!base->ends_with('/'))
        *base += '/';
    return target->starts_with(*base) ? std::optional(target->substr(base->size())) : std::nullopt;
}

std::optional<std::uint64_t> wholeNumber(std::string_view text, int base)
{
    constexpr std::string_view kBlanks = " \t\n";
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    text = text.substr(0, text.find_last_not_of(kBlanks) + 1);
    std::uint64_t number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size() && !text.empty() ? std::optional(number)
                                                                                     : std::nullopt;
}

} // namespace krel5::modules
