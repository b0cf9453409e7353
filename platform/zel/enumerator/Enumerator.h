#pragma once
// Devices of this machine, as records of a state manager.
//
//     zel::Enumerator& enumerator = zel::Enumerator::instance();
//     enumerator.getDevicesOfType(zel::CapabilityImp::Memory(), 1, 0);
//     zel::StateManager& found = zel::ModuleManager::getInstance().getStateManager();
//
// Thread rule: findDevices may run in several threads at once. The operations that put devices into the module manager wait
// for each other; who reads that manager meanwhile does so at his own risk.

#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>
#include <zel/foundation/String.h>
#include <zel/model/vocabulary/CapabilityImp.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zel {

class StateManager;

class ZEL_EXPORT Enumerator
{
public:
    static Enumerator& instance();

    /// Directory that stands for the machine; "/" at first. Throws InvalidArgumentException when it cannot be
    /// opened; the old one then stays.
    void setRoot(std::string const& directory);
    /// As above, for a machine that is no directory. Not null.
    void setRoot(std::unique_ptr<Root> root);
    /// Where further modules stand that report devices; at first the folder "sysinfo" beside the running
    /// program. Empty: nowhere. docs/modules-folder.md says what they must be like.
    void setModulesFolder(std::string const& folder);
    /// Whether facts are looked for as well that take long to find or that only few ask for; not at first. Modules
    /// of the folder are asked with "-v" then.
    void setDetail(bool detail);
    /// How long such a module may take; 30 seconds at first.
    void setModuleDeadline(int milliseconds);

    /// Finds the devices of this machine that have at least one of `capabilities` as type or capability, and
    /// puts them into the module manager's state manager, whose former content goes. On the running machine
    /// the modules of the modules folder are asked as well: what they know and the enumerator does not is
    /// added, devices and properties. The two numbers are reserved.
    void getDevicesOfType(CapabilityImp const& capabilities, int, int);
    /// The same into `found`, which is empty.
    void findDevices(CapabilityImp const& capabilities, StateManager& found);
    /// Runs the system-information module of that name, found beside the running program, as a child process,
    /// and puts all that it answers into the module manager's state manager, whose former content goes. A module
    /// that is missing, fails or answers nonsense costs an error line in the log. The two numbers are reserved.
    void getDevicesFromModule(String const& module, int, int);

    /// Directories below the root ("" for the root itself) that the scans since setRoot could not read for
    /// lack of permission, sorted: devices there were not found.
    std::vector<std::string> refusedDirectories() const;
    /// What kept the scans since setRoot from looking everywhere, one for each reason: when there is any,
    /// devices may be missing. Each is an error line in the log too.
    std::vector<RootFailure> failures() const;
    /// The damaged tables that the last call met and that tell of what it asked for, one for each; `missing` is empty when
    /// none of its devices can be missing. Each is an error line in the log too.
    std::vector<TableDamage> tableDamages() const;
    /// The modules that the last call asked in vain, one line for each: "{program}: {reason}". Their devices are
    /// missing, all others are there. Each is an error line in the log too.
    std::vector<String> moduleFailures() const;
    /// Devices that the last call found.
    std::size_t deviceCount() const;
    /// Completes `state` by what the last call found and it has not; what it has stays.
    void buildStateManager(StateManager& state) const;

private:
    struct Setting
    {
        std::shared_ptr<Root const> root; ///< null when it could not be opened
        std::string modulesFolder;
        int moduleMilliseconds = 30'000;
        bool detail = false;
    };
    Enumerator();
    ~Enumerator();
    Setting setting() const;
    void askModules(Setting const& setting, CapabilityImp const& capabilities, StateManager& found);
    void noteModuleFailures(std::vector<String> failures);
    void noteTableDamages(std::vector<TableDamage> damages);

    std::mutex m_call; ///< one at a time fills the module manager
    mutable std::mutex m_lock;
    Setting m_setting;                    ///< under m_lock
    std::vector<String> m_moduleFailures; ///< under m_lock
    std::vector<TableDamage> m_damages;   ///< under m_lock
};

} // namespace zel
