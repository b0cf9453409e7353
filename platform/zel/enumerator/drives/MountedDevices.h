#pragma once
// Which block devices are mounted where, and on which drives the running system stands.

#include <zel/enumerator/drives/Mounts.h>
#include <zel/enumerator/root/Root.h>

#include <map>
#include <set>
#include <string>

namespace zel {

class MountedDevices
{
public:
    /// Reads /proc/self/mountinfo, or /proc/self/mounts or /proc/mounts where it is missing.
    explicit MountedDevices(Root const& root);

    /// By the name of a block device ("sda4"); null when it is not mounted. Of several mounts the first.
    Mount const* find(std::string const& kernelName) const;
    /// Whether the root file system stands on that block device, or on a mapping or array that it is part of.
    bool carriesSystem(std::string const& kernelName) const { return m_system.contains(kernelName); }

private:
    void addSystem(Root const& root, std::string const& path, unsigned depth);
    std::string pathOf(Root const& root, Mount const& mount) const;

    std::map<std::string, Mount> m_mounts;
    std::set<std::string> m_system; ///< names of partitions and drives
};

} // namespace zel
