#pragma once
// A machine whose files are read as those of another root, and that tells from any thread what is being read and since when.

#include <zel/enumerator/root/Root.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

namespace krel5::modules::sensors {

/// Where somebody is who looks for devices. Thread rule: any thread.
class Whereabouts
{
public:
    using Clock = std::chrono::steady_clock;

    struct Place
    {
        std::string path;        ///< relative to the root; the one that was read last, when none is
        Clock::time_point since; ///< is there
    };
    void enter(std::string const& path)
    {
        std::lock_guard const guard(m_lock);
        m_place = {path, Clock::now()};
    }
    Place place() const
    {
        std::lock_guard const guard(m_lock);
        return m_place;
    }

private:
    mutable std::mutex m_lock;
    Place m_place{"", Clock::now()};
};

/// Thread rule: that of the other root.
class ObservedRoot final : public zel::Root
{
public:
    ObservedRoot(std::unique_ptr<zel::Root> root, std::shared_ptr<Whereabouts> where)
        : m_root(std::move(root)), m_where(std::move(where))
    {}

    bool isLive() const override { return m_root->isLive(); }
    std::optional<std::string> read(std::string const& path, std::size_t limit) const override
    {
        return entered(path).read(path, limit);
    }
    std::vector<std::string> list(std::string const& path) const override { return entered(path).list(path); }
    std::optional<std::string> resolve(std::string const& path) const override
    {
        return entered(path).resolve(path);
    }
    std::optional<std::string> linkName(std::string const& path) const override
    {
        return entered(path).linkName(path);
    }
    std::optional<zel::FileSystemUsage> usage(std::string const& mountPoint,
                                              std::string const& device) const override
    {
        return entered(mountPoint).usage(mountPoint, device);
    }
    std::optional<std::string> networkFirmware(std::string const& interface) const override
    {
        return entered("sys/class/net/" + interface).networkFirmware(interface);
    }
    std::vector<std::string> refused() const override { return m_root->refused(); }
    std::vector<zel::RootFailure> failures() const override { return m_root->failures(); }

private:
    zel::Root const& entered(std::string const& path) const
    {
        m_where->enter(path);
        return *m_root;
    }

    std::unique_ptr<zel::Root> m_root;
    std::shared_ptr<Whereabouts> m_where;
};

} // namespace krel5::modules::sensors
