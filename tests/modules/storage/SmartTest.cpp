#include <modules/ReportLog.h>

#include <storage/SmartReport.h>

#include <gtest/gtest.h>

namespace krel5::modules {
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
     {"SmartUnnamedFailedBefore", "SmartErrorLog", "SmartSelfTestLog"}},
    {"commandFailed", kHealthyAta, 4, Outcome::Pass, {"SmartCommandFailed"}},
    {"virtio", kVirtio, 1, Outcome::NotSupported, {"SmartNotSupported Reason=/dev/vda: Unable to detect"}},
    {"refused", kRefused, 2, Outcome::InsufficientPrivilege, {"SmartRefused"}},
    {"gone", kGone, 2, Outcome::NoDevice, {"SmartNotSupported"}},
    {"noSmart", R"({"smart_support":{"available":false}})", 4, Outcome::NotSupported, {"SmartNotSupported"}},
    {"switchedOff",
     R"({"smart_support":{"available":true,"enabled":false}})",
     4,
     Outcome::NotSupported,
     {"SmartNotSupported"}},
    {"silent", R"({"device":{"name":"/dev/sda"}})", 0, Outcome::NotSupported, {"SmartNotSupported"}},
    {"noText", "", 0, Outcome::NotSupported, {"SmartNotSupported"}},
    {"cutShort", R"({"smart_status":{"passed":tr)", 0, Outcome::NotSupported, {"SmartNotSupported"}},
    {"notAnObject", "[1,2,3]", 0, Outcome::NotSupported, {"SmartNotSupported"}},
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
        many += R"(,{"id":1})";
    SmartReport const report = parseSmartReport(many + "]}}");
    EXPECT_EQ(report.m_attributes.size(), 1000u);
    EXPECT_EQ(report.m_attributes[0].m_name.size(), 1000u);
}

TEST(SmartTest, ofAPathThatCouldBeAnOptionRunsNothing)
{
    ReportLog host;
    EXPECT_EQ(runSmartTest(host, "--scan"), Outcome::NotSupported);
    EXPECT_EQ(host.m_problems.size(), 1u);
}

} // namespace
} // namespace krel5::modules
