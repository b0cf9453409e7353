#include <common/smart/SelfTestLog.h>

#include <algorithm>

namespace krel5::modules {
namespace {

using Field = SmartJson::Field;
using Kind = SelfTest::Kind;

constexpr std::uint64_t kByte = 0xFF;

bool contains(std::string const& text, char const* piece) { return text.find(piece) != std::string::npos; }

/// By number, as the standards have it (ATA adds 128 for captive ones, SCSI 4 for those in the foreground);
/// by the words of smartctl where no number is given.
Kind kindOf(std::optional<std::uint64_t> number, std::string const& words)
{
    if (number)
        switch (*number) {
        case 1:
        case 5:
        case 129:
            return Kind::Short;
        case 2:
        case 6:
        case 130:
            return Kind::Extended;
        default:
            return Kind::Other;
        }
    if (contains(words, "xtended") || contains(words, "long"))
        return Kind::Extended;
    return contains(words, "hort") ? Kind::Short : Kind::Other;
}

/// ATA: the upper half of the status byte is 0 for passed, 3 to 8 for failed; 1, 2 and 15 are no end.
std::optional<bool> ataPassed(Field const& status)
{
    auto const value = status["value"].count(kByte);
    if (!value)
        return status["passed"].truth();
    std::uint64_t const result = *value >> 4;
    bool const ended = result == 0 || (result >= 3 && result <= 8);
    return ended ? std::optional(result == 0) : std::nullopt;
}

/// What every bus has a field for, under names of its own.
SelfTest selfTest(Field const& type, Field const& status, Field const& hours, Field const& lba)
{
    SelfTest test;
    test.m_type = type["string"].text();
    test.m_kind = kindOf(type["value"].count(kByte), test.m_type);
    test.m_status = status["string"].text();
    test.m_hours = hours.count();
    test.m_lba = lba.count();
    return test;
}

SelfTest ataSelfTest(Field const& entry)
{
    Field const status = entry["status"];
    SelfTest test = selfTest(entry["type"], status, entry["lifetime_hours"], entry["lba"]);
    test.m_passed = ataPassed(status);
    if (!test.m_passed && !status["value"].isThere())
        status.doubt();
    return test;
}

/// A result code of SCSI or NVMe, which has to be there.
std::optional<bool> passed(Field const& result, std::uint64_t firstFailure, std::uint64_t lastFailure)
{
    constexpr std::uint64_t kMostCode = 15;
    auto const value = result["value"].count(kMostCode);
    if (!value)
        result.doubt();
    if (value == std::uint64_t(0))
        return true;
    return value && *value >= firstFailure && *value <= lastFailure ? std::optional(false) : std::nullopt;
}

/// NVMe: 0 for passed, 5 to 7 for failed; the others were aborted.
SelfTest nvmeSelfTest(Field const& entry)
{
    Field const result = entry["self_test_result"];
    SelfTest test = selfTest(entry["self_test_code"], result, entry["power_on_hours"], entry["lba"]);
    test.m_passed = passed(result, 5, 7);
    return test;
}

/// SCSI: 0 for passed, 3 to 7 for failed; 1 and 2 were aborted, 15 is still running.
SelfTest scsiSelfTest(Field const& entry)
{
    Field const result = entry["result"], lba = entry["lba_first_failure"];
    SelfTest test =
        selfTest(entry["code"], result, entry["power_on_time"]["hours"], lba.isObject() ? lba["value"] : lba);
    test.m_passed = passed(result, 3, 7);
    return test;
}

/// ATA counts in tenths what is left, NVMe in percent what is done, SCSI only says so.
void readRunning(Field const& document, SmartReport& report)
{
    constexpr std::uint64_t kRuns = 15, kTenth = 10, kWhole = 100, kNibble = 15;
    Field const ata = document["ata_smart_data"]["self_test"];
    if (auto const value = ata["status"]["value"].count(kByte); value && *value >> 4 == kRuns) {
        report.m_selfTestRuns = true;
        report.m_selfTestPercent = kWhole - std::min(kTenth * (*value & kNibble), kWhole);
    }
    report.m_shortMinutes = ata["polling_minutes"]["short"].count();
    report.m_extendedMinutes = ata["polling_minutes"]["extended"].count();

    Field const nvme = document["nvme_self_test_log"];
    if (auto const operation = nvme["current_self_test_operation"]["value"].count(kNibble);
        operation.value_or(0) > 0) {
        report.m_selfTestRuns = true;
        report.m_selfTestPercent = nvme["current_self_test_completion_percent"].count(kWhole);
    }
    report.m_selfTestRuns |= document["scsi_self_test_0"]["result"]["value"].count(kNibble) == kRuns;
    if (auto const seconds = document["scsi_extended_self_test_seconds"].count())
        report.m_extendedMinutes = *seconds / 60 + 1;
}

} // namespace

void readSelfTests(Field const& document, SmartReport& report)
{
    auto const into = [&report](SelfTest (*read)(Field const&)) {
        return [&report, read](Field const& entry) { report.m_selfTests.push_back(read(entry)); };
    };
    constexpr std::size_t kMostStandard = 21, kMostExtended = 19 * 65535, kMostNvme = 20, kMostScsi = 20;
    Field const ata = document["ata_smart_self_test_log"];
    ata["standard"]["table"].each(kMostStandard, into(ataSelfTest));
    if (report.m_selfTests.empty()) // the same tests in another form
        ata["extended"]["table"].each(kMostExtended, into(ataSelfTest));
    report.m_selfTestsAreAta = ata.isThere();
    document["nvme_self_test_log"]["table"].each(kMostNvme, into(nvmeSelfTest));
    for (std::size_t i = 0; i < kMostScsi; ++i) // the first is the newest
        if (Field const entry = document[("scsi_self_test_" + std::to_string(i)).c_str()]; entry.isThere())
            report.m_selfTests.push_back(scsiSelfTest(entry));

    readRunning(document, report);
    Field const status = document["ata_smart_data"]["self_test"]["status"];
    if (!status.isThere())
        return;
    report.m_latestSelfTest.emplace();
    report.m_latestSelfTest->m_status = status["string"].text();
    report.m_latestSelfTest->m_passed = ataPassed(status);
}

SelfTest const* standingFailure(std::vector<SelfTest> const& newestFirst, bool onlyExtended)
{
    bool shortPassed = false;
    for (SelfTest const& test : newestFirst) {
        if (test.m_passed == true && test.m_kind == Kind::Extended)
            return nullptr;
        shortPassed = shortPassed || (test.m_passed == true && test.m_kind == Kind::Short && !onlyExtended);
        if (test.m_passed == false && !(shortPassed && test.m_kind == Kind::Short))
            return &test;
    }
    return nullptr;
}

} // namespace krel5::modules
