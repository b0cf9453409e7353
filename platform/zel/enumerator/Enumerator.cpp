#include <zel/enumerator/Enumerator.h>

#include <zel/enumerator/Discoverers.h>
#include <zel/enumerator/records/DeviceRecords.h>
#include <zel/foundation/Exception.h>
#include <zel/foundation/FileSystem.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>
#include <zel/model/devices/DeviceImp.h>
#include <zel/model/state/StateManager.h>

#include <cerrno>

namespace zel {

namespace {

constexpr char kNoRoot[] = "The root directory cannot be opened";

Logger& logger() { return LogFactory::getLogger("zel.Enumerator"); }

/// A module need not name its devices, and a line without a name tells nobody anything: then it is what kind of thing it is.
void nameTheNameless(StateManager& found)
{
    for (std::size_t i = 0; i < found.deviceCount(); ++i)
        if (DeviceImp& device = *found.deviceAtIndex(i); device.name().trimmed().empty())
            device.setName(device.description().trimmed().empty() ? device.deviceType().toString()
                                                                  : device.description());
}

StateManager& moduleState() { return ModuleManager::getInstance().getStateManager(); }

} // namespace

Enumerator::Enumerator()
{
    m_setting.root = Root::open("/");
    if (std::string const program = System::executablePath().bytes(); !program.empty())
        m_setting.modulesFolder = FileSystem::folderOf(program) + "/sysinfo";
}
Enumerator::~Enumerator() = default;

Enumerator& Enumerator::instance()
{
    static Enumerator& s_instance = *new Enumerator; // never destroyed: others may ask until the process ends
    return s_instance;
}

void Enumerator::setRoot(std::string const& directory)
{
    auto root = Root::open(directory);
    if (!root)
        throw InvalidArgumentException(String("Cannot open the directory \"") + String(directory) +
                                       "\" as root: " + System::errorText(errno));
    setRoot(std::move(root));
}

void Enumerator::setRoot(std::unique_ptr<Root> root)
{
    std::lock_guard const lock(m_lock);
    m_setting.root = std::move(root);
}

void Enumerator::setModulesFolder(std::string const& folder)
{
    std::lock_guard const lock(m_lock);
    m_setting.modulesFolder = folder;
}

void Enumerator::setModuleDeadline(int milliseconds)
{
    std::lock_guard const lock(m_lock);
    m_setting.moduleMilliseconds = milliseconds;
}

void Enumerator::setDetail(bool detail)
{
    std::lock_guard const lock(m_lock);
    m_setting.detail = detail;
}

Enumerator::Setting Enumerator::setting() const
{
    std::lock_guard const lock(m_lock);
    return m_setting;
}

void Enumerator::getDevicesOfType(CapabilityImp const& capabilities, int, int)
{
    std::lock_guard const call(m_call);
    moduleState().clear();
    findDevices(capabilities, moduleState());
}

void Enumerator::findDevices(CapabilityImp const& capabilities, StateManager& found)
{
    noteModuleFailures({});
    noteTableDamages({});
    Setting now = setting();
    if (!now.root) {
        now.root = Root::open("/");
        std::lock_guard const lock(m_lock);
        m_setting.root = now.root;
    }
    if (!now.root) {
        ZEL_LOG(logger(), LogLevel::Error) << kNoRoot;
        return;
    }
    DeviceRecords records(capabilities, now.detail);
    discover(*now.root, capabilities, records);
    records.fill(found);
    noteTableDamages(records.damages());
    if (now.root->isLive())
        askModules(now, capabilities, found);
    nameTheNameless(found);
    for (std::string const& directory : now.root->refused())
        ZEL_LOG(logger(), LogLevel::Warning)
            << "permission denied: directory \"" << String(directory) << "\" below the root";
    for (RootFailure const& failure : now.root->failures())
        ZEL_LOG(logger(), LogLevel::Error) << "devices may be missing: " << String(failure.toString());
    ZEL_LOG(logger(), LogLevel::Debug)
        << "devices found = " << static_cast<std::uint64_t>(found.deviceCount());
}

std::vector<std::string> Enumerator::refusedDirectories() const
{
    auto const root = setting().root;
    return root ? root->refused() : std::vector<std::string>();
}

std::vector<RootFailure> Enumerator::failures() const
{
    auto const root = setting().root;
    return root ? root->failures() : std::vector{RootFailure{kNoRoot, "", 1}};
}

std::vector<String> Enumerator::moduleFailures() const
{
    std::lock_guard const lock(m_lock);
    return m_moduleFailures;
}

void Enumerator::noteModuleFailures(std::vector<String> failures)
{
    for (String const& failure : failures)
        ZEL_LOG(logger(), LogLevel::Error) << "module " << failure;
    std::lock_guard const lock(m_lock);
    m_moduleFailures = std::move(failures);
}

std::vector<TableDamage> Enumerator::tableDamages() const
{
    std::lock_guard const lock(m_lock);
    return m_damages;
}

void Enumerator::noteTableDamages(std::vector<TableDamage> damages)
{
    for (TableDamage const& damage : damages)
        ZEL_LOG(logger(), LogLevel::Error) << damage.what;
    std::lock_guard const lock(m_lock);
    m_damages = std::move(damages);
}

std::size_t Enumerator::deviceCount() const { return moduleState().deviceCount(); }

void Enumerator::buildStateManager(StateManager& state) const { state.completeWithTracking(moduleState()); }

} // namespace zel
