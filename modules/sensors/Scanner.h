#pragma once
// Finds what there is to watch, again and again, in a thread of its own: a device that blocks while it is looked for delays nobody.

#include <sensors/Part.h>

#include <zel/enumerator/root/Root.h>
#include <zel/model/state/StateManager.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace krel5::modules::sensors {

/// The kinds of device that there is something to read of.
zel::CapabilityImp const& watchedCapabilities();

/// Thread rule: one thread asks. The one that looks holds what it needs, also when the scanner is gone: its end waits for none.
class Scanner
{
public:
    struct Found
    {
        zel::StateManager devices;
        std::vector<std::shared_ptr<Part const>> parts; ///< of those about which there is something to read
    };

    static constexpr std::chrono::seconds kDeadline{30}; ///< later than this a look counts as stuck
    static constexpr std::chrono::seconds kLeastRest{1}; ///< between two looks

    /// Begins to look, and looks again when devices come or go, at least every `interval`. However many come and go, it rests between
    /// two looks for ten times as long as the last one took, and for kLeastRest; never for longer than the interval. Throws what the enumerator and MachineFiles
    /// throw for a folder that cannot be opened.
    Scanner(std::string const& root, std::chrono::milliseconds interval) : Scanner(root, interval, Double())
    {}
    /// What stands in for the machine in tests.
    struct Double
    {
        std::unique_ptr<zel::Root> root{}; ///< null: the folder
        int events = -1; ///< a socket of which this takes possession; -1: the kernel's, of a live machine
        std::chrono::milliseconds deadline = kDeadline;
    };
    Scanner(std::string const& root, std::chrono::milliseconds interval, Double instead);
    ~Scanner();
    Scanner(Scanner const&) = delete;
    Scanner& operator=(Scanner const&) = delete;

    /// What was found since the last call; null when nothing was within `patience`.
    std::shared_ptr<Found const> take(std::chrono::milliseconds patience);
    /// What a look has been waiting for, for longer than the deadline, as a sentence; empty while all is well.
    std::string stuck() const;

private:
    struct State;
    std::shared_ptr<State> m_state;
};

} // namespace krel5::modules::sensors
