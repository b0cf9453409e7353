#include <modules/ReportLog.h>

#include <storage/SmartReport.h>

#include <gtest/gtest.h>

namespace krel5::modules::storage {
namespace {

struct Case
{
    char const* m_name;
    char const* m_json;
    int m_exitStatus;
    Outcome m_outcome;
    std::vector<std::string> m_said; ///< faults, then warnings, then problems; each begins so
};

void PrintTo(Case const& one, std::ostream* out) { *out << one.m_name; } // the test's name

constexpr char const* kHealthyAta = R"({"smart_support":{"available":true,"enabled":true},
    "smart_status":{"passed":true}, "ata_smart_attributes":{"table":[
    {"id":5,"name":"Reallocated_Sector_Ct","value":100,"worst":100,"thresh":36,"when_failed":""}]}})";
constexpr char const* kFailingAta = R"({"smart_support":{"available":true,"enabled":true},
    "smart_status":{"passed":false}, "ata_smart_attributes":{"table":[
    {"id":5,"name":"Reallocated_Sector_Ct","value":1,"worst":1,"thresh":36,"when_failed":"now"},
    {"id":190,"name":"Airflow_Temperature_Cel","value":60,"worst":40,"thresh":45,"when_failed":"past"}]}})";
constexpr char const* kHealthyNvme = R"({"smart_status":{"passed":true,"nvme":{"value":0}},
    "nvme_smart_health_information_log":{"critical_warning":0,"media_errors":0,"percentage_used":3}})";
constexpr char const* kFailingNvme = R"({"smart_status":{"passed":false},
    "nvme_smart_health_information_log":{"critical_warning":9,"media_errors":12,"percentage_used":104}})";
constexpr char const* kVirtio = R"({"smartctl":{"messages":[
    {"string":"/dev/vda: Unable to detect device type","severity":"error"}],"exit_status":1}})";
constexpr char const* kRefused = R"({"smartctl":{"messages":[
    {"string":"Smartctl open device: /dev/sda failed: Permission denied","severity":"error"}]}})";
constexpr char const* kGone = R"({"smartctl":{"messages":[
    {"string":"Smartctl open device: /dev/sdq failed: No such device","severity":"error"}]}})";

constexpr char const* kNoIdentity = R"({"smartctl":{"messages":[
    {"string":"A mandatory SMART command failed: exiting. To continue, add -T permissive","severity":"error"}]}})";
constexpr char const* kBrokenNvme = R"({"smartctl":{"messages":[
    {"string":"Read NVMe Identify Controller failed: Input/output error","severity":"error"}]}})";
// The first number of the text is the count; the six bytes may hold other things. The second 197 is not told.
constexpr char const* kCountingAta = R"json({"smart_status":{"passed":true},"ata_smart_attributes":{"table":[
    {"id":197,"name":"Current_Pending_Sector","raw":{"value":3}},
    {"id":197,"name":"Current_Pending_Sector","raw":{"value":4}},
    {"id":5,"name":"Reallocated_Sector_Ct","raw":{"value":131079,"string":"7 (2 0)"}},
    {"id":187,"name":"Reported_Uncorrect","raw":{"value":18446744073709551615,"string":"0xffffffffffff"}},
    {"id":198,"name":"Offline_Uncorrectable","raw":{"value":2,"string":"2"}},
    {"id":194,"name":"Temperature_Celsius","raw":{"value":33,"string":"33"}}]}})json";
constexpr char const* kZeroCounts = R"({"smart_status":{"passed":true},"ata_smart_attributes":{"table":[
    {"id":5,"raw":{"value":0,"string":"0"}},{"id":187,"raw":"9"},{"id":197,"raw":{"value":-1,"string":[]}},
    {"id":198,"raw":{"value":"7","string":"-7"}}]}})";
#define SELF_TESTS(entries)                                                                                  \
    R"({"smart_status":{"passed":true},"ata_smart_self_test_log":{"standard":{"table":[)" entries "]}}}"

