#include <listing/command/Console.h>

#include <listing/forms/Listing.h>

#include <zel/foundation/System.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace listing {

namespace {

struct Program
{
    std::string name, version;
};

Program& program()
{
    static Program s_program;
    return s_program;
}

} // namespace

void setProgram(std::string const& name, std::string const& version) { program() = {name, version}; }

std::string const& programName() { return program().name; }

std::string const& programVersion() { return program().version; }

void complain(std::string const& what) { std::cerr << programName() << ": " << harmless(what) << "\n"; }

bool printed(std::string const& text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0)
        return true;
    int const error = errno;
    if (error == EPIPE)
        return true; // "| head"
    complain("standard output: " + zel::System::errorText(error).toUtf8());
    return false;
}

std::size_t terminalWidth()
{
    winsize size{};
    return isatty(STDOUT_FILENO) && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::string now()
{
    std::time_t const seconds = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc)};
}

} // namespace listing
