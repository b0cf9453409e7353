#include <engine/CommandLine.h>

#include <listing/command/DevicesOptions.h>
#include <listing/command/Usage.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <iterator>

namespace engine {

namespace {

constexpr char kFooter[] =
    "Examples:\n"
    "  krel5-engine run                          the quick plan over all modules: a few minutes\n"
    "  krel5-engine run --plan thorough          over night\n"
    "  krel5-engine run memory:thorough          one test\n"
    "  krel5-engine run storage --device /dev/sda   all that can be done to one drive without harm\n"
    "  krel5-engine list                         what there is to run here, and what not, and why\n"
    "  krel5-engine why storage:smart            what stands in the way of a test\n"
    "  krel5-engine watch                        temperatures and other readings, live, with alerts\n"
    "Tests run as root only. krel5-engine COMMAND --help says more; so does docs/engine.md.";

constexpr char kListFooter[] =
    "Examples:\n"
    "  krel5-engine list                  what can be tested here, what not, and why\n"
    "  krel5-engine list storage --all    one module, with the parameters that run --set takes\n"
    "Every test has a number, which \"run\" takes for its name; so has every device, which --device takes.\n"
    "Works without root as far as the system shows its devices to everybody.\n"
    "Exit status: 0 listed; 22 bad usage, or the list could not be written; 28 modules or devices may be "
    "missing.";

constexpr char kWhyFooter[] = "Example:\n"
                              "  krel5-engine why storage:smart\n"
                              "Exit status: 0 answered; 22 bad usage; 28 modules or devices may be missing.";

constexpr char kRunFooter[] =
    "Tests are MODULE, MODULE:TEST, TEST where only one module has it, or numbers of \"list\" (3, 1,4, 2-5): "
    "keys\n"
    "or the names that a person reads, in any case of letters; * and ? are wildcards (quote them for the "
    "shell).\n"
    "Without any, and without --plan, the plan \"quick\" runs. With both, of the plan only these tests.\n"
    "Examples:\n"
    "  krel5-engine run memory:quick --set SizeMiB=4096 --timeout 30m\n"
    "  krel5-engine run 'cpu:*' --for 12h             burn-in: each test again and again for 12 hours\n"
    "  krel5-engine run storage --device 3 --set storage:readrandom.Reads=50000\n"
    "  krel5-engine run --plan standard --dry-run     says what would run, and what not\n"
    "A test that destroys data runs only when it is named itself, or with --destructive.\n"
    "Exit status, the worst of all: 0 everything passed; 23 a test failed; 22 something broke, or bad usage; "
    "24 stopped;\n"
    "51 a test warns; 28 something could not be tested.";

constexpr char kWatchFooter[] =
    "Examples:\n"
    "  krel5-engine watch                       all that there is to read, until Ctrl-C\n"
    "  krel5-engine watch sensors --device /dev/sda --interval 1\n"
    "  krel5-engine watch --json --for 10m > readings.jsonl       a line an event, for programs\n"
    "  krel5-engine watch --prometheus 9273     for Prometheus on this machine\n"
    "Exit status: 0 watched to the end; 22 bad usage, or what was read could not be written; 23 an alert "
    "that\n"
    "is critical stood at the end, 51 another alert; 28 a module ended by itself, or was silent to the end; "
    "26 not root.";

constexpr char kReportFooter[] =
    "Examples:\n"
    "  krel5-engine report night.jsonl                          what failed, as text to be mailed\n"
    "  krel5-engine report night.jsonl --to html --output night.html   a page to be printed or handed in\n"
    "  krel5-engine report night.jsonl --to junit --output night.xml   for a build server\n"
    "\"run\" and \"last\" say where the report is.\n"
    "Exit status: 0 the page was written, also that of a FAIL; 22 bad usage, a report that is damaged or "
    "cannot\n"
    "be read, or a page that cannot be written.";

constexpr char kLastFooter[] =
    "Examples:\n"
    "  sudo krel5-engine last            what root's last session found, and where its report is\n"
    "  krel5-engine last --json          the same, for programs\n"
    "After a crash of the machine it names the test that was running, its device, and how far it was.\n"
    "Exit status: 0 told, also that of a FAIL; 22 there is no report, or it is damaged.";

constexpr char kInventoryFooter[] =
    "Examples:\n"
    "  krel5-engine inventory --class HardDrive -v      the drives, with all that is known of them\n"
    "  sudo krel5-engine inventory --json > before.json       kept, to be compared with later\n"
    "  sudo krel5-engine inventory --html --mask > page.html  a page to give away, without serial numbers\n"
    "Without root some properties are missing, which standard error tells.\n"
    "Exit status: 0 listed; 1 the root could not be read, the list not be printed, or devices may be "
    "missing;\n"
    "2 bad usage.";

constexpr char kCompareExamples[] =
    "Examples:\n"
    "  sudo krel5-engine compare before.json            what changed in this machine since it was saved\n"
    "  krel5-engine compare before.json after.json      what differs between two that were saved\n";

void addWhere(CLI::App& app, SituationRequest& where, bool withRoot)
{
    app.add_option("--modules", where.modules,
                   "Further modules: a folder of them, or a program; may be given several times")
        ->type_name("PATH")
        ->allow_extra_args(false)
        ->take_all();
    app.add_flag("--only-modules", where.isAlone, "Only those of --modules, not the installed ones");
    app.add_option("--lang", where.language, "Language of names and texts (de); else that of LANG")
        ->type_name("TAG");
    if (withRoot)
        app.add_option("--root", where.root, "Folder that stands for the machine's \"/\": a captured machine")
            ->type_name("DIR");
}

void addAllowedHosts(CLI::App& app, std::vector<std::string>& hosts)
{
    app.add_option("--allow-host", hosts,
                   "Modules may have pages fetched from there over HTTP; may be given several times. Else "
                   "from nowhere")
        ->type_name("HOST[:PORT]")
        ->allow_extra_args(false)
        ->take_all();
}

void addList(CLI::App& app, CommandLine& line)
{
    app.add_option("MODULE", line.list.modules, "Only these modules");
    app.add_flag("--json", line.list.json, "JSON, for programs");
    app.add_flag("--all", line.list.all, "Also parameters of the tests, and modules without tests");
    addWhere(app, line.where, true);
    app.footer(kListFooter);
}

void addWhy(CLI::App& app, CommandLine& line)
{
    app.add_option("TEST", line.whyTest,
                   "MODULE:TEST, its number in \"list\", or a MODULE for all of its tests")
        ->required();
    addWhere(app, line.where, true);
    app.footer(kWhyFooter);
}

void addRun(CLI::App& app, RunRequest& run)
{
    app.add_option("TEST", run.words, "MODULE, MODULE:TEST or numbers");
    app.add_option("--plan", run.plan, "quick, standard, thorough, or a file")->type_name("NAME");
    app.add_option("--device", run.devices,
                   "Only on this device: its number in \"list\", its name, place or /dev path,\n"
                   "a class (HardDrive), with wildcards or without; may be given several times")
        ->type_name("WHICH")
        ->allow_extra_args(false)
        ->take_all();
    app.add_option("--set", run.settings, "A parameter, of all tests that have it; or MODULE:TEST.KEY=VALUE")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false)
        ->take_all();
    app.add_option("--settings", run.settingsFile, "A file of such lines")->type_name("FILE");
    app.add_option("--for", run.forTime, "Repeat each test for so long (90s, 5m, 1h30m, 2d)")
        ->type_name("TIME");
    listing::requireWholeNumber(
        *app.add_option("--repeat", run.options.repeat, "Run everything so often")->type_name("N"), 1,
        1'000'000);
    app.add_option("--timeout", run.limit, "Stop a test that takes longer")->type_name("TIME");
    listing::requireWholeNumber(
        *app.add_option("--parallel", run.options.parallel,
                        "So many tests at once, where they allow it; never two on one device")
             ->type_name("N"),
        1, 1024);
    CLI::Option* const going = app.add_flag_callback(
        "--keep-going", [] {}, "Go on after a test that did not pass: the default");
    app.add_flag_callback(
           "--stop-at-failure", [&run] { run.options.keepGoing = false; },
           "Begin nothing more after a test that did not pass")
        ->excludes(going);
    app.add_flag("--destructive", run.destructive, "Also tests that destroy data");
    app.add_flag("--watch", run.watch,
                 "Keep temperatures and other readings, and alerts, beside the results");
    app.add_flag("--dry-run", run.dryRun, "Only say what would run");
    app.add_option("--report", run.options.report, "Where the report goes; else into a folder of the day")
        ->type_name("FILE");
    addAllowedHosts(app, run.options.allowedHosts);
    addWhere(app, run.where, false);
    app.footer(kRunFooter);
}

void addWatch(CLI::App& app, WatchRequest& watch)
{
    app.add_option("MODULE", watch.modules, "Only these modules");
    app.add_option("--interval", watch.interval,
                   "From one reading to the next, in seconds (0.5) or as a time (1m); else as the modules' "
                   "settings say: 5")
        ->type_name("TIME");
    app.add_option("--for", watch.forTime, "So long (90s, 5m, 2d); else until it is stopped")
        ->type_name("TIME");
    app.add_option("--device", watch.devices, "Only this device, as of run; may be given several times")
        ->type_name("WHICH")
        ->allow_extra_args(false)
        ->take_all();
    app.add_flag("--json", watch.json, "A line of JSON for everything that happens, for programs");
    app.add_option("--prometheus", watch.prometheus,
                   "Also a page for Prometheus, http://ADDRESS/metrics: 9273 (of 127.0.0.1), [::1]:9273")
        ->type_name("ADDRESS");
    app.add_flag("--from-afar", watch.fromAfar, "ADDRESS may be one that other machines reach");
    addAllowedHosts(app, watch.allowedHosts);
    addWhere(app, watch.where, false);
    app.footer(kWatchFooter);
}

void addReport(CLI::App& app, ReportRequest& report)
{
    app.add_option("FILE", report.file, "Report of a session; - is standard input")->required();
    app.add_option("--to", report.to, "One of: " + pageForms() + "; the first without it")->type_name("FORM");
    app.add_option("--output", report.output, "File; else standard output")->type_name("FILE");
    app.footer(kReportFooter);
}

// As the shell had it.
std::string commandOf(int argc, char const* const* argv)
{
    std::string command = "krel5-engine";
    for (int i = 1; i < argc; ++i)
        command += " " + quoted(argv[i]);
    return command;
}

} // namespace

