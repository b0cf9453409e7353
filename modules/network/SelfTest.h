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
    bool hasLink = true;    ///< before the test
    struct Part
    {
        std::string name;       ///< as the driver calls it
        std::int64_t value = 0; ///< 0: passed; other values are the driver's own
    };
    std::vector<Part> parts;
};

/// `isWhole` with the parts for which the driver takes the link down. May block for as long as the driver does.
using SelfTestCall = std::function<SelfTestAnswer(bool isWhole)>;

/// Of the running machine.
SelfTestCall selfTestOf(std::string const& name);

/// Whether the card has failed is what the driver says of the whole (ETH_TEST_FL_FAILED): a part that it cannot run has a value, too,
/// and with some drivers one that passed. A driver that names no part may have tested nothing, without a link or while it may not take
/// the link down; and a part about the link says nothing of a card that has none.
///
/// Faults "NetworkSelfTestPart" (Part, Value), "NetworkSelfTestFailed"; warnings "NetworkSelfTestValues" (Parts) of a test that passed;
/// problems "NetworkSelfTestNone", "NetworkSelfTestNoLink" (Parts), "NetworkSelfTestNotRun", "NetworkGone", "NetworkSelfTestRefused"
/// (Reason); notes "NetworkSelfTest" (Parts, Names). All with Interface. A stop request is heeded while the driver works, which goes
/// on until it is done: it cannot be interrupted.
Outcome runSelfTest(TestHost& host, std::string const& name, bool isWhole, SelfTestCall const& call);

} // namespace krel5::modules::network
