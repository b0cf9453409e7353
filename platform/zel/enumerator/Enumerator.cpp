#include <zel/enumerator/Enumerator.h>

#include <zel/enumerator/Discoverers.h>
#include <zel/enumerator/records/DeviceRecords.h>
#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/model/state/StateManager.h>

namespace zel {

namespace {

constexpr char kNoRoot[] = "The root directory cannot be opened";

Logger& logger() { return LogFactory::getLogger("zel.Enumerator"); }

StateManager& moduleState() { return ModuleManager::getInstance().getStateManager(); }

} // namespace

Enumerator::Enumerator() : m_root(Root::open("/")) {}
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
                                       "\" as root");
    m_root = std::move(root);
}

void Enumerator::getDevicesOfType(CapabilityImp const& capabilities, int, int)
{
    moduleState().clear();
    if (!m_root)
        m_root = Root::open("/");
    if (!m_root) {
        ZEL_LOG(logger(), LogLevel::Error) << kNoRoot;
        return;
    }
    DeviceRecords records(capabilities);
    discover(*m_root, capabilities, records);
    records.fill(moduleState());
    for (std::string const& directory : m_root->refused())
        ZEL_LOG(logger(), LogLevel::Warning)
            << "permission denied: directory \"" << String(directory) << "\" below the root";
    for (RootFailure const& failure : failures())
        ZEL_LOG(logger(), LogLevel::Error) << "devices may be missing: " << String(failure.toString());
    ZEL_LOG(logger(), LogLevel::Debug) << "devices found = " << static_cast<std::uint64_t>(records.count());
}

std::vector<std::string> Enumerator::refusedDirectories() const
{
    return m_root ? m_root->refused() : std::vector<std::string>();
}

std::vector<RootFailure> Enumerator::failures() const
{
    return m_root ? m_root->failures() : std::vector{RootFailure{kNoRoot, "", 1}};
}

std::size_t Enumerator::deviceCount() const { return moduleState().deviceCount(); }

void Enumerator::buildStateManager(StateManager& state) const { state.completeWithTracking(moduleState()); }

} // namespace zel