Case const kCases[] = {
    {"healthyAta", kHealthyAta, 0, Outcome::Pass, {}},
    {"healthyNvme", kHealthyNvme, 0, Outcome::Pass, {}},
    {"failingAta",
     kFailingAta,
     8 | 16 | 32,
     Outcome::Fail,
     {"SmartFailing", "SmartAttributeFailing Id=5 Name=Reallocated_Sector_Ct Value=1 Threshold=36",
      "SmartAttributeFailedBefore Id=190 "}},
    {"failingNvme",
     kFailingNvme,
     8,
     Outcome::Fail,
     {"SmartFailing", "SmartCriticalWarning Bits=9 Meaning=spare space below threshold; read-only",
      "SmartMediaErrors Count=12", "SmartWorn PercentageUsed=104"}},
    {"failingByStatusAlone", kHealthyAta, 8, Outcome::Fail, {"SmartFailing"}},
    {"belowThresholdByStatusAlone", kHealthyAta, 16, Outcome::Fail, {"SmartFailing"}},
    {"oldTroubles",
     kHealthyAta,
     32 | 64 | 128,
     Outcome::Pass,
     {"SmartUnnamedFailedBefore", "SmartSelfTestLog", "SmartErrorLog"}},
    {"commandFailed", kHealthyAta, 4, Outcome::Pass, {"SmartCommandFailed"}},
    {"virtio", kVirtio, 1, Outcome::NotSupported, {"SmartNotSupported Reason=/dev/vda: Unable to detect"}},
    {"refused", kRefused, 2, Outcome::InsufficientPrivilege, {"SmartRefused"}},
    {"gone", kGone, 2, Outcome::NoDevice, {"SmartNotRead"}},
    {"noSmart", R"({"smart_support":{"available":false}})", 4, Outcome::NotSupported, {"SmartNotSupported"}},
    {"switchedOff",
     R"({"smart_support":{"available":true,"enabled":false}})",
     4,
     Outcome::NotSupported,
     {"SmartNotSupported"}},
    {"noSmartButFailing",
     R"({"smart_support":{"available":false},"smart_status":{"passed":false}})",
     8,
     Outcome::Fail,
     {"SmartFailing"}},
    {"noSmartButFailingWithoutStatus",
     R"({"smart_support":{"available":false},"smart_status":{"passed":false}})",
     0,
     Outcome::Fail,
     {"SmartFailing"}},
    {"switchedOffButAnAttributeFails",
     R"({"smart_support":{"available":true,"enabled":false},"ata_smart_attributes":{"table":[
        {"id":5,"when_failed":"FAILING_NOW"}]}})",
     4,
     Outcome::Fail,
     {"SmartAttributeFailing Id=5 ", "SmartCommandFailed"}},
    {"noSmartButCriticalWarning",
     R"({"smart_support":{"available":false},"nvme_smart_health_information_log":{"critical_warning":4}})",
     0,
     Outcome::Fail,
     {"SmartCriticalWarning Bits=4 "}},
    {"nothingButAFailedSelfTest",
     R"({"ata_smart_self_test_log":{"extended":{"table":[{"status":{"value":121}}]}}})",
     128,
     Outcome::Fail,
     {"SmartSelfTestFailed "}},
    {"noSmartButAFailedSelfTest",
     R"({"smart_support":{"available":false},"scsi_self_test_0":{"result":{"value":7}}})",
     0,
     Outcome::Fail,
     {"SmartSelfTestFailed "}},
    {"nothingButAPassedSelfTest", R"({"scsi_self_test_0":{"result":{"value":0}}})", 0, Outcome::Pass, {}},
    {"nothingButASelfTestWithoutAnEnd",
     R"({"scsi_self_test_0":{"result":{"value":15}}})",
     0,
     Outcome::NotSupported,
     {"SmartNotSupported"}},
    {"nothingButGrownDefects",
     R"({"scsi_grown_defect_list":2})",
     0,
     Outcome::Pass,
     {"SmartGrownDefects Count=2"}},
    {"nothingButUncorrectedErrors",
     R"({"scsi_error_counter_log":{"verify":{"total_uncorrected_errors":1}}})",
     0,
     Outcome::Pass,
     {"SmartUncorrected Count=1"}},
    {"silent", R"({"device":{"name":"/dev/sda"}})", 0, Outcome::NotSupported, {"SmartNotSupported"}},
    {"noAnswer",
     R"({"smart_support":{"available":true,"enabled":true}})",
     4,
     Outcome::CannotRun,
     {"SmartNotRead"}},
    {"noIdentity", kNoIdentity, 2, Outcome::CannotRun, {"SmartNotRead Reason=A mandatory"}},
    {"notOpenedSaysNoMore", "{}", 2, Outcome::CannotRun, {"SmartNotRead"}},
    {"inputOutputError", kBrokenNvme, 2, Outcome::CannotRun, {"SmartNotRead Reason=Read NVMe"}},
    {"counts",
     kCountingAta,
     0,
     Outcome::Pass,
     {"SmartCount Id=5 Name=Reallocated_Sector_Ct Count=7 Meaning=sectors that the drive has replaced",
      "SmartCount Id=187 Name=Reported_Uncorrect Count=281474976710655 ",
      "SmartCount Id=197 Name=Current_Pending_Sector Count=3 ",
      "SmartCount Id=198 Name=Offline_Uncorrectable Count=2 "}},
    {"zeroCountsAndOtherTypes", kZeroCounts, 0, Outcome::Pass, {}},
    {"nvmeSpareLow",
     R"({"nvme_smart_health_information_log":{"available_spare":9,"available_spare_threshold":10,
        "percentage_used":99}})",
     0,
     Outcome::Pass,
     {"SmartSpareLow Spare=9 Threshold=10"}},
    {"nvmeSpareAtThreshold",
     R"({"nvme_smart_health_information_log":{"available_spare":10,"available_spare_threshold":10}})",
     0,
     Outcome::Pass,
     {}},
    {"nvmeCountOf128Bits",
     R"({"nvme_smart_health_information_log":{"media_errors":340282366920938463463374607431768211455}})",
     0,
     Outcome::Pass,
     {"SmartMediaErrors Count=18446744073709551615"}},
    {"scsi",
     R"({"smart_status":{"passed":true},"scsi_grown_defect_list":12,"scsi_error_counter_log":{
        "read":{"total_uncorrected_errors":3},"write":{"total_uncorrected_errors":4},"verify":7}})",
     0,
     Outcome::Pass,
     {"SmartGrownDefects Count=12", "SmartUncorrected Count=7"}},
    {"newestSelfTestFailed",
     SELF_TESTS(
         R"({"type":{"string":"Short offline"},"status":{"value":25,"string":"Aborted by host","passed":false}},
        {"type":{"string":"Extended offline"},"status":{"value":121,"string":"Completed: read failure",
         "passed":false},"lifetime_hours":20512,"lba":4711},
        {"type":{"string":"Short offline"},"status":{"value":0,"string":"Completed without error"}})"),
     128,
     Outcome::Fail,
     {"SmartSelfTestFailed Type=Extended offline Status=Completed: read failure Hours=20512 Lba=4711"}},
    {"olderSelfTestFailed",
     SELF_TESTS(
         R"({"type":{"string":"Short offline"},"status":{"value":0,"string":"Completed without error"}},
        {"type":{"string":"Extended offline"},"status":{"value":121}})"),
     128,
     Outcome::Pass,
     {"SmartSelfTestLog"}},
    {"selfTestsWithoutAnEnd",
     SELF_TESTS(R"({"status":{"value":249}},{"status":7},{"status":{"value":2e9}},5)"),
     0,
     Outcome::Pass,
     {}},
    {"selfTestFailedWithoutPlace",
     SELF_TESTS(R"({"status":{"passed":false}})"),
     0,
     Outcome::Fail,
     {"SmartSelfTestFailed Type= Status= Hours=unknown Lba=unknown"}},
    {"nvmeSelfTestFailed",
     R"({"smart_status":{"passed":true},"nvme_self_test_log":{"table":[{"self_test_result":{"value":1}},
        {"self_test_code":{"string":"Extended"},"self_test_result":{"value":7,"string":"Completed: failed segments"},
         "power_on_hours":12},{"self_test_result":{"value":0}}]}})",
     0,
     Outcome::Fail,
     {"SmartSelfTestFailed Type=Extended Status=Completed: failed segments Hours=12 Lba=unknown"}},
    {"scsiNewestSelfTestFailed",
     R"({"smart_status":{"passed":true},"scsi_self_test_0":{"result":{"value":15}},
        "scsi_self_test_1":{"result":{"value":2}},"scsi_self_test_2":7,
        "scsi_self_test_10":{"result":{"value":0}},
        "scsi_self_test_3":{"code":{"string":"Background long"},"lba_first_failure":{"value":4711},
         "result":{"value":3,"string":"Unknown error"},"power_on_time":{"hours":12}}})",
     0,
     Outcome::Fail,
     {"SmartSelfTestFailed Type=Background long Status=Unknown error Hours=12 Lba=4711"}},
    {"scsiOlderSelfTestFailed",
     R"({"smart_status":{"passed":true},"scsi_self_test_2":{"result":{"value":0}},
        "scsi_self_test_10":{"result":{"value":7}}})",
     0,
     Outcome::Pass,
     {}},
    {"scsiLastOfTheSelfTests",
     R"({"smart_status":{"passed":true},"scsi_self_test_19":{"result":{"value":7},"lba_first_failure":8}})",
     0,
     Outcome::Fail,
     {"SmartSelfTestFailed Type= Status= Hours=unknown Lba=8"}},
    {"scsiSelfTestsWithoutAnEnd",
     R"({"smart_status":{"passed":true},"scsi_self_test_0":{"result":{"value":1}},
        "scsi_self_test_1":{"result":{"value":8}},"scsi_self_test_2":{"result":{"value":-1}},
        "scsi_self_test_3":{"result":{"value":"7"}},"scsi_self_test_20":{"result":{"value":7}}})",
     0,
     Outcome::Pass,
     {}},
    {"noText", "", 0, Outcome::CannotRun, {"SmartNotRead"}},
    {"cutShort", R"({"smart_status":{"passed":tr)", 0, Outcome::CannotRun, {"SmartNotRead"}},
    {"notAnObject", "[1,2,3]", 0, Outcome::CannotRun, {"SmartNotRead"}},
    {"otherTypes",
     R"({"smart_status":7,"smartctl":[],"ata_smart_attributes":{"table":{"id":1}},
        "smart_support":"yes","nvme_smart_health_information_log":[]})",
     0,
     Outcome::NotSupported,
     {"SmartNotSupported"}},
    {"otherTypesInside",
     R"({"smart_status":{"passed":true},"ata_smart_attributes":{"table":[1,null,{"id":"x",
        "name":5,"when_failed":true,"value":1e300}]}})",
     0,
     Outcome::Pass,
     {}},
};

