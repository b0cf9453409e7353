#pragma once
// What was read last, and before, of everything that is watched: for the table, the endpoint and the end of it.

#include <engine/watch/Quantity.h>
#include <engine/watch/WatchNews.h>

#include <array>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace engine {

/// The last values of a reading. Its size stays what it is, however long it goes on.
class History
{
public:
    static constexpr std::size_t kMost = 120;

    void add(double value);
    std::size_t size() const { return m_size; }
    /// From the oldest on. REQUIRES: index < size().
    double at(std::size_t index) const { return m_values[(m_begin + index) % kMost]; }

private:
    std::array<double, kMost> m_values{};
    std::size_t m_begin = 0, m_size = 0;
};

struct WatchedReading
{
    std::string key, name, text;      ///< text: as a person reads it
    std::optional<Quantity> quantity; ///< nothing: it is no number
    zel::ValueImp value;              ///< the last one
    double least = 0, most = 0;       ///< of the numbers since it is watched
    std::string leastText, mostText;
    History history;
    Time taken;
};

struct DeviceReadings
{
    WatchedDevice device;
    std::string module;                   ///< guid
    std::vector<WatchedReading> readings; ///< in the order in which they came
};

struct ModuleState
{
    bool isUp = false, isSilent = false;
    std::string trouble{}; ///< empty: none
    double interval = 0;   ///< seconds from one reading to the next
};

/// Thread rule: any thread.
class Readings final : public WatchObserver
{
public:
    static constexpr std::size_t kMostReadings = 20'000; ///< of all devices; further ones are counted only

    struct Snapshot
    {
        std::vector<DeviceReadings> devices; ///< by module, and in the order in which they came
        std::vector<std::pair<std::string, WatchedAlert>> alerts; ///< module and alert; the oldest first
        std::map<std::string, ModuleState> modules;
        std::size_t leftOut = 0; ///< readings beyond the bound; as many at most as that
    };

    void take(WatchNews const& news) override;
    Snapshot snapshot() const;

private:
    void takeReadings(WatchNews const& news);
    void forget(WatchNews const& news);

    mutable std::mutex m_mutex; // guards what follows
    std::vector<DeviceReadings> m_devices;
    std::map<std::pair<std::string, std::string>, std::size_t> m_index; // module and guid of the device
    std::vector<std::pair<std::string, WatchedAlert>> m_alerts;
    std::map<std::string, ModuleState> m_modules;
    std::size_t m_count = 0;
    std::set<std::string> m_leftOut; // beginningOf() and the key
};

/// Whether the reading still says how things are: its module is there and speaks, and it came within three intervals and 15 s.
bool isCurrent(Readings::Snapshot const& all, DeviceReadings const& device, WatchedReading const& reading,
               Time now);

} // namespace engine
