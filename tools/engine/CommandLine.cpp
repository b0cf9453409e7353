#include <engine/CommandLine.h>

#include <CLI/CLI.hpp>

namespace engine {

CommandLine parseCommandLine(int argc, char const* const* argv)
{
    CommandLine line;
    CLI::App app(
        "Finds the bad part of a machine: runs the tests of all modules and says what became of each.",
        "krel5-engine");
    app.set_version_flag("--version", "krel5-engine " KREL5_VERSION);
    try {
        app.parse(argc, argv);
    } catch (CLI::CallForHelp const&) {
        line.answer = app.help();
    } catch (CLI::CallForVersion const& version) {
        line.answer = std::string(version.what()) + "\n";
    } catch (CLI::ParseError const& error) {
        line.error = error.what();
    }
    return line;
}

} // namespace engine
