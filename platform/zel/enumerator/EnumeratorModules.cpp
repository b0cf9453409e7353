// Devices that a system-information module finds.

#include <zel/enumerator/Enumerator.h>
#include <zel/enumerator/modules/ModuleProcess.h>
#include <zel/foundation/FileSystem.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>
#include <zel/model/state/StateManager.h>

namespace zel {

namespace {

Logger& logger() { return LogFactory::getLogger("zel.Enumerator"); }

/// Modules stand beside the running one; a name that would lead elsewhere is none.
std::string programOf(String const& module)
{
    std::string const name = module.toUtf8();
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos ||
        name.find('\0') != std::string::npos)
        return {};
    return FileSystem::folderOf(System::executablePath().bytes()) + "/" + name;
}

} // namespace

void Enumerator::getDevicesFromModule(String const& module, int, int)
{
    ModuleManager::getInstance().getStateManager().clear();
    std::string const program = programOf(module);
    if (program.empty()) {
        ZEL_LOG(logger(), LogLevel::Error) << "\"" << module << "\" is no module's name";
        return;
    }
    auto const outcome = ModuleProcess::run(program, {"enum", "-x"}, std::string(), ModuleProcess::Limits());
    if (!outcome.error.empty()) {
        ZEL_LOG(logger(), LogLevel::Error) << "module " << program << ": " << outcome.error;
        return;
    }
    // Reading the answer needs the serialized form of a state, which the model does not have yet.
    ZEL_LOG(logger(), LogLevel::Error)
        << "module " << program << ": its answer of " << static_cast<std::uint64_t>(outcome.output.size())
        << " bytes cannot be read by this version";
}

} // namespace zel
