#include <listing/command/DevicesOptions.h>

#include <CLI/CLI.hpp>

namespace listing {

namespace {

constexpr char kClassHelp[] =
    "Only devices of this class, with their parents as a path to them; may be given\n"
    "several times. Words are those in brackets that -v prints, in any case";
constexpr char kMaskHelp[] = "Placeholders instead of serial numbers, hardware and network addresses, host\n"
                             "names and UUIDs";
constexpr char kRootHelp[] = "Folder that stands for the machine's \"/\"";
constexpr char kCompareFooter[] =
    "Left out, unless --all is given: readings that change by themselves (temperatures, clocks, counters, "
    "addresses) and the\nsystem's names of devices, which follow the order in which it found them.\n"
    "Exit status: 0 no differences; 1 differences; 2 trouble: a file that cannot be read or is no listing, a "
    "machine that\ncould not be read as a whole, output that could not be written, bad usage.";

} // namespace

void DevicesOptions::addCommon(CLI::App& app)
{
    app.add_option("--class", m_request.classes, kClassHelp)
        ->type_name("WORD")
        ->allow_extra_args(false)
        ->take_all();
    app.add_flag("--mask", m_request.mask, kMaskHelp);
    app.add_option("--root", m_request.root, kRootHelp)->type_name("DIR")->each([this](auto const&) {
        m_request.rootIsGiven = true;
    });
}

void DevicesOptions::addListing(CLI::App& app)
{
    app.add_flag("-v,--verbose", m_verbose, "Every device with its properties");
    app.add_flag("--json", m_json, "JSON, with typed values; compare reads it back");
    app.add_flag("--xml", m_xml, "XML");
    app.add_flag("--html", m_html, "One HTML page, complete in itself");
    addCommon(app);
}

void DevicesOptions::addCompare(CLI::App& app)
{
    addCommon(app);
    app.add_flag("--all", m_request.all, "Also what changes by itself");
    app.add_option("A", m_request.before, "Listing saved with --json; - is standard input")->required();
    app.add_option("B", m_request.after, "Another one; without it, this machine");
    app.footer(kCompareFooter);
}

std::string DevicesOptions::finishListing(CLI::App const& app)
{
    m_request.form = m_json      ? Form::Json
                     : m_xml     ? Form::Xml
                     : m_html    ? Form::Html
                     : m_verbose ? Form::Properties
                                 : Form::Tree;
    std::string form;
    for (char const* one : {"--verbose", "--json", "--xml", "--html"})
        if (app.count(one) > 0) {
            if (!form.empty())
                return std::string(one) + " and " + form + " exclude each other";
            form = one;
        }
    return {};
}

std::string DevicesOptions::finishCompare(CLI::App const& app)
{
    if (m_request.after.empty() && app.count("B") > 0)
        return "compare: the second file has an empty name; to compare with this machine, give one file only";
    if (m_request.before == "-" && m_request.after == "-")
        return "compare: standard input (-) can be one of the two, not both";
    if (m_request.rootIsGiven && !m_request.after.empty())
        return "compare: --root goes with one file, which is compared with that machine";
    return {};
}

} // namespace listing
