// What a drive counts while it is tested: which rise is told, which fails the test, and which says nothing.
#include <modules/ReportLog.h>

#include <storage/smart/DriveCounts.h>

#include <gtest/gtest.h>

namespace krel5::modules::storage {
namespace {

std::string nvme(int media, int entries)
{
    return R"({"nvme_smart_health_information_log":{"critical_warning":0,"media_errors":)" +
           std::to_string(media) + R"(,"num_err_log_entries":)" + std::to_string(entries) + "}}";
}
std::string ata(int id, char const* name, int count)
{
    return R"({"ata_smart_attributes":{"table":[{"id":)" + std::to_string(id) + R"(,"name":")" + name +
           R"(","raw":{"value":)" + std::to_string(count) + R"(,"string":")" + std::to_string(count) +
           R"("}}]}})";
}

struct Tested
{
    Outcome outcome;
    std::string faults, warnings;
    int asked = 0;
};

Tested run(std::string const& before, std::string const& after, Outcome test = Outcome::Pass)
{
    ReportLog host;
    Tested run{};
    auto const reports = [&](auto const&) -> std::optional<SmartReport> {
        SmartReport report = parseSmartReport(++run.asked == 1 ? before : after);
        return report.m_readable ? std::optional(std::move(report)) : std::nullopt;
    };
    run.outcome = besideDriveCounts(host, reports, [test] { return test; });
    for (std::string const& one : host.m_faults)
        run.faults += one + ";";
    for (std::string const& one : host.m_warnings)
        run.warnings += one + ";";
    return run;
}

TEST(DriveCounts, thatRiseAreTold)
{
    Tested const lost = run(nvme(3, 5), nvme(5, 6));
    EXPECT_EQ(Outcome::Fail, lost.outcome);
    EXPECT_EQ("SmartLostMore What=media errors Count=2;", lost.faults);
    EXPECT_EQ("SmartCountRose What=entries of its error log Count=1;", lost.warnings);

    Tested const waiting = run(ata(197, "Current_Pending_Sector", 0), ata(197, "Current_Pending_Sector", 8));
    EXPECT_EQ(Outcome::Pass, waiting.outcome);
    EXPECT_EQ("SmartCountRose What=Current_Pending_Sector (197) Count=8;", waiting.warnings);

    Tested const grown = run(R"({"scsi_grown_defect_list":1})", R"({"scsi_grown_defect_list":2})");
    EXPECT_EQ("SmartCountRose What=replaced sectors Count=1;", grown.warnings);
}

TEST(DriveCounts, thatDoNotRiseSayNothing)
{
    struct
    {
        std::string before, after;
        Outcome test;
        int asked;
    } const rows[] = {
        {nvme(3, 5), nvme(3, 5), Outcome::Pass, 2},
        {nvme(3, 5), nvme(0, 0), Outcome::Pass, 2},
        {ata(9, "Power_On_Hours", 1), ata(9, "Power_On_Hours", 2), Outcome::Pass, 2},
        {nvme(3, 5), "", Outcome::Pass, 2},
        {"", nvme(3, 5), Outcome::Pass, 1},
        {nvme(3, 5), nvme(9, 9), Outcome::Stopped, 1},
        {ata(5, "Reallocated_Sector_Ct", 1), nvme(3, 5), Outcome::Fail, 2},
    };
    for (auto const& row : rows) {
        Tested const one = run(row.before, row.after, row.test);
        EXPECT_EQ(row.test, one.outcome) << row.before << row.after;
        EXPECT_EQ("", one.faults + one.warnings) << row.before << row.after;
        EXPECT_EQ(row.asked, one.asked) << row.before << row.after;
    }
}

} // namespace
} // namespace krel5::modules::storage
