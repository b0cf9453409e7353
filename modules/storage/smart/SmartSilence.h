#pragma once
// What is said when a report holds nothing to judge.
//
//     if (auto const outcome = judgeSilence(host, evidence, options))
//         return *outcome;
//
// Thread rule: plain functions on values.

#include <common/TestHost.h>
#include <common/smart/SmartEvidence.h>

namespace krel5::modules::storage {

/// Says why the report tells nothing about the drive's health, and how the test ends; nothing when it does
/// tell, or when what it tells is in doubt. Bad news counts whatever else the report says, also that there is
/// no SMART or that it is switched off. Problems: "SmartNotSupported", "SmartNotRead", "SmartRefused"
/// (Reason), "SmartBadDeviceType" (Type, Reason).
std::optional<Outcome> judgeSilence(TestHost& host, SmartEvidence const& evidence,
                                    SmartOptions const& options);

/// The texts in one line.
std::string joined(std::vector<std::string> const& texts);

} // namespace krel5::modules::storage
