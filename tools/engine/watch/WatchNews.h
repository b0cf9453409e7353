#pragma once
// What happens while modules are watched, as plain values: the table, the lines for programs and a report are made of them.
//
// Texts are UTF-8 as they came: whoever shows them makes them harmless for where they go.

#include <engine/report/Records.h>

#include <zel/model/values/ValueImp.h>

#include <string>
#include <vector>

namespace engine {

struct WatchedDevice
{
    std::string guid, name, place, type; ///< place: what the machine calls it ("/dev/sda"); may be empty
};

/// One property as an indicator read it.
struct Reading
{
    std::string key, name; ///< name: what a person reads
    zel::ValueImp value;
};

struct WatchedAlert
{
    std::string guid, key, type, title, message;
    std::vector<std::string> tips;
    std::string deviceGuid; ///< empty: of no device
    std::string deviceName;
    Time raised;
};

struct WatchNews
{
    enum class Kind {
        ModuleBegan,     ///< it is being watched: `text` says what
        ModuleSilent,    ///< it says nothing any more: `text` says since when
        ModuleHeard,     ///< it speaks again
        ModuleEnded,     ///< as it was asked to
        ModuleFailed,    ///< in any other way: `text` says how
        Readings,        ///< `device` with `readings`
        DeviceAdded,     ///< `device`, with the `readings` that it came with
        DeviceRemoved,   ///< `device`
        PropertyAdded,   ///< of `device`: `readings` has it
        PropertyRemoved, ///< of `device`: `text` is its key
        AlertRaised,     ///< `alert`, anew or with other words
        AlertCleared     ///< `alert`
    };

    Kind kind = Kind::ModuleBegan;
    Time time{};
    std::string module{}; ///< guid
    WatchedDevice device{};
    std::vector<Reading> readings{};
    WatchedAlert alert{};
    std::string text{};
    double interval = 0; ///< of ModuleBegan: seconds from one reading to the next
};

/// With the key of a reading behind it: its name among all; of all readings of the device the beginning.
inline std::string beginningOf(WatchNews const& news) { return news.module + '\n' + news.device.guid + '\n'; }

/// Is told everything as it happens, one call at a time. Thread rule: the main thread's.
class WatchObserver
{
public:
    virtual ~WatchObserver() = default;
    virtual void take(WatchNews const& news) = 0;
};

} // namespace engine
