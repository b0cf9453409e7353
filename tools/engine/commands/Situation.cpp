#include <engine/commands/Situation.h>

#include <engine/catalog/Assignment.h>
#include <engine/catalog/Language.h>
#include <engine/runner/ModuleChoice.h>

#include <listing/command/Console.h>
#include <listing/command/DevicesCommand.h>

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

/// A module that is asked which devices its tests are for may go by any of them.
zel::CapabilityImp neededBy(std::vector<Catalog::Place> const& tests)
{
    zel::CapabilityImp needed = zel::CapabilityImp::System();
    for (Catalog::Place const& place : tests) {
        if (place.module->record.choosesOwnTests())
            return zel::CapabilityImp::ALL();
        needed |= place.test->record.deviceCapabilities();
        needed |= place.test->record.neededBesideTested();
    }
    return needed;
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

zel::LanguageImp languageOf(SituationRequest const& request)
{
    return request.language.empty() ? languageOfLocale(localeOfEnvironment())
                                    : languageNamed(request.language);
}

Situation lookAround(SituationRequest const& request, TestsWanted const& wanted)
{
    Situation situation;
    CatalogRequest catalogRequest;
    catalogRequest.language = languageOf(request);
    situation.language = catalogRequest.language.toString().toUtf8();
    if (!request.isAlone)
        situation.installedFolders = installedModules();
    catalogRequest.folders = situation.installedFolders;
    catalogRequest.named = request.modules;
    situation.catalog = Catalog::read(catalogRequest);
    // The first folder of modules is the one that the modules in it look into, too.
    std::string const sysinfo =
        situation.installedFolders.empty() ? "" : situation.installedFolders.front() + "/sysinfo";
    auto const tests = wanted ? wanted(situation.catalog) : std::nullopt;
    listing::Scan const scan = listing::scan(request.root, true, sysinfo, zel::CapabilityImp::ALL(),
                                             tests ? neededBy(*tests) : zel::CapabilityImp::ALL());
    if (!scan.rootIsRead)
        throw zel::InvalidArgumentException("--root: " + zel::String(request.root) + " cannot be read");
    situation.machine = &zel::ModuleManager::getInstance().getStateManager();
    ModuleChoice choice; // modules answer to root only
    assignTests(situation.catalog, *situation.machine, zel::System::userIsAdministrator() ? &choice : nullptr,
                [&](Module const& module) {
                    if (request.withoutTests)
                        return false;
                    return !tests || std::any_of(tests->begin(), tests->end(),
                                                 [&](auto const& one) { return one.module == &module; });
                });
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
