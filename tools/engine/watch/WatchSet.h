#pragma once
// All modules that are watched, in a session of their own or beside the runs of one.

#include <engine/watch/WatchedModule.h>

#include <list>

namespace engine {

class WatchSet final : public Companion
{
public:
    /// `machine` and `observer` outlive it.
    WatchSet(std::vector<ModuleToWatch> modules, zel::StateManager const& machine, WatchObserver& observer,
             WatchOptions options);

    void begin(Engine const& engine) override;
    void waitsFor(std::vector<pollfd>& waiting) const override;
    Clock::time_point nextLook() const override;
    void listen() override;
    bool hear(News const& news) override;
    void look(Clock::time_point now) override;
    void stop() override;
    bool isOver() const override;

    /// Some module did not answer, ended by itself, or was silent to the end.
    bool hasFailed() const;

    /// Alone, until `isStopping` (called at least five times a second, so that things can be shown there), or until no module
    /// is left. Throws IPCException when modules could not reach this process.
    void run(std::function<bool()> const& isStopping);

private:
    std::vector<ModuleToWatch> m_toWatch;
    zel::StateManager const& m_machine;
    WatchObserver& m_observer;
    WatchOptions m_options;
    std::list<WatchedModule> m_modules;
    bool m_isStopping = false;
};

} // namespace engine
