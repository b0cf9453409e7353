#include <zel/foundation/Console.h>

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace zel {
namespace {

constexpr std::size_t kLongestLine = 64u << 10;
constexpr int kPollMilliseconds = 100;
constexpr int kWriterMilliseconds = 1000;

std::string& pending()
{
    static std::string s_pending; // read but not yet handed out
    return s_pending;
}

bool readable(int milliseconds)
{
    pollfd one{STDIN_FILENO, POLLIN, 0};
    return ::poll(&one, 1, milliseconds) > 0;
}

/// Data: something was added to pending(). End also of what cannot be read.
enum class Fill { Data, End, Interrupted };

Fill fill()
{
    char bytes[4096];
    ssize_t const count = ::read(STDIN_FILENO, bytes, sizeof bytes);
    if (count > 0) {
        pending().append(bytes, static_cast<std::size_t>(count));
        return Fill::Data;
    }
    return count < 0 && errno == EINTR ? Fill::Interrupted : Fill::End;
}

bool takeLine(String& line, bool atEnd)
{
    std::string& text = pending();
    std::size_t const end = text.find('\n');
    if (end == std::string::npos && text.size() <= kLongestLine && (!atEnd || text.empty()))
        return false;
    std::size_t const length = std::min({end, text.size(), kLongestLine});
    line = String(text.substr(0, length));
    text.erase(0, length + (length == end ? 1 : 0));
    return true;
}

} // namespace

bool Console::canAsk()
{
    if (echoes() || !pending().empty())
        return true;
    struct stat status = {};
    bool const hasWriter =
        ::fstat(STDIN_FILENO, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
    return readable(hasWriter ? kWriterMilliseconds : 0) && fill() == Fill::Data;
}

bool Console::echoes() { return ::isatty(STDIN_FILENO) == 1; }

bool Console::readLine(String& line, std::function<bool()> const& stopped)
{
    while (!takeLine(line, false)) {
        if (stopped())
            return false;
        if (!readable(kPollMilliseconds))
            continue;
        if (fill() == Fill::End)
            return takeLine(line, true);
    }
    return true;
}

} // namespace zel
