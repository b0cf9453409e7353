#include <sensors/MachineFiles.h>

#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace krel5::modules::sensors {

MachineFiles::MachineFiles(std::string const& root)
    : m_root(::open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)), m_isLive(root == "/")
{
    if (m_root < 0)
        throw std::system_error(errno, std::generic_category(), root);
}

MachineFiles::~MachineFiles() { close(m_root); }

int MachineFiles::open(std::string const& path, int flags) const
{
    // This machine needs no confining, and its kernel may be older than openat2 (Linux 5.6), or a sandbox refuse it.
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

bool MachineFiles::canOpen(std::string const& path, int flags) const
{
    int const file = open(path, flags);
    if (file >= 0)
        close(file);
    return file >= 0;
}

bool MachineFiles::isFolder(std::string const& path) const { return canOpen(path, O_PATH | O_DIRECTORY); }
bool MachineFiles::isThere(std::string const& path) const { return canOpen(path, O_PATH); }

MachineFiles::Answer MachineFiles::read(std::string const& path, std::size_t limit) const
{
    constexpr std::size_t kPiece = 4096;
    int const file = open(path, O_RDONLY | O_NOCTTY);
    if (file < 0)
        return {{}, errno};
    Answer answer;
    std::size_t used = 0;
    while (used < limit) {
        if (used == answer.content.size())
            answer.content.resize(std::min(limit, std::max(kPiece, 2 * used)));
        ssize_t const got = ::read(file, answer.content.data() + used, answer.content.size() - used);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            answer.error = errno;
        if (got <= 0)
            break;
        used += static_cast<std::size_t>(got);
    }
    close(file);
    answer.content.resize(used);
    return answer;
}

std::optional<double> numberIn(std::string_view text)
{
    auto const number = zel::text::toNumber(zel::text::firstLine(text));
    if (number)
        return static_cast<double>(*number);
    auto const count = zel::text::toUnsigned(zel::text::firstLine(text)); // beyond 2^63
    return count ? std::optional(static_cast<double>(*count)) : std::nullopt;
}

} // namespace krel5::modules::sensors