class Smart : public testing::TestWithParam<Case>
{};

TEST_P(Smart, isJudgedByWhatTheDriveSays)
{
    ReportLog host;
    EXPECT_EQ(judgeSmart(host, parseSmartReport(GetParam().m_json), GetParam().m_exitStatus),
              GetParam().m_outcome);
    std::vector<std::string> said = host.m_faults;
    said.insert(said.end(), host.m_warnings.begin(), host.m_warnings.end());
    said.insert(said.end(), host.m_problems.begin(), host.m_problems.end());
    ASSERT_EQ(said.size(), GetParam().m_said.size()) << testing::PrintToString(said);
    for (std::size_t i = 0; i < said.size(); ++i)
        EXPECT_EQ(said[i].rfind(GetParam().m_said[i], 0), 0u) << said[i];
}
INSTANTIATE_TEST_SUITE_P(Each, Smart, testing::ValuesIn(kCases),
                         [](auto const& row) { return row.param.m_name; });

TEST(SmartParser, isBounded)
{
    std::string const deep = std::string(200000, '[') + std::string(200000, ']');
    EXPECT_FALSE(parseSmartReport(deep).m_readable);
    std::string many =
        R"({"ata_smart_attributes":{"table":[{"id":1,"name":")" + std::string(5000, 'x') + "\"}";
    for (int i = 0; i < 5000; ++i)
        many += R"(,{"id":1,"when_failed":"now"})";
    SmartReport const report = parseSmartReport(many + "]}}");
    EXPECT_EQ(report.m_attributes.size(), 1000u);
    EXPECT_EQ(report.m_attributes[0].m_name.size(), 1000u);
    ReportLog host;
    EXPECT_EQ(judgeSmart(host, report, 0), Outcome::Fail);
    EXPECT_EQ(host.m_faults.size(), 30u);
}

