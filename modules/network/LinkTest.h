#pragma once
// Watches the link of a network interface for a while: is it there, is it what both ends can, does it stay, do errors come.
//
//     Outcome outcome = runLinkTest(host, "eth0", LinkSettings{}, interfaceAccess("eth0"));
//
// Thread rule: as for TestHost.

#include <common/TestHost.h>
#include <network/Interface.h>

namespace krel5::modules::network {

struct LinkSettings
{
    double seconds = 10;          ///< to watch for
    double patience = 10;         ///< seconds that a link may take to come
    bool isRequired = false;      ///< a port without a link fails; else it cannot be tested
    bool mayBeHalfDuplex = false; ///< else a link of 100 Mbit/s and more fails that is
    std::uint64_t leastMegabits = 0;
    std::uint64_t mostErrors = 0; ///< of the line, while it is watched
};

/// Faults: "NetworkNoLink", "NetworkSlow" (Mbps, Common), "NetworkBelowFloor" (Mbps, Floor), "NetworkHalfDuplex" (Mbps),
/// "NetworkLinkLost" (Count), "NetworkLinkChanged" (Before, Mbps), "NetworkErrors" (Counter, Count, Frames). Problems:
/// "NetworkGone", "NetworkNotRead" (Reason), "NetworkDown", "NetworkNoLink". All with Interface.
Outcome runLinkTest(TestHost& host, std::string const& name, LinkSettings const& settings,
                    InterfaceAccess const& access);

} // namespace krel5::modules::network
