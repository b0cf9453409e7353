#include <engine/show/linux/Terminal.h>

#include <cstdlib>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace engine {

TerminalSize terminalSize(int descriptor) noexcept
{
    winsize size{};
    if (::isatty(descriptor) != 1 || ::ioctl(descriptor, TIOCGWINSZ, &size) != 0)
        return {};
    return {size.ws_col, size.ws_row};
}

bool canRedraw(int descriptor) noexcept
{
    char const* const kind = std::getenv("TERM");
    return ::isatty(descriptor) == 1 && kind && *kind && std::string_view(kind) != "dumb";
}

} // namespace engine
