#pragma once
// Sends frames out of one port and counts how they come back: through a plug in the same port, or into a second one.
//
//     auto ports = openPorts("eth0", "eth1");
//     Outcome outcome = runLoopback(host, "eth0", LoopbackSettings{}, *ports.wire);
//
// Thread rule: as for TestHost.

#include <common/TestHost.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace krel5::modules::network {

/// What goes in at one end and should come out at the other. Payloads of frames, without their Ethernet header.
struct Wire
{
    virtual ~Wire() = default;
    /// errno; 0: on its way. ENOBUFS and EAGAIN: no room for it yet.
    virtual int send(std::span<std::byte const> payload) = 0;
    struct Arrival
    {
        int error = 0; ///< errno; EAGAIN: nothing came within the time
        std::size_t size = 0;
    };
    /// Waits for a frame for `patience` at most; 0: takes what has come.
    virtual Arrival receive(std::span<std::byte> into, std::chrono::milliseconds patience) = 0;
    virtual std::size_t mostBytes() const = 0; ///< of a payload
    virtual double now() const = 0;            ///< seconds, on a clock that never goes back
};

struct OpenedWire
{
    std::unique_ptr<Wire> wire;
    int error = 0;       ///< errno; then there is no wire
    std::string where{}; ///< the interface that it is about
};

/// Between two interfaces of the running machine, or out of one and in again where `in` is empty. Other frames than the test's own
/// are not touched. ENETDOWN: an interface is switched off.
OpenedWire openWire(std::string const& out, std::string const& in);

struct LoopbackSettings
{
    std::uint64_t frames = 10'000;
    std::uint64_t seed = 1;     ///< of what the frames carry
    std::uint64_t mostLost = 0; ///< more are a fault
    double floorMegabits = 0;   ///< a slower wire fails; 0: the rate is only told
};

/// Faults: "NetworkNothingBack", "NetworkLost" (Count, Frames), "NetworkDamaged" (Frame, Offset, Sent, Received),
/// "NetworkDamagedMore" (Count), "NetworkTwice" (Count), "NetworkOutOfOrder" (Count), "NetworkTooSlow" (Mbps, Floor); problems
/// "NetworkSendFailed", "NetworkReceiveFailed" (Reason); note "NetworkLoopback". All with Interface.
Outcome runLoopback(TestHost& host, std::string const& name, LoopbackSettings const& settings, Wire& wire);

} // namespace krel5::modules::network