TEST(SmartParser, leavesNothingThatATerminalObeys)
{
    struct Row
    {
        std::string m_given, m_kept;
    };
    for (Row const& row :
         {Row{"a\\u001b[2Jb\\n", "a [2Jb "}, Row{"\x7F~", " ~"}, Row{"\xC2\x80|\xC2\x9B|\xC2\x9F", " | | "},
          Row{"\xC2\xA0\xC3\x80\xE2\x82\x80", "\xC2\xA0\xC3\x80\xE2\x82\x80"}}) {
        std::string const json = R"({"ata_smart_attributes":{"table":[{"name":")" + row.m_given + "\"}]}}";
        SmartReport const report = parseSmartReport(json);
        ASSERT_EQ(report.m_attributes.size(), 1u) << json;
        EXPECT_EQ(report.m_attributes[0].m_name, row.m_kept);
    }
}

TEST(SmartReport, saysHowOldAndHowWarmADriveIs)
{
    struct Row
    {
        char const* m_json;
        std::vector<std::string> m_notes;
    };
    std::string const healthy = "SmartHealth Passed=yes Attributes=0";
    for (Row const& row :
         {Row{R"("temperature":{"current":41},"power_on_time":{"hours":20512,"minutes":7})",
              {"SmartAge Temperature=41 Hours=20512", healthy}},
          Row{R"("temperature":{"current":-5})", {"SmartAge Temperature=-5 Hours=unknown", healthy}},
          Row{R"("temperature":{"current":70000},"power_on_time":{"hours":-1})", {healthy}},
          Row{R"("temperature":41,"power_on_time":[])", {healthy}},
          Row{R"("nvme_smart_health_information_log":{"percentage_used":3,"available_spare":100})",
              {"SmartWear PercentageUsed=3 Spare=100 Threshold=unknown", healthy}}}) {
        ReportLog host;
        std::string const text = std::string(R"({"smart_status":{"passed":true},)") + row.m_json + "}";
        EXPECT_EQ(judgeSmart(host, parseSmartReport(text), 0), Outcome::Pass);
        EXPECT_EQ(host.m_notes, row.m_notes);
    }
}

