#include <engine/commands/Situation.h>

#include <engine/catalog/Assignment.h>
#include <engine/catalog/Language.h>
#include <engine/runner/ModuleChoice.h>

#include <listing/Console.h>
#include <listing/DevicesCommand.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/FileSystem.h>
#include <zel/foundation/System.h>
#include <zel/model/state/StateManager.h>

#include <algorithm>

namespace engine {

namespace {

std::vector<std::string> thoseThatExist(std::vector<std::string> folders)
{
    std::erase_if(folders, [](std::string const& folder) { return !zel::FileSystem::exists(folder); });
    return folders;
}

} // namespace

std::vector<std::string> installedModules()
{
    return thoseThatExist({listing::besideProgram(KREL5_MODULES_FOLDER), listing::besideProgram("modules")});
}

std::vector<std::string> installedPlans()
{
    return thoseThatExist({listing::besideProgram(KREL5_PLANS_FOLDER), listing::besideProgram("plans")});
}

Situation lookAround(SituationRequest const& request)
{
    Situation situation;
    CatalogRequest wanted;
    wanted.language =
        request.language.empty() ? languageOfLocale(localeOfEnvironment()) : languageNamed(request.language);
    situation.language = wanted.language.toString().toUtf8();
    if (!request.isAlone)
        situation.installedFolders = installedModules();
    wanted.folders = situation.installedFolders;
    wanted.named = request.modules;
    situation.catalog = Catalog::read(wanted);
    // The first folder of modules is the one that the modules in it look into, too.
    std::string const sysinfo =
        situation.installedFolders.empty() ? "" : situation.installedFolders.front() + "/sysinfo";
    listing::Scan const scan = listing::scan(request.root, true, sysinfo);
    if (!scan.rootIsRead)
        throw zel::InvalidArgumentException("--root: " + zel::String(request.root) + " cannot be read");
    situation.machine = &zel::ModuleManager::getInstance().getStateManager();
    ModuleChoice choice; // modules answer to root only
    assignTests(situation.catalog, *situation.machine,
                zel::System::userIsAdministrator() ? &choice : nullptr);
    situation.gaps = situation.catalog.complaints();
    for (std::string const& gap : situation.gaps)
        listing::complain(gap);
    if (!scan.isComplete) // what is missing, the scan has told
        situation.gaps.emplace_back("not all devices could be looked for");
    situation.damages = scan.damages;
    situation.numbered = testedDevices(situation.catalog, *situation.machine);
    return situation;
}

} // namespace engine
