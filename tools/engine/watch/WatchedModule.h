#pragma once
// One indicator module from its start to its end: it is asked what it can watch, then told to watch it.

#include <engine/runner/Companion.h>
#include <engine/runner/linux/Child.h>
#include <engine/watch/WatchNews.h>

#include <zel/model/state/StateManager.h>
#include <zel/model/vocabulary/LanguageImp.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace engine {

struct ModuleToWatch
{
    std::string guid, program;
    double interval = 5; ///< seconds from one reading to the next
};

struct WatchOptions
{
    std::vector<std::string> words{};                   ///< for every module, behind "-e": its language
    zel::LanguageImp language = zel::LanguageImp::en(); ///< of the names of properties
    std::string logFolder{}; ///< in which modules make their folder logs; empty: the working directory
    std::chrono::milliseconds patience = std::chrono::seconds(30); ///< from a module's start to its answer
    std::chrono::milliseconds silence =
        std::chrono::seconds(15); ///< beside three intervals; then it is silent
    std::vector<std::string>
        allowedHosts{}; ///< from which modules may have something fetched, where they are watched alone
    /// Whether the device is to be watched; nothing: all are.
    std::function<bool(zel::DeviceImp const&)> isWanted{};
};

/// Hears its module through said() and gone(), and looks at its process and at the clock in look(). Thread rule: the main
/// thread's.
class WatchedModule
{
public:
    using Clock = Companion::Clock;
    static constexpr std::size_t kMostDevices = 10'000; ///< of a module; further ones are not told

    /// They outlive it. `devices`: of the machine.
    struct Surroundings
    {
        Companion::Engine engine;
        std::shared_ptr<zel::StateManager const> devices;
        WatchOptions const& options;
        WatchObserver& observer;
    };

    WatchedModule(ModuleToWatch module, Surroundings const& surroundings);

    void begin();
    void connected(zel::IPCServer::Peer peer);
    void said(zel::Message const& message);
    /// Its connection ended; everything it said has been heard.
    void gone(zel::String const& reason);
    void stop();
    void look(Clock::time_point now);
    Clock::time_point nextLook() const;

    Child& child() { return m_child; }
    Child const& child() const { return m_child; }
    long process() const { return m_process; }
    std::optional<zel::IPCServer::Peer> peer() const { return m_peer; }
    bool isOver() const { return m_phase == Phase::Over; }
    /// It did not answer, ended by itself, or was silent to the end.
    bool hasFailed() const { return m_hasFailed || m_isSilent; }

private:
    enum class Phase { Listing, Watching, Over };
    enum class Step { None, Asked, Terminated, Killed };

    void start(char const* word);
    void send(zel::Message const& message);
    void reply(zel::Message const& request, zel::Message&& message);
    void answerStart(zel::Message const& request);
    void take(zel::UpdatesBody const& body);
    void takeReadings(zel::UpdatesBody const& body);
    void takeDevice(zel::UpdatesBody const& body, WatchNews::Kind kind);
    void takeChanges(zel::StateManager const& state);
    void takeAlerts(zel::StateManager const& state);
    void forgetAlert(std::string const& guid);
    void forgetDevice(std::string const& guid);
    bool know(zel::DeviceImp const& device);
    bool isWanted(std::string const& device) const;
    bool takeListing();
    void escalate(Clock::time_point now);
    void lookAtLimits(Clock::time_point now);
    void heard();
    void phaseEnded(Child::End const& end);
    void fail(std::string const& why);
    void tell(WatchNews news);
    std::string howItEnded(Child::End const& end) const;

    ModuleToWatch m_module;
    Surroundings m_around;
    Child m_child;
    long m_process = -1;
    std::optional<zel::IPCServer::Peer> m_peer;
    std::shared_ptr<zel::StateManager const> m_listing; // what it can watch
    std::shared_ptr<zel::StateManager> m_asked;         // and what it is asked to

    Phase m_phase = Phase::Listing;
    Step m_step = Step::None;
    Clock::time_point m_nextStep, m_mustAnswer, m_lastHeard, m_settled;
    std::optional<Child::End> m_processEnd; // and since when what it said is awaited
    unsigned m_shutdownSeconds = 5;
    bool m_isAnswered = false, m_isGone = false, m_isStopped = false, m_hasFailed = false, m_isSilent = false;
    bool m_isLate = false;
    std::string m_internalError, m_brokenRule;

    std::map<std::string, WatchedDevice> m_devices; // by guid
    std::set<std::string> m_unwanted;               // guids
    std::map<std::string, WatchedAlert> m_alerts;   // that stand, by guid
};

} // namespace engine
