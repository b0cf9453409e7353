#pragma once
// The self-test that a network card's driver offers.
//
// Thread rule: as for TestHost.

#include <common/TestHost.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace krel5::modules::network {

struct SelfTestAnswer
{
    int error = 0;          ///< errno; EOPNOTSUPP: the driver has none
    bool hasFailed = false; ///< what the driver says of the whole
    struct Part
    {
        std::string name;        ///< as the driver calls it
        std::uint64_t value = 0; ///< 0: passed
    };
    std::vector<Part> parts;
};

/// `isWhole` with the parts for which the driver takes the link down. May block for as long as the driver does.
using SelfTestCall = std::function<SelfTestAnswer(bool isWhole)>;

/// Of the running machine.
SelfTestCall selfTestOf(std::string const& name);

/// Faults "NetworkSelfTestPart" (Part, Value), "NetworkSelfTestFailed"; problems "NetworkSelfTestNone", "NetworkGone",
/// "NetworkSelfTestRefused" (Reason); notes "NetworkSelfTest" (Parts, Names). All with Interface. A stop request is heeded while
/// the driver works, which goes on until it is done: it cannot be interrupted.
Outcome runSelfTest(TestHost& host, std::string const& name, bool isWhole, SelfTestCall const& call);

} // namespace krel5::modules::network
