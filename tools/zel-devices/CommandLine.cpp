#include "CommandLine.h"

#include <zel/foundation/Spelling.h>

#include <CLI/CLI.hpp>

namespace {

constexpr char kClassHelp[] =
    "Only devices of this class, with their parents as a path to them; may be given\n"
    "several times. Words are those in brackets that -v prints, in any case";
constexpr char kMaskHelp[] = "Placeholders instead of serial numbers, hardware and network addresses, host\n"
                             "names and UUIDs";
constexpr char kRootHelp[] = "Folder that stands for the machine's \"/\"";
constexpr char kFooter[] =
    "Directories that may not be read are named on standard error; the rest is listed.\n"
    "Exit status: 0 listed; 1 the root could not be read, the list not be printed, or devices may be "
    "missing;\n"
    "2 bad usage.\n"
    "Of compare: 0 no differences; 1 differences; 2 trouble.";
constexpr char kCompareFooter[] =
    "Left out, unless --all is given: readings that change by themselves (temperatures, clocks, counters, "
    "addresses) and the\nsystem's names of devices, which follow the order in which it found them.\n"
    "Exit status: 0 no differences; 1 differences; 2 trouble: a file that cannot be read or is no listing, a "
    "machine that\ncould not be read as a whole, output that could not be written, bad usage.";

struct Flags
{
    bool verbose = false, json = false, xml = false, html = false;
};

// The word that was not understood, and the nearest that would have been.
std::string unknownWord(CLI::App const& app, std::string const& fallback)
{
    std::vector<std::string> const words = app.remaining(true);
    if (words.empty())
        return fallback;
    std::string const word = words.front().substr(0, words.front().find('='));
    std::vector<zel::String> known;
    auto const parsed = app.get_subcommands();
    CLI::App const& asked = parsed.empty() ? app : *parsed.front();
    for (CLI::Option const* option : asked.get_options())
        for (std::string const& name : option->get_lnames())
            known.emplace_back("--" + name);
    for (CLI::App const* command : app.get_subcommands([](CLI::App const*) { return true; }))
        known.emplace_back(command->get_name());
    std::vector<zel::String> const meant = zel::nearestSpellings(zel::String(word), known);
    std::string const hint = meant.empty() ? "" : "; did you mean " + meant.front().toUtf8() + "?";
    return "\"" + word + "\" is not understood" + hint;
}

Form formOf(Flags const& flags)
{
    return flags.json      ? Form::Json
           : flags.xml     ? Form::Xml
           : flags.html    ? Form::Html
           : flags.verbose ? Form::Properties
                           : Form::Tree;
}

// What no option can say alone.
std::string contradictionOf(CLI::App const& app, Request const& request)
{
    std::string form;
    for (char const* one : {"--verbose", "--json", "--xml", "--html"})
        if (app.count(one) > 0) {
            if (!form.empty())
                return std::string(one) + " and " + form + " exclude each other";
            form = one;
        }
    if (!request.compare)
        return {};
    for (CLI::Option const* option : app.get_options())
        if (option->count() > 0)
            return option->get_name() + " stands before \"compare\"; its own options stand behind it";
    if (request.after.empty() && app.get_subcommand("compare")->count("B") > 0)
        return "compare: the second file has an empty name; to compare with this machine, give one file only";
    if (request.before == "-" && request.after == "-")
        return "compare: standard input (-) can be one of the two, not both";
    if (request.rootIsGiven && !request.after.empty())
        return "compare: --root goes with one file, which is compared with that machine";
    return {};
}

} // namespace

CommandLine parseCommandLine(int argc, char const* const* argv)
{
    CommandLine line;
    Request& request = line.request;
    Flags flags;
    CLI::App app(
        "Lists the devices of this machine, or of a machine whose /sys and /proc were captured: one line "
        "each, the most telling facts first.",
        "zel-devices");
    app.set_version_flag("--version", "zel-devices " KREL5_VERSION);
    app.add_flag("-v,--verbose", flags.verbose, "Every device with its properties");
    app.add_flag("--json", flags.json, "JSON, with typed values; compare reads it back");
    app.add_flag("--xml", flags.xml, "XML");
    app.add_flag("--html", flags.html, "One HTML page, complete in itself");
    CLI::App* const compare =
        app.add_subcommand("compare", "Say what differs between two saved listings, or one and this machine");
    for (CLI::App* const one : {&app, compare}) {
        one->add_option("--class", request.classes, kClassHelp)->type_name("WORD")->expected(1)->take_all();
        one->add_flag("--mask", request.mask, kMaskHelp);
        one->add_option("--root", request.root, kRootHelp)->type_name("DIR")->each([&request](auto const&) {
            request.rootIsGiven = true;
        });
    }
    compare->add_flag("--all", request.all, "Also what changes by itself");
    compare->add_option("A", request.before, "Listing saved with --json; - is standard input")->required();
    compare->add_option("B", request.after, "Another one; without it, this machine");
    app.footer(kFooter);
    compare->footer(kCompareFooter);
    try {
        app.parse(argc, argv);
    } catch (CLI::CallForHelp const&) {
        line.answer = app.help();
        return line;
    } catch (CLI::CallForVersion const& version) {
        line.answer = std::string(version.what()) + "\n";
        return line;
    } catch (CLI::ExtrasError const& error) {
        line.error = unknownWord(app, error.what());
        return line;
    } catch (CLI::ParseError const& error) {
        line.error = error.what();
        return line;
    }
    request.compare = compare->parsed();
    request.form = formOf(flags);
    line.error = contradictionOf(app, request);
    return line;
}
