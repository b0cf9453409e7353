#pragma once
// The module at work: devices that are watched, their readings, and the alerts that stand.

#include <sensors/Declarations.h>
#include <sensors/Judge.h>
#include <sensors/Poller.h>
#include <sensors/Scanner.h>

#include <krel5/IndicatorReturnData.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace krel5 {
class Alert;
class DeviceProperty;
class DiagDevice;
class SysInfoDevice;
} // namespace krel5

namespace krel5::modules::sensors {

/// Thread rule: the module's main thread.
class Watch
{
public:
    explicit Watch(Declarations const& declarations);
    ~Watch();

    /// Finds what there is to watch and adds it. A device that blocks while it is looked for delays this by ten seconds at most;
    /// the others come later, as if they were plugged in.
    void enumerate();
    /// Adds and removes devices that came and went.
    void follow();
    /// What the device says, if it said anything since the last time; raises and takes back its alerts.
    IndicatorReturnData read(DiagDevice const& device);

private:
    struct Device;

    void update(Scanner::Found const& found);
    void add(zel::DeviceImp const& theirs);
    void tellWhatChanged();
    DeviceProperty*
    limitOf(zel::PropertyImp const& property) const; ///< with its value; null for what is none
    void renewLimits(zel::DeviceImp const& theirs);
    void remove(Device& device);
    bool forget(Device& device);
    void judgeLooking();
    void judge(Device& device, Part const& part, Readings const& readings);
    void judgeSilence(Device& device, Poller::Last const& last);
    std::optional<double> limitOf(Rule const& rule, Part const& part, Readings const& readings) const;
    Alert& alertOf(Device& device, char const* key, char const* type);

    Declarations const& m_declarations;
    std::unique_ptr<Poller> m_poller;
    std::unique_ptr<Scanner> m_scanner;
    std::map<std::string, std::unique_ptr<Device>>
        m_devices; ///< by guid: those there, and those that just went
    std::map<std::string, std::vector<Alert*>> m_spareAlerts; ///< by key, of devices that went
    std::vector<std::string> m_new, m_gone; ///< guids of devices; the other side does not know yet
    bool m_isAsked = false;                 ///< an engine sent devices, and what is to be watched of them
    bool m_hasLooked = false, m_isRunning = false;
    Alert* m_stuckAlert = nullptr;
    bool m_isStuck = false;
};

} // namespace krel5::modules::sensors
