#pragma once
// The self-tests that a drive remembers, in the forms of ATA, NVMe and SCSI.
//
//     SmartReport report;
//     readSelfTests(json.top(), report);
//
// Thread rule: plain functions on values.

#include <common/smart/SmartJson.h>
#include <common/smart/SmartReport.h>

namespace krel5::modules {

/// Fills m_selfTests, m_selfTestsAreAta, m_latestSelfTest, and what is said of the one that runs.
void readSelfTests(SmartJson::Field const& document, SmartReport& report);

/// The newest failed self-test that no later one outdates; null when there is none. An extended one that
/// passed outdates all before it, since it has read the whole surface. A short one that passed outdates short
/// ones, unless `onlyExtended`; all others prove nothing of what failed.
SelfTest const* standingFailure(std::vector<SelfTest> const& newestFirst, bool onlyExtended);

} // namespace krel5::modules
