// zel-devices: prints the devices that the enumerator sees, and what differs between two such listings.

#include "CommandLine.h"

#include <listing/ClassWords.h>
#include <listing/Compare.h>
#include <listing/Listing.h>
#include <listing/Mask.h>
#include <listing/SavedListing.h>

#include <zel/enumerator/Enumerator.h>
#include <zel/foundation/Exception.h>
#include <zel/foundation/FileSystem.h>
#include <zel/foundation/System.h>
#include <zel/model/state/StateManager.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

enum ListStatus { kListed = 0, kFailed = 1, kBadUsage = 2 };
enum CompareStatus { kSame = 0, kDiffers = 1, kTrouble = 2 };

void complain(std::string const& what) { std::cerr << "zel-devices: " << listing::harmless(what) << "\n"; }

/// True when everything went out, or as much as somebody wanted to read.
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

std::string now()
{
    std::time_t const seconds = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc)};
}

std::size_t terminalWidth()
{
    winsize size{};
    return isatty(STDOUT_FILENO) && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

/// The directories that could not be read; sets `rootIsRead` to false when the root itself is one of them.
std::vector<zel::String> refusals(std::string const& root, std::vector<std::string> const& directories,
                                  bool& rootIsRead)
{
    std::string const top = root.ends_with('/') ? root : root + "/";
    std::vector<zel::String> texts;
    for (std::string const& directory : directories) {
        texts.emplace_back("cannot read the directory \"" + (directory.empty() ? root : top + directory) +
                           "\": permission denied");
        rootIsRead = rootIsRead && !directory.empty();
    }
    return texts;
}

struct Scan
{
    listing::Machine machine;
    bool rootIsRead = true;
    bool isComplete = true; ///< but for what the user may not read
};

/// Where the shipped modules look, too.
std::string modulesFolder()
{
    std::string const program = zel::System::executablePath().bytes();
    return program.empty() ? "" : zel::FileSystem::folderOf(program) + "/" KREL5_MODULES_FOLDER;
}

/// Says on standard error why devices may be missing. Throws InvalidArgumentException for a root that is none.
Scan scan(std::string const& root, bool detail)
{
    zel::Enumerator& enumerator = zel::Enumerator::instance();
    try {
        enumerator.setRoot(root);
    } catch (zel::InvalidArgumentException const& error) {
        throw zel::InvalidArgumentException("--root: " + error.getMessage());
    }
    enumerator.setModulesFolder(modulesFolder());
    enumerator.setDetail(detail);
    enumerator.getDevicesOfType(zel::CapabilityImp::ALL(), 1, 0);
    Scan found;
    found.machine = listing::machineOf(zel::ModuleManager::getInstance().getStateManager());
    listing::Origin& origin = found.machine.origin;
    origin.program = "zel-devices";
    origin.version = KREL5_VERSION;
    origin.date = now();
    origin.isLive = root == "/";
    origin.gaps = refusals(root, enumerator.refusedDirectories(), found.rootIsRead);
    for (zel::RootFailure const& failure : enumerator.failures()) {
        origin.gaps.emplace_back("devices may be missing: " + failure.toString());
        found.isComplete = false;
    }
    for (zel::String const& failure : enumerator.moduleFailures()) {
        origin.gaps.emplace_back("devices of a module are missing: " + failure);
        found.isComplete = false;
    }
    for (zel::String const& gap : origin.gaps)
        complain(gap.toUtf8());
    return found;
}

std::string written(listing::Machine const& machine, Form form)
{
    switch (form) {
    case Form::Tree:
        return listing::tree(machine, terminalWidth());
    case Form::Properties:
        return listing::text(machine);
    case Form::Json:
        return listing::json(machine);
    case Form::Xml:
        return listing::xml(machine);
    case Form::Html:
        return listing::html(machine);
    }
    return {};
}

int list(Request const& request, std::vector<zel::CapabilityImp> const& classes)
{
    Scan found = scan(request.root, request.form != Form::Tree);
    if (!found.rootIsRead)
        return kFailed;
    if (request.mask) // before what is not selected takes its host name along
        listing::Mask().apply(found.machine);
    listing::selectClasses(found.machine, classes);
    return printed(written(found.machine, request.form)) && found.isComplete ? kListed : kFailed;
}

zel::CapabilityImp classOf(std::string const& word)
{
    try {
        return listing::classNamed(zel::String(word));
    } catch (zel::InvalidArgumentException const& error) {
        throw zel::InvalidArgumentException("--class: " + error.getMessage());
    }
}

listing::Machine saved(std::string const& path)
{
    return listing::readSaved(listing::readBytes(path), path == "-" ? "standard input" : path);
}

int compare(Request const& request, std::vector<zel::CapabilityImp> const& classes)
{
    Scan before, after;
    before.machine = saved(request.before);
    if (request.after.empty())
        after = scan(request.root, true);
    else
        after.machine = saved(request.after);
    if (!after.rootIsRead)
        return kTrouble;
    if (request.mask && before.machine.origin.isMasked == after.machine.origin.isMasked) {
        listing::Mask mask; // one for both: what is the same stays the same
        mask.apply(before.machine);
        mask.apply(after.machine);
    }
    listing::align(before.machine, after.machine);
    listing::selectClasses(before.machine, classes);
    listing::selectClasses(after.machine, classes);
    listing::Comparison const found = listing::compare(before.machine, after.machine, request.all);
    std::string const thisMachine = request.root == "/" ? "this machine" : request.root;
    auto const nameOf = [&](std::string const& file) {
        return file.empty() ? thisMachine : file == "-" ? "standard input" : file;
    };
    if (!printed(listing::text(found, before.machine, nameOf(request.before), after.machine,
                               nameOf(request.after))))
        return kTrouble;
    return !after.isComplete ? kTrouble : found.isSame() ? kSame : kDiffers;
}

} // namespace

int main(int argc, char** argv)
{
    zel::System::secureStandardStreams();
    CommandLine const line = parseCommandLine(argc, argv);
    if (line.answer)
        return printed(*line.answer) ? kListed : kFailed;
    Request const& request = line.request;
    try {
        if (!line.error.empty())
            throw zel::InvalidArgumentException(line.error);
        std::vector<zel::CapabilityImp> classes;
        for (std::string const& word : request.classes)
            classes.push_back(classOf(word));
        return request.compare ? compare(request, classes) : list(request, classes);
    } catch (zel::InvalidArgumentException const& error) {
        complain(error.getMessage().toUtf8());
        std::cerr << "Try zel-devices --help.\n";
        return kBadUsage;
    } catch (std::exception const& error) {
        complain(error.what());
        return request.compare ? int(kTrouble) : int(kFailed);
    }
}
