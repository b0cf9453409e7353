#pragma once
// What happens, as lines for programs: docs/watch.md has the words.

#include <engine/watch/WatchNews.h>

#include <string>

namespace engine {

struct WatchHead
{
    std::string engineVersion, command;
    std::vector<std::string> modules; ///< guids
};

/// The first line; each ends with a line end.
std::string jsonOfBegin(WatchHead const& head, Time time);
std::string jsonOf(WatchNews const& news);
/// Lines that nobody read in time.
std::string jsonOfGap(std::size_t lines, Time time);
/// The last one.
std::string jsonOfEnd(int exitStatus, std::size_t standingAlerts, Time time);

} // namespace engine