TEST(SmartRun, thatHadToBeEndedSaysNothingOfWhatTheDriveOffers)
{
    using End = ChildResult::End;
    struct Row
    {
        End m_end;
        Outcome m_outcome;
        std::string m_problem;
    };
    for (Row const& row :
         {Row{End::TimedOut, Outcome::CannotRun, "SmartNotRead Reason=smartctl did not end within 60 s, "},
          Row{End::TooMuchOutput, Outcome::CannotRun, "SmartNotRead Reason=smartctl printed too much"},
          Row{End::Signalled, Outcome::CannotRun, "SmartNotRead Reason=smartctl was ended by signal 2"},
          Row{End::NotStarted, Outcome::CannotRun,
              "SmartNotRead Reason=smartctl could not be started: No such"},
          Row{End::Stopped, Outcome::Stopped, ""}})
        for (long const left : {0, 4711}) {
            ChildResult child;
            child.m_end = row.m_end;
            child.m_status = 2;
            child.m_output = R"({"smart_status":{"passed":true}})";
            child.m_leftBehind = left;
            ReportLog host;
            EXPECT_EQ(judgeSmartRun(host, child, ChildLimits()), row.m_outcome);
            ASSERT_EQ(host.m_problems.size(), row.m_problem.empty() ? 0u : 1u);
            for (std::string const& problem : host.m_problems)
                EXPECT_EQ(problem.rfind(row.m_problem, 0), 0u) << problem;
            EXPECT_EQ(host.m_warnings, left == 0 ? std::vector<std::string>{}
                                                 : std::vector<std::string>{"SmartProgramLeft Process=4711"});
        }
}

TEST(SmartTest, ofAPathThatCouldBeAnOptionRunsNothing)
{
    ReportLog host;
    EXPECT_EQ(runSmartTest(host, "--scan"), Outcome::NotSupported);
    EXPECT_EQ(host.m_problems.size(), 1u);
}

TEST(SmartTest, withoutItsProgramIsNotSupported)
{
    ReportLog host;
    EXPECT_EQ(runSmartTest(host, "/dev/sda", ""), Outcome::NotSupported);
    ASSERT_EQ(host.m_problems.size(), 1u);
    EXPECT_EQ(host.m_problems[0], "SmartNotRead Reason=smartctl is not installed");
}

} // namespace
} // namespace krel5::modules::storage
