#pragma once
// What a test reads of a network interface.
//
// Thread rule: one thread.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace krel5::modules::network {

/// What a rise of an error counter tells.
enum class CounterKind {
    Line,       ///< of the line: cable, plugs, port
    Overload,   ///< the computer was too slow to take or to give what was there
    Note,       ///< may be another machine's doing
    ReceiveSum, ///< all that went wrong on the way in
    TransmitSum ///< and on the way out
};

struct CounterName
{
    char const* name; ///< of the file below `statistics`
    CounterKind kind;
};

inline constexpr CounterName kCounters[] = {
#define NETWORK_COUNTER(name, kind) {name, CounterKind::kind},
#include <network/Counters.def>
};
inline constexpr std::size_t kCounterCount = std::size(kCounters);
using Counts = std::array<std::optional<std::uint64_t>, kCounterCount>;

enum class Duplex { Unknown, Half, Full };

struct LinkState
{
    int error = 0;     ///< errno; ENODEV: the interface is gone. Then nothing else is known
    bool isUp = false; ///< switched on by the administrator
    bool hasCarrier = false;
    bool isRadio = false;                  ///< loses frames, and its link, also where all parts are sound
    std::optional<std::uint64_t> megabits; ///< per second
    Duplex duplex = Duplex::Unknown;
    std::optional<std::uint64_t> losses; ///< of the link, since the driver was loaded
    Counts counts;
    std::uint64_t frames = 0; ///< received and sent
};

/// Of the link modes that both ends have offered each other, the fastest, in Mbit/s; nothing where that is not known.
struct Abilities
{
    std::optional<std::uint64_t> common;
};

/// Thread rule: one thread at a time.
struct InterfaceAccess
{
    std::function<LinkState()> read;
    std::function<Abilities()> ask;
    std::function<void(std::chrono::milliseconds)> wait;
    std::function<double()> now; ///< seconds, on a clock that never goes back
};

/// Of the running machine, below `root`, "/" for it. `name` as the system names it.
InterfaceAccess interfaceAccess(std::string const& name, std::string const& root = "/");

/// Whether a system could have an interface of this name: 1 to 15 bytes, no slash, no blank, not "." or "..".
bool isInterfaceName(std::string_view name) noexcept;

} // namespace krel5::modules::network
