#pragma once
// A machine in memory, for tests: files, links, and paths that cannot be read.
//
//     MemoryRoot root;
//     root.file("sys/class/net/eth0/address", "00:1a:2b:3c:4d:5e\n")
//         .link("sys/class/net/eth0/device", "../../../devices/pci0000:00/0000:00:19.0")
//         .unreadable("sys/class/net/eth0/speed");

#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>
#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace zel::test {

class MemoryRoot : public Root
{
public:
    MemoryRoot& file(std::string const& path, std::string content)
    {
        m_files[path] = std::move(content);
        return *this;
    }
    /// Several files of one folder: {{"name", "content"}, ...}.
    MemoryRoot& files(std::string const& folder,
                      std::vector<std::pair<std::string, std::string>> const& contents)
    {
        for (auto const& [name, content] : contents)
            file(folder + "/" + name, content);
        return *this;
    }
    MemoryRoot& link(std::string const& path, std::string target)
    {
        m_links[path] = std::move(target);
        return *this;
    }
    /// Every read of the path fails; it still stands in its folder.
    MemoryRoot& unreadable(std::string const& path)
    {
        m_files.try_emplace(path);
        m_errors.insert(path);
        return *this;
    }
    /// Nobody can look at the path: whatever is asked of it finds nothing, and failures() says so.
    MemoryRoot& failing(std::string const& path)
    {
        m_failing.insert(path);
        return *this;
    }
    MemoryRoot& remove(std::string const& path)
    {
        m_files.erase(path);
        m_links.erase(path);
        return *this;
    }

    /// Text files end as some kernels let them end: with the zero of the C string.
    MemoryRoot& zeroEnded()
    {
        for (auto& [path, content] : m_files)
            content += content.ends_with('\n') ? std::string(1, '\0') : "";
        return *this;
    }

    /// Every path that was asked for, in any way.
    std::set<std::string> const& asked() const { return m_asked; }
    /// How often each resolved path was read, so that a test can see one read twice.
    std::map<std::string, int> const& reads() const { return m_reads; }

    /// What stands at a mount point, as long as the device is the one that was asked for.
    MemoryRoot& usage(std::string const& mountPoint, std::string const& device, FileSystemUsage const& usage)
    {
        m_usage[mountPoint] = {device, usage};
        return *this;
    }

