#pragma once
// A folder of modules: those that report devices, so that every program finds them, or those that test.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <string>
#include <vector>

namespace zel {

struct ZEL_EXPORT ModulesFolder
{
    std::vector<std::string> programs; ///< paths, in natural order of the names
    std::vector<String> refused; ///< what stands there and is not started: "{path}: {reason}", one line each

    /// What is in the folder. A module is a file whose name has no dot: what has one stands beside a module
    /// (texts, settings, a filter). Nobody but root, the caller and who may replace the running program may be
    /// able to write the folder or the module, and a module is no link: whoever can change where it leads would
    /// choose what runs. A folder that does not exist is an empty one.
    static ModulesFolder read(std::string const& path);
    /// One program that somebody named, by the same rules: where it stands, and why it is not to be started, empty when
    /// it may be.
    static String refusal(std::string const& program);
};

} // namespace zel
