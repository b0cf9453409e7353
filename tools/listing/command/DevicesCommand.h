#pragma once
// The commands that show a machine's devices, and what differs between two listings: docs/zel-devices.md.

#include <listing/machine/Machine.h>

#include <zel/enumerator/records/DeviceSink.h>

#include <string>
#include <vector>

namespace listing {

enum class Form { Tree, Properties, Json, Xml, Html };

struct DevicesRequest
{
    std::string root = "/";
    bool rootIsGiven = false;
    Form form = Form::Tree;
    bool mask = false;
    std::vector<std::string> classes; ///< as typed
    std::string before;               ///< of compare: files; "-": standard input
    std::string after;                ///< empty: this machine, or the one below the root
    bool all = false;
};

struct Scan
{
    Machine machine;
    bool rootIsRead = true;
    bool isComplete = true; ///< but for what the user may not read
    std::vector<zel::TableDamage>
        damages; ///< of tables that tell of what is shown; all other classes are complete
};

/// The folder, seen from that of the running program; empty when nobody can tell which program runs.
std::string besideProgram(std::string const& folder);

/// Looks through the machine below `root` for devices of `lookedFor`; zel::ModuleManager has its state afterwards. On the
/// running machine the modules of `modulesFolder` (empty: none) are asked, too. `detail`: also for what few ask for. Says on
/// standard error why devices may be missing, of a damaged table only if it tells of a class of `shown`. Throws
/// InvalidArgumentException for a root that is none.
Scan scan(std::string const& root, bool detail, std::string const& modulesFolder,
          zel::CapabilityImp const& shown = zel::CapabilityImp::ALL(),
          zel::CapabilityImp const& lookedFor = zel::CapabilityImp::ALL());

/// Both print on standard output and return the process's exit status. Throw InvalidArgumentException for a request that is
/// bad usage, other exceptions for files that cannot be read.
int listDevices(DevicesRequest const& request, std::string const& modulesFolder);
int compareDevices(DevicesRequest const& request, std::string const& modulesFolder);

/// Of both: what their callers give for exceptions.
enum ListStatus { kListed = 0, kFailed = 1, kBadUsage = 2 };
enum CompareStatus { kSame = 0, kDiffers = 1, kTrouble = 2 };

} // namespace listing