CommandLine parseCommandLine(int argc, char const* const* argv)
{
    CommandLine line;
    CLI::App app("Finds the bad part of a machine: runs the tests of all modules, says what became of each, "
                 "and leaves "
                 "one file to hand in.",
                 "krel5-engine");
    app.set_version_flag("--version", "krel5-engine " KREL5_VERSION);
    app.footer(kFooter);
    app.require_subcommand(0, 1);
    struct Row
    {
        Command command;
        CLI::App* app;
        std::function<void(CLI::App&)> addOptions;
    };
    listing::DevicesOptions devices(line.devices);
    Row const rows[] = {
        {Command::List, app.add_subcommand("list", "Which tests there are, and which apply to this machine"),
         [&](CLI::App& one) { addList(one, line); }},
        {Command::Why, app.add_subcommand("why", "What stands in the way of a test, device by device"),
         [&](CLI::App& one) { addWhy(one, line); }},
        {Command::Run, app.add_subcommand("run", "Run tests"), [&](CLI::App& one) { addRun(one, line.run); }},
        {Command::Report, app.add_subcommand("report", "Turn the report of a session into a page"),
         [&](CLI::App& one) { addReport(one, line.report); }},
        {Command::Last,
         app.add_subcommand("last", "What became of the last session; after a crash, what was running"),
         [&](CLI::App& one) {
             one.add_flag("--json", line.lastAsJson, "JSON, for programs");
             one.footer(kLastFooter);
         }},
        {Command::Inventory, app.add_subcommand("inventory", "The devices of this machine"),
         [&](CLI::App& one) {
             devices.addListing(one);
             one.footer(kInventoryFooter);
         }},
        {Command::Compare, app.add_subcommand("compare", "What differs between two saved inventories"),
         [&](CLI::App& one) {
             devices.addCompare(one);
             one.footer(kCompareExamples + one.get_footer());
         }},
        {Command::Watch, app.add_subcommand("watch", "Readings and alerts of the machine, as they change"),
         [&](CLI::App& one) { addWatch(one, line.watch); }},
    };
    // The options of the others would only cost time.
    bool const isNamedFirst = argc > 1 && std::any_of(std::begin(rows), std::end(rows), [&](Row const& row) {
                                  return row.app->get_name() == argv[1];
                              });
    for (Row const& row : rows)
        if (!isNamedFirst || row.app->get_name() == argv[1])
            row.addOptions(*row.app);
    line.run.options.command = line.watch.command = commandOf(argc, argv);
    listing::takeNoValuesForFlags(app);
    try {
        line.error = listing::missingValue(app, argc, argv);
        app.parse(argc, argv);
    } catch (CLI::CallForHelp const&) {
        line.answer = app.help();
    } catch (CLI::CallForVersion const& version) {
        line.answer = std::string(version.what()) + "\n";
    } catch (CLI::ParseError const& error) {
        if (line.error.empty())
            line.error = listing::usageError(app, error);
    }
    for (Row const& row : rows)
        if (row.app->parsed()) {
            line.command = row.command;
            line.help = "krel5-engine " + row.app->get_name() + " --help";
        }
    if (line.answer || !line.error.empty())
        return line;
    if (line.command == Command::None)
        line.error = "no command was given: list, why, run, watch, report, last, inventory or compare";
    if (line.command == Command::Inventory)
        line.error = devices.finishListing(*rows[5].app);
    if (line.command == Command::Compare)
        line.error = devices.finishCompare(*rows[6].app);
    return line;
}

} // namespace engine
