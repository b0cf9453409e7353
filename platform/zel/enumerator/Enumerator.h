#pragma once
// Devices of this machine, as records of a state manager.
//
//     zel::Enumerator& enumerator = zel::Enumerator::instance();
//     enumerator.getDevicesOfType(zel::CapabilityImp::Memory(), 1, 0);
//     zel::StateManager& found = zel::ModuleManager::getInstance().getStateManager();
//
// Thread rule: one call at a time.

#include <zel/enumerator/root/Root.h>
#include <zel/foundation/String.h>
#include <zel/model/vocabulary/CapabilityImp.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
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
    void setRoot(std::unique_ptr<Root> root) { m_root = std::move(root); }

    /// Finds the devices of this machine that have at least one of `capabilities` as type or capability, and
    /// puts them into the module manager's state manager, whose former content goes. The two numbers are
    /// reserved.
    void getDevicesOfType(CapabilityImp const& capabilities, int, int);
    /// Runs the system-information module of that name, found beside the running program, as a child process,
    /// and puts its devices into the module manager's state manager. A module that is missing, fails or
    /// answers nonsense costs an error line in the log. The two numbers are reserved.
    void getDevicesFromModule(String const& module, int, int);
    /// Directories below the root ("" for the root itself) that the scans since setRoot could not read for
    /// lack of permission, sorted: devices there were not found.
    std::vector<std::string> refusedDirectories() const;
    /// What kept the scans since setRoot from looking everywhere, one for each reason: when there is any,
    /// devices may be missing. Each is an error line in the log too.
    std::vector<RootFailure> failures() const;
    /// Devices that the last call found.
    std::size_t deviceCount() const;
    /// Completes `state` by what the last call found and it has not; what it has stays.
    void buildStateManager(StateManager& state) const;

private:
    Enumerator();
    ~Enumerator();
    std::unique_ptr<Root> m_root;
};

} // namespace zel
