#pragma once
// Where a person sees what runs: in place on a terminal, else a line at each ten percent.

#include <engine/show/LiveRun.h>

#include <string>
#include <vector>

namespace engine {

/// Thread rule: any thread.
class ProgressView
{
public:
    virtual ~ProgressView() = default;
    /// Lines that stay. Harmless, each with its end.
    virtual void say(std::string const& lines) = 0;
    /// Before it is first shown; `planned`: how many there will be, 0: not known.
    virtual void began(LiveRun const& run, std::size_t planned) = 0;
    /// All that run now, the oldest first.
    virtual void show(std::vector<LiveRun> const& runs) = 0;
    /// From pause to resume somebody else has the terminal; lines that are said meanwhile come after it.
    virtual void pause() = 0;
    virtual void resume() = 0;
};

} // namespace engine
