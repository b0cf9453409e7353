#pragma once
// The folder into which one puts modules that report devices, so that every program finds them.

#include <zel/foundation/String.h>

#include <string>
#include <vector>

namespace zel {

struct ModulesFolder
{
    std::vector<std::string> programs; ///< paths, in natural order of the names
    std::vector<String> refused; ///< what stands there and is not started: "{path}: {reason}", one line each

    /// What is in the folder. A module is a file whose name has no dot: what has one stands beside a module
    /// (texts, settings, a filter). Nobody but root, the caller and who may replace the running program may be
    /// able to write the folder or the module, and a module is no link: whoever can change where it leads would
    /// choose what runs. A folder that does not exist is an empty one.
    static ModulesFolder read(std::string const& path);
};

} // namespace zel
