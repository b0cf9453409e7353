// zel-devices: prints the devices that the enumerator sees.

#include <zel/enumerator/Enumerator.h>
#include <zel/foundation/Exception.h>
#include <zel/model/state/StateManager.h>

#include "Listing.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

namespace {

enum ExitStatus { kDone = 0, kFailed = 1, kBadUsage = 2 };

struct Request
{
    std::string root = "/";
    bool json = false;
    bool xml = false;
};

/// True when everything went out.
bool printed(std::string const& text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0)
        return true;
    std::perror("zel-devices: standard output");
    return false;
}

/// Says which directories could not be read; false when the root itself is one of them.
bool reportRefusals(std::string const& root, std::vector<std::string> const& directories)
{
    std::string const top = root.ends_with('/') ? root : root + "/";
    bool rootIsRead = true;
    for (std::string const& directory : directories) {
        std::cerr << "zel-devices: cannot read the directory \""
                  << listing::harmless(directory.empty() ? root : top + directory)
                  << "\": permission denied\n";
        rootIsRead = rootIsRead && !directory.empty();
    }
    return rootIsRead;
}

/// Says what kept the scan from looking everywhere; false when there was anything.
bool reportFailures(std::vector<zel::RootFailure> const& failures)
{
    for (zel::RootFailure const& failure : failures)
        std::cerr << "zel-devices: devices may be missing: " << listing::harmless(failure.toString()) << "\n";
    return failures.empty();
}

int list(Request const& request)
{
    zel::Enumerator& enumerator = zel::Enumerator::instance();
    try {
        enumerator.setRoot(request.root);
    } catch (zel::InvalidArgumentException const& error) {
        std::cerr << "zel-devices: --root: " << error.what() << "\n";
        return kBadUsage;
    }
    enumerator.getDevicesOfType(zel::CapabilityImp::ALL(), 1, 0);
    if (!reportRefusals(request.root, enumerator.refusedDirectories()))
        return kFailed;
    zel::StateManager const& state = zel::ModuleManager::getInstance().getStateManager();
    std::string const text = request.json  ? listing::json(state)
                             : request.xml ? listing::xml(state)
                                           : listing::text(state);
    bool const isComplete = reportFailures(enumerator.failures());
    return printed(text) && isComplete ? kDone : kFailed;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Lists the devices of this machine, or of a machine whose /sys and /proc were captured.",
                 "zel-devices");
    Request request;
    app.add_option("--root", request.root, "Folder that stands for the machine's \"/\"")->type_name("DIR");
    CLI::Option* const json = app.add_flag("--json", request.json, "Print JSON, with typed values");
    app.add_flag("--xml", request.xml, "Print XML")->excludes(json);
    app.footer("Directories that may not be read are named on standard error; the rest is listed.\n"
               "Exit status: 0 listed, 1 the root could not be read, the list not be printed or devices may "
               "be missing, "
               "2 bad usage.");
    try {
        app.parse(argc, argv);
    } catch (CLI::CallForHelp const&) {
        return printed(app.help()) ? kDone : kFailed;
    } catch (CLI::ParseError const& error) {
        std::cerr << "zel-devices: " << error.what() << "\nTry zel-devices --help.\n";
        return kBadUsage;
    }
    try {
        return list(request);
    } catch (std::exception const& error) {
        std::cerr << "zel-devices: " << error.what() << "\n";
        return kFailed;
    }
}
