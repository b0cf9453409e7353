#pragma once
// Modules that have no metadata file are asked to write one.

#include <map>
#include <string>
#include <vector>

namespace engine {

struct ModuleAnswer
{
    std::string path;     ///< of the metadata; what is wrong with it is told by this name
    std::string metadata; ///< the file's text
    std::string error;    ///< why there is none: "{program}: {reason}"; empty when there is
};

/// Starts each program with "-m" in a folder of its own below the one for temporary files, which nobody else can look
/// into and which is gone afterwards; several at a time. One that takes longer is ended. REQUIRES: absolute paths.
std::map<std::string, ModuleAnswer> askModules(std::vector<std::string> const& programs, int milliseconds);

} // namespace engine
