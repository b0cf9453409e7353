#include "CommandLine.h"

#include <listing/command/DevicesOptions.h>
#include <listing/command/Usage.h>

#include <CLI/CLI.hpp>

namespace {

constexpr char kFooter[] =
    "Directories that may not be read are named on standard error; the rest is listed.\n"
    "Exit status: 0 listed; 1 the root could not be read, the list not be printed, or devices may be "
    "missing;\n"
    "2 bad usage.\n"
    "Of compare: 0 no differences; 1 differences; 2 trouble.";

// Options of the listing in front of the other command.
std::string misplaced(CLI::App const& app)
{
    for (CLI::Option const* option : app.get_options())
        if (option->count() > 0)
            return option->get_name() + " stands before \"compare\"; its own options stand behind it";
    return {};
}

} // namespace

CommandLine parseCommandLine(int argc, char const* const* argv)
{
    CommandLine line;
    CLI::App app(
        "Lists the devices of this machine, or of a machine whose /sys and /proc were captured: one line "
        "each, the most telling facts first.",
        "zel-devices");
    app.set_version_flag("--version", "zel-devices " KREL5_VERSION);
    CLI::App* const compare =
        app.add_subcommand("compare", "Say what differs between two saved listings, or one and this machine");
    listing::DevicesOptions options(line.request);
    options.addListing(app);
    options.addCompare(*compare);
    app.footer(kFooter);
    listing::takeNoValuesForFlags(app);
    line.error = listing::missingValue(app, argc, argv);
    if (!line.error.empty())
        return line;
    try {
        app.parse(argc, argv);
    } catch (CLI::CallForHelp const&) {
        line.answer = app.help();
        return line;
    } catch (CLI::CallForVersion const& version) {
        line.answer = std::string(version.what()) + "\n";
        return line;
    } catch (CLI::ParseError const& error) {
        line.error = listing::usageError(app, error);
        return line;
    }
    line.compare = compare->parsed();
    line.error = options.finishListing(app);
    if (line.error.empty() && line.compare)
        line.error = misplaced(app);
    if (line.error.empty() && line.compare)
        line.error = options.finishCompare(*compare);
    return line;
}
