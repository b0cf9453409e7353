#pragma once
// krel5-engine watch: what the indicator modules read, as it changes.

#include <engine/commands/Situation.h>
#include <engine/watch/WatchedModule.h>

#include <string>
#include <vector>

namespace engine {

struct WatchRequest
{
    SituationRequest where;
    std::vector<std::string> modules; ///< words; empty: all that watch anything
    std::vector<std::string> devices; ///< as of run
    std::string interval,
        forTime; ///< "2", "0.5", "1m"; empty: what the modules' settings say, and until it is stopped
    std::vector<std::string> allowedHosts; ///< from which modules may have something fetched
    bool json = false;
    std::string prometheus; ///< address of the endpoint; empty: none
    bool fromAfar = false;  ///< the endpoint may be one that other machines reach
    std::string command;    ///< as it was typed, quoted for a shell
};

/// Exit status: docs/watch.md. Throws InvalidArgumentException for a request that is bad usage.
int watchCommand(WatchRequest const& request);

/// The modules of the words that have indicators; `interval` in seconds, 0: as their settings say. Throws
/// InvalidArgumentException for a word that is no module, or one without indicators.
std::vector<ModuleToWatch> modulesToWatch(std::vector<std::string> const& words, Catalog const& catalog,
                                          double interval);
/// "0.5", or a time with its unit. Throws InvalidArgumentException for what is none, and outside of 0.1 s to a day.
double intervalOf(std::string const& text);

} // namespace engine
