#include <listing/command/DevicesCommand.h>

#include <listing/command/Console.h>
#include <listing/forms/Listing.h>
#include <listing/machine/ClassWords.h>
#include <listing/machine/Mask.h>
#include <listing/saved/Compare.h>
#include <listing/saved/SavedListing.h>

#include <zel/enumerator/Enumerator.h>
#include <zel/foundation/Exception.h>
#include <zel/foundation/FileSystem.h>
#include <zel/foundation/System.h>
#include <zel/model/state/StateManager.h>

namespace listing {

namespace {

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

std::string written(Machine const& machine, Form form)
{
    switch (form) {
    case Form::Tree:
        return tree(machine, terminalWidth());
    case Form::Properties:
        return text(machine);
    case Form::Json:
        return json(machine);
    case Form::Xml:
        return xml(machine);
    case Form::Html:
        return html(machine);
    }
    return {};
}

zel::CapabilityImp classOf(std::string const& word)
{
    try {
        return classNamed(zel::String(word));
    } catch (zel::InvalidArgumentException const& error) {
        throw zel::InvalidArgumentException("--class: " + error.getMessage());
    }
}

Machine saved(std::string const& path)
{
    return readSaved(readBytes(path), path == "-" ? "standard input" : path);
}

std::vector<zel::CapabilityImp> classesOf(DevicesRequest const& request)
{
    std::vector<zel::CapabilityImp> classes;
    for (std::string const& word : request.classes)
        classes.push_back(classOf(word));
    return classes;
}

zel::CapabilityImp shownOf(std::vector<zel::CapabilityImp> const& classes)
{
    zel::CapabilityImp shown;
    for (zel::CapabilityImp const& one : classes)
        shown |= one;
    return classes.empty() || shown.intersects(zel::CapabilityImp::Hardware()) ? zel::CapabilityImp::ALL()
                                                                               : shown;
}

/// Whether all that was to be shown could be looked for.
bool isWhole(Scan const& scan) { return scan.isComplete && scan.damages.empty(); }

} // namespace

std::string besideProgram(std::string const& folder)
{
    std::string const program = zel::System::executablePath().bytes();
    return program.empty() ? "" : zel::FileSystem::folderOf(program) + "/" + folder;
}

Scan scan(std::string const& root, bool detail, std::string const& modulesFolder,
          zel::CapabilityImp const& shown, zel::CapabilityImp const& lookedFor)
{
    zel::Enumerator& enumerator = zel::Enumerator::instance();
    try {
        enumerator.setRoot(root);
    } catch (zel::InvalidArgumentException const& error) {
        throw zel::InvalidArgumentException("--root: " + error.getMessage());
    }
    enumerator.setModulesFolder(modulesFolder);
    enumerator.setDetail(detail);
    enumerator.getDevicesOfType(lookedFor, 1, 0);
    Scan found;
    found.machine = machineOf(zel::ModuleManager::getInstance().getStateManager());
    Origin& origin = found.machine.origin;
    origin.program = programName();
    origin.version = programVersion();
    origin.date = now();
    origin.isLive = root == "/";
    origin.gaps = refusals(root, enumerator.refusedDirectories(), found.rootIsRead);
    for (zel::RootFailure const& failure : enumerator.failures()) {
        origin.gaps.emplace_back("devices may be missing: " + failure.toString());
        found.isComplete = false;
    }
    for (zel::TableDamage const& damage : enumerator.tableDamages())
        if (damage.concerned.intersects(shown)) {
            origin.gaps.push_back((damage.missing.intersects(shown) ? "devices may be missing: "
                                                                    : "not everything is known: ") +
                                  damage.what);
            found.damages.push_back(damage);
        }
    for (zel::String const& failure : enumerator.moduleFailures()) {
        origin.gaps.emplace_back("devices of a module are missing: " + failure);
        found.isComplete = false;
    }
    for (zel::String const& gap : origin.gaps)
        complain(gap.toUtf8());
    return found;
}

int listDevices(DevicesRequest const& request, std::string const& modulesFolder)
{
    auto const classes = classesOf(request);
    Scan found = scan(request.root, request.form != Form::Tree, modulesFolder, shownOf(classes));
    if (!found.rootIsRead)
        return kFailed;
    if (request.mask) // before what is not selected takes its host name along
        Mask().apply(found.machine);
    selectClasses(found.machine, classes);
    return printed(written(found.machine, request.form)) && isWhole(found) ? kListed : kFailed;
}

int compareDevices(DevicesRequest const& request, std::string const& modulesFolder)
{
    auto const classes = classesOf(request);
    Scan before, after;
    before.machine = saved(request.before);
    if (request.after.empty())
        after = scan(request.root, true, modulesFolder, shownOf(classes));
    else
        after.machine = saved(request.after);
    if (!after.rootIsRead)
        return kTrouble;
    if (request.mask && before.machine.origin.isMasked == after.machine.origin.isMasked) {
        Mask mask; // one for both: what is the same stays the same
        mask.apply(before.machine);
        mask.apply(after.machine);
    }
    align(before.machine, after.machine);
    selectClasses(before.machine, classes);
    selectClasses(after.machine, classes);
    Comparison const found = compare(before.machine, after.machine, request.all);
    std::string const thisMachine = request.root == "/" ? "this machine" : request.root;
    auto const nameOf = [&](std::string const& file) {
        return file.empty() ? thisMachine : file == "-" ? "standard input" : file;
    };
    if (!printed(text(found, before.machine, nameOf(request.before), after.machine, nameOf(request.after))))
        return kTrouble;
    return !isWhole(after) ? kTrouble : found.isSame() ? kSame : kDiffers;
}

} // namespace listing
