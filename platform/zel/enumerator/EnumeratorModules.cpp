// Devices that system-information modules find: one that is asked for by name, and those of the modules folder.

#include <zel/enumerator/Enumerator.h>

#include <zel/enumerator/modules/KnownDevices.h>
#include <zel/enumerator/modules/ModuleProcess.h>
#include <zel/enumerator/modules/ModulesFolder.h>
#include <zel/foundation/FileSystem.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>
#include <zel/model/state/StateManager.h>
#include <zel/model/texts/LocalizedResource.h>
#include <zel/model/wire/Serializable.h>

#include <cerrno>
#include <new>

namespace zel {

namespace {

/// Modules stand beside the running one; a name that would lead elsewhere is none.
std::string programOf(String const& module)
{
    std::string const name = module.toUtf8();
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos ||
        name.find('\0') != std::string::npos)
        return {};
    return FileSystem::folderOf(System::executablePath().bytes()) + "/" + name;
}

/// Computers nest a dozen deep. What is shown indented grows with the square of a chain's length: gigabytes from an answer
/// of some megabytes.
constexpr std::size_t kDeepest = 64;

bool nestsTooDeep(StateManager const& state)
{
    std::vector<DeviceImp const*> level, below;
    for (std::size_t i = 0; i < state.deviceCount(); ++i)
        if (DeviceImp const& device = *state.deviceAtIndex(i); !state.parentOf(device))
            level.push_back(&device);
    for (std::size_t depth = 1; !level.empty() && depth <= kDeepest; ++depth) {
        below.clear();
        for (DeviceImp const* const device : level) {
            auto const& children = state.childrenOf(*device);
            below.insert(below.end(), children.begin(), children.end());
        }
        level.swap(below);
    }
    return !level.empty();
}

std::vector<std::string> wordsFor(bool detail)
{
    std::vector<std::string> words{"enum", "-x"};
    if (detail)
        words.emplace_back("-v");
    return words;
}

std::string documentOf(StateManager const& known)
{
    constexpr char kElement[] = "StateManager";
    return Serializable::serializeUtf8(known, kElement);
}

Logger& logger() { return LogFactory::getLogger("zel.Enumerator"); }

/// A property's name is no part of the answer; who wrote the module put it into the plain text file beside it. That of
/// a language is not asked: like the enumerator's own, names are the same whoever looks. Who could not have put the module
/// there does not name what it found.
void nameProperties(std::string const& program, StateManager& answer)
{
    String const guid = FileSystem::extractBaseFileName(String(program)).lowered();
    auto const texts = KeyTextFile::load(FileSystem::folderOf(program) + "/" + guid.toUtf8() + ".w4p",
                                         FileSystem::Writers::AsProgram);
    for (KeyTextFile::Issue const& issue : texts.issues())
        ZEL_LOG(logger(), LogLevel::Warning)
            << "names of a module's properties: " << issue.toString().withoutControls(false);
    for (std::size_t i = 0; i < answer.deviceCount(); ++i) {
        DeviceImp& device = *answer.deviceAtIndex(i);
        for (PropertyImp* one = device.firstProperty(); one; one = device.nextProperty())
            if (one->spec()->defaultName().empty())
                if (auto const name =
                        LocalizedResource::textIn(texts, String("Property.") + one->key() + ".Name"))
                    one->spec()->setDefaultName(*name);
    }
}

/// Reads the module's answer into `answer`, which stays empty when that goes wrong. Returns what went wrong; empty when
/// nothing did.
String readAnswer(std::string const& program, ModuleProcess::Outcome const& outcome, StateManager& answer)
{
    String const said = outcome.complaint.empty() ? String() : String(", and said: ") + outcome.complaint;
    if (!outcome.error.empty())
        return outcome.error + said;
    if (outcome.output.empty())
        return String("it answered nothing") + said;
    try {
        Serializable::deserializeUtf8(outcome.output, answer);
        if (!nestsTooDeep(answer)) {
            nameProperties(program, answer);
            return String();
        }
        answer.clear();
        return String("its answer is refused: devices stand more than ") +
               String::number(std::uint64_t{kDeepest}) + " deep";
    } catch (DeserializationException const& error) {
        return (String("its answer is refused: ") + error.getMessage()).withoutControls(false);
    } catch (std::bad_alloc const&) { // a small document can hold many devices
        return System::errorText(ENOMEM);
    }
}

/// Tests, alerts and runs are not what the folder's modules are asked for, and no device of another kind.
void takeDevices(StateManager& answer, CapabilityImp const& wanted, StateManager& found)
{
    std::vector<String> others;
    for (std::size_t i = 0; i < answer.deviceCount(); ++i)
        if (DeviceImp const& device = *answer.deviceAtIndex(i);
            !(device.deviceCapabilities() | device.deviceType()).intersects(wanted))
            others.push_back(device.guid());
    for (String const& guid : others)
        answer.removeDevice(guid);
    KnownDevices::complete(found, answer);
}

} // namespace

void Enumerator::getDevicesFromModule(String const& module, int, int)
{
    std::lock_guard const call(m_call);
    StateManager& state = ModuleManager::getInstance().getStateManager();
    state.clear();
    noteTableDamages({});
    std::vector<String> failures;
    if (std::string const program = programOf(module); program.empty())
        failures.push_back((String("\"") + module + "\" is no module's name").withoutControls(false));
    else if (String const error =
                 readAnswer(program,
                            ModuleProcess::run(program, wordsFor(false), documentOf(StateManager()),
                                               ModuleProcess::Limits()),
                            state);
             !error.empty())
        failures.push_back((String(program) + ": " + error).withoutControls(false));
    noteModuleFailures(std::move(failures));
}

// At the same time, so each is told what the enumerator has found; taken in the order of their names, whoever is ready first.
void Enumerator::askModules(Setting const& setting, CapabilityImp const& capabilities, StateManager& found)
{
    if (setting.modulesFolder.empty())
        return;
    auto const [programs, refused] = ModulesFolder::read(setting.modulesFolder);
    std::vector<String> failures = refused;
    ModuleProcess::Limits limits;
    limits.milliseconds = setting.moduleMilliseconds;
    auto const take = [&, &programs = programs](std::size_t number, ModuleProcess::Outcome const& outcome) {
        StateManager answer;
        if (String const error = readAnswer(programs[number], outcome, answer); error.empty())
            takeDevices(answer, capabilities, found);
        else
            failures.push_back((String(programs[number]) + ": " + error).withoutControls(false));
    };
    if (!programs.empty())
        ModuleProcess::runAll(programs, wordsFor(setting.detail), documentOf(found), limits, take);
    noteModuleFailures(std::move(failures));
}

} // namespace zel
