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

bool showsUnicode() noexcept
{
    for (char const* const name : {"LC_ALL", "LC_CTYPE", "LANG"})
        if (char const* const value = std::getenv(name); value && *value) {
            std::string_view const locale(value);
            return locale.find("UTF-8") != std::string_view::npos ||
                   locale.find("utf8") != std::string_view::npos;
        }
    return false;
}

bool canRedraw(int descriptor) noexcept
{
    char const* const kind = std::getenv("TERM");
    return ::isatty(descriptor) == 1 && kind && *kind && std::string_view(kind) != "dumb";
}

} // namespace engine
