#pragma once
// What every command needs to know before it answers: the modules, the machine, and which goes with which.

#include <engine/catalog/Catalog.h>

#include <zel/enumerator/records/DeviceSink.h>
#include <zel/model/vocabulary/LanguageImp.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zel {
class DeviceImp;
class StateManager;
} // namespace zel

namespace engine {

/// Of the options that such commands share.
struct SituationRequest
{
    std::vector<std::string> modules; ///< "--modules", folders or programs beside the installed ones
    bool isAlone = false;             ///< "--only-modules": without the installed ones
    std::string language;             ///< tag; empty: that of the environment
    std::string root = "/";           ///< the machine
    bool withoutTests = false;        ///< all devices, but nobody asks which tests are for them
};

struct Situation
{
    Catalog catalog;
    std::string language;                      ///< tag of the person's
    zel::StateManager* machine = nullptr;      ///< of zel::ModuleManager; has the catalog's tests
    std::vector<zel::DeviceImp*> numbered;     ///< devices that a person picks by number, from 1
    std::vector<std::string> installedFolders; ///< where installed modules were looked for
    std::vector<std::string> gaps; ///< why modules or devices may be missing; told on standard error
    /// Why devices of a few classes may be missing; told as well. What tests all others is not short of anything.
    std::vector<zel::TableDamage> damages;
};

/// Which tests of the catalog matter. Nothing: all.
using TestsWanted = std::function<std::optional<std::vector<Catalog::Place>>(Catalog const&)>;

/// Says on standard error what could not be seen. Where only some tests matter, only for what they need is looked, beside
/// what the machine is; the other tests may stand without devices then, and devices have other numbers. Throws
/// InvalidArgumentException for a request that is bad usage.
Situation lookAround(SituationRequest const& request, TestsWanted const& wanted = {});

/// Of the person: as asked, or as the environment says.
zel::LanguageImp languageOf(SituationRequest const& request);

/// The folders of installed modules and plans: those of the installed program, and of the build tree.
std::vector<std::string> installedModules();
std::vector<std::string> installedPlans();

enum Status {
    kDone = 0,
    kTrouble = 22,   ///< bad usage, or what was to be written could not be written
    kIncomplete = 28 ///< answered, but modules or devices may be missing
};

} // namespace engine
