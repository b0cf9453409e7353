#pragma once
// A module that starts while the machine is looked at: most of a short run is the start of its module.

#include <engine/runner/ModuleLink.h>
#include <engine/runner/linux/Child.h>

#include <memory>
#include <string>
#include <vector>

namespace engine {

/// It is told nothing, so it does nothing, until a run of the same program takes it over; else it is killed. Thread rule:
/// the main thread's.
class HeadStart
{
public:
    /// Where the module cannot be started there is none: the run finds out itself, and says so.
    /// Throws IPCException when modules could not reach this process.
    HeadStart(std::string program, std::vector<std::string> words);
    ~HeadStart();
    HeadStart(HeadStart const&) = delete;
    HeadStart& operator=(HeadStart const&) = delete;

    /// By which the module logs in; whoever takes it keeps it for longer than this.
    std::unique_ptr<ModuleLink> takeLink() { return std::move(m_ownLink); }
    /// False: there is none that was started so.
    bool give(std::string const& program, std::vector<std::string> const& words, Child& to);

private:
    std::string m_program;
    std::vector<std::string> m_words;
    std::unique_ptr<ModuleLink> m_ownLink = std::make_unique<ModuleLink>();
    ModuleLink& m_link = *m_ownLink;
    Child m_child;
};

} // namespace engine