    bool isLive() const override { return false; }
    std::optional<FileSystemUsage> usage(std::string const& mountPoint,
                                         std::string const& device) const override
    {
        auto const found = m_usage.find(mountPoint);
        bool const isIt = found != m_usage.end() && (device.empty() || device == found->second.first);
        return isIt ? std::optional(found->second.second) : std::nullopt;
    }
    MemoryRoot& firmwareOf(std::string const& interface, std::string const& version)
    {
        m_firmware[interface] = version;
        return *this;
    }
    std::optional<std::string> networkFirmware(std::string const& interface) const override
    {
        auto const found = m_firmware.find(interface);
        return found == m_firmware.end() ? std::nullopt : std::optional(found->second);
    }
    std::vector<RootFailure> failures() const override
    {
        return m_failed == 0 ? std::vector<RootFailure>()
                             : std::vector{RootFailure{"Input/output error", m_firstFailed, m_failed}};
    }
    std::optional<std::string> read(std::string const& path, std::size_t limit) const override
    {
        if (fails(path))
            return std::nullopt;
        auto const real = resolve(path);
        auto const found = real ? m_files.find(*real) : m_files.end();
        if (found == m_files.end())
            return std::nullopt;
        ++m_reads[*real];
        if (m_errors.count(*real) != 0)
            return std::nullopt;
        return found->second.substr(0, limit);
    }
    std::vector<std::string> list(std::string const& path) const override
    {
        if (fails(path))
            return {};
        auto const real = resolve(path);
        std::set<std::string> names;
        if (real && m_files.count(*real) == 0) {
            std::string const prefix = real->empty() ? "" : *real + "/";
            collect(m_files, prefix, names);
            collect(m_links, prefix, names);
        }
        std::vector<std::string> sorted(names.begin(), names.end());
        std::sort(sorted.begin(), sorted.end(), text::naturalLess);
        return sorted;
    }
    std::optional<std::string> resolve(std::string const& path) const override
    {
        if (fails(path))
            return std::nullopt;
        int links = 0;
        return walk("", path, links);
    }
    std::optional<std::string> linkName(std::string const& path) const override
    {
        if (fails(path))
            return std::nullopt;
        std::size_t const slash = path.rfind('/');
        auto const folder = resolve(slash == std::string::npos ? "" : path.substr(0, slash));
        if (!folder)
            return std::nullopt;
        auto const found = m_links.find((folder->empty() ? "" : *folder + "/") + path.substr(slash + 1));
        return found == m_links.end() ? std::nullopt
                                      : std::optional(found->second.substr(found->second.rfind('/') + 1));
    }

private:
    bool fails(std::string const& path) const
    {
        m_asked.insert(path);
        if (m_failing.count(path) == 0)
            return false;
        if (m_failed++ == 0)
            m_firstFailed = path;
        return true;
    }
    template <typename Map>
    static void collect(Map const& map, std::string const& prefix, std::set<std::string>& names)
    {
        for (auto at = map.lower_bound(prefix); at != map.end() && at->first.rfind(prefix, 0) == 0; ++at)
            names.insert(at->first.substr(prefix.size(), at->first.find('/', prefix.size()) - prefix.size()));
    }
    bool standsSomething(std::string const& path) const
    {
        auto const isOrHolds = [&path](auto const& map) {
            auto const at = map.lower_bound(path + "/");
            return map.count(path) != 0 || (at != map.end() && at->first.rfind(path + "/", 0) == 0);
        };
        return path.empty() || isOrHolds(m_files) || isOrHolds(m_links);
    }
    std::optional<std::string> walk(std::string at, std::string const& path, int& links) const
    {
        for (std::string_view const part : text::split(path, '/')) {
            if (part.empty() || part == ".")
                continue;
            std::size_t const slash = at.rfind('/');
            if (part == "..") {
                at = slash == std::string::npos ? "" : at.substr(0, slash);
                continue;
            }
            std::string const next = (at.empty() ? "" : at + "/") + std::string(part);
            auto const link = m_links.find(next);
            if (link == m_links.end()) {
                at = next;
            } else {
                auto const target = ++links > 40
                                        ? std::nullopt
                                        : walk(link->second.front() == '/' ? "" : at, link->second, links);
                if (!target)
                    return std::nullopt;
                at = *target;
            }
            if (!standsSomething(at))
                return std::nullopt;
        }
        return at;
    }

    std::map<std::string, std::string> m_files;
    std::map<std::string, std::string> m_links;
    std::map<std::string, std::pair<std::string, FileSystemUsage>> m_usage;
    std::map<std::string, std::string> m_firmware;
    std::set<std::string> m_errors;
    std::set<std::string> m_failing;
    mutable std::size_t m_failed = 0;
    mutable std::string m_firstFailed;
    mutable std::map<std::string, int> m_reads;
    mutable std::set<std::string> m_asked;
};

/// Keeps what is found, for looking at.
class RecordingSink : public DeviceSink
{
public:
    void add(DeviceDescription device) override { devices.push_back(std::move(device)); }
    void tell(TableDamage const& damage) override { damages.push_back(damage); }
    bool wantsDetail() const override { return detail; }

    std::vector<DeviceDescription const*> ofType(CapabilityImp const& type) const
    {
        std::vector<DeviceDescription const*> found;
        for (DeviceDescription const& device : devices)
            if (device.type == type)
                found.push_back(&device);
        return found;
    }
    /// The device at a location; null when there is none.
    DeviceDescription const* at(std::string const& hwLocator) const
    {
        for (DeviceDescription const& device : devices)
            if (device.hwLocator == String(hwLocator))
                return &device;
        return nullptr;
    }
    /// Text of a property's value; "-" when the device does not carry it (or there is no device).
    static std::string property(DeviceDescription const* device, std::string_view key)
    {
        if (device)
            for (auto const& [name, value] : device->properties)
                if (name == key)
                    return value.toString().toUtf8();
        return "-";
    }

    std::vector<DeviceDescription> devices;
    std::vector<TableDamage> damages;
    bool detail = false;
};

} // namespace zel::test
