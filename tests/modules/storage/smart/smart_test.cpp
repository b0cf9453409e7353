#include <modules/ReportLog.h>

#include <storage/smart/SmartTest.h>

#include <gtest/gtest.h>

namespace krel5::modules::storage {
namespace {

TEST(SmartParser, isBoundedAndSaysWhatItCutsOff)
{
    std::string const deep = std::string(200000, '[') + std::string(200000, ']');
    EXPECT_FALSE(parseSmartReport(deep).m_readable);
    std::string many =
        R"({"smart_status":{"passed":true},"ata_smart_attributes":{"table":[{"id":1,"name":")" +
        std::string(999, 'x') + "\xC3\xA4\"}";
    for (int i = 0; i < 1000; ++i)
        many += R"(,{"id":1})";
    SmartReport const sound = parseSmartReport(many + "]}}");
    EXPECT_EQ(sound.m_attributes.at(0).m_name, std::string(999, 'x') + "...") << "no half a character";
    std::string const whole(1000, 'x');
    EXPECT_EQ(parseSmartReport(R"({"ata_smart_attributes":{"table":[{"name":")" + whole + R"("}]}})")
                  .m_attributes.at(0)
                  .m_name,
              whole);
    ReportLog host;
    EXPECT_EQ(judgeSmart(host, sound, 0), Outcome::CannotRun);
    EXPECT_EQ(host.m_problems,
              std::vector<std::string>{"SmartNotRead Reason=ata_smart_attributes.table in the report of "
                                       "smartctl has more entries than there can be"});

    std::string const failing = R"(,{"id":5,"when_failed":"now","flags":{"prefailure":true}})";
    ReportLog last;
    EXPECT_EQ(judgeSmart(last, parseSmartReport(many + failing + "]}}"), 0), Outcome::Fail);
    EXPECT_EQ(last.m_faults.size(), 1u);
    EXPECT_EQ(last.m_warnings.size(), 1u) << "that there was too much";
    for (int i = 0; i < 1000; ++i)
        many += failing;
    ReportLog flood;
    EXPECT_EQ(judgeSmart(flood, parseSmartReport(many + "]}}"), 0), Outcome::Fail);
    EXPECT_EQ(flood.m_faults.size(), 30u);

    std::string past = R"({"smart_status":{"passed":true},"ata_smart_attributes":{"table":[{"id":9})";
    for (int i = 1; i < 30; ++i)
        past += R"(,{"id":9,"when_failed":"past"})";
    EXPECT_TRUE(parseSmartReport(past + "]}}").m_doubts.empty()) << "as many as there can be";
    past += past.substr(past.find(",{\"id\":9"));
    ReportLog first;
    EXPECT_EQ(judgeSmart(first, parseSmartReport(past + failing + "]}}"), 0), Outcome::Fail);
    EXPECT_EQ(first.m_faults.size(), 1u) << "faults come before the rest";
}

TEST(SmartParser, doubtsWhatIsThereTwiceAtAnyDepth)
{
    using Doubts = std::vector<Doubt>;
    EXPECT_EQ(parseSmartReport(R"({"a":{"x":1,"y":[{"x":2},{"x":3}]},"x":4})").m_doubts, Doubts{});
    EXPECT_EQ(parseSmartReport(R"({"a":[{"x":{},"y":1,"x":[]}]})").m_doubts,
              (Doubts{{Doubt::Kind::Twice, "x"}}));
    std::string many = "{";
    for (char name = 'a'; name <= 'z'; ++name)
        many += std::string("\"") + name + "\":0,\"" + name + "\":0,";
    Doubts const told = parseSmartReport(many + R"("":0})").m_doubts;
    ASSERT_EQ(told.size(), 11u);
    EXPECT_EQ(told[9], (Doubt{Doubt::Kind::Twice, "j"}));
    EXPECT_EQ(told[10], (Doubt{Doubt::Kind::Others, ""})) << "that there are more is said";
    std::string const ten = many.substr(0, many.find("\"k\""));
    EXPECT_EQ(parseSmartReport(ten + R"("":0})").m_doubts.size(), 10u);
    ReportLog log;
    EXPECT_EQ(judgeSmart(log, parseSmartReport(many + R"("":0})"), 0), Outcome::CannotRun);
    ASSERT_EQ(log.m_problems.size(), 1u);
    EXPECT_NE(log.m_problems[0].find("j is there twice in the report of smartctl; and others"),
              std::string::npos)
        << log.m_problems[0];
}

TEST(SmartParser, keepsTwentyMessages)
{
    std::string text = R"({"smartctl":{"messages":[{"string":"0","severity":"warning"})";
    for (int i = 1; i < 30; ++i)
        text += R"(,{"string":")" + std::to_string(i) + R"(","severity":"error"})";
    SmartReport const report = parseSmartReport(text + "]}}");
    ASSERT_EQ(report.m_errors.size(), 20u);
    EXPECT_EQ(report.m_errors.front(), "1");
    EXPECT_EQ(report.m_doubts, (std::vector<Doubt>{{Doubt::Kind::TooMany, "smartctl.messages"}}));
}

TEST(SmartParser, knowsTheKindOfASelfTestByItsNumberElseByItsName)
{
    using Kind = SelfTest::Kind;
    struct Row
    {
        char const* m_type;
        Kind m_kind;
    };
    for (Row const& row :
         {Row{R"("value":1)", Kind::Short}, Row{R"("value":130)", Kind::Extended},
          Row{R"("value":3)", Kind::Other}, Row{R"("value":3,"string":"Short offline")", Kind::Other},
          Row{R"("string":"Short offline")", Kind::Short}, Row{R"("string":"Background short")", Kind::Short},
          Row{R"("string":"Extended offline")", Kind::Extended},
          Row{R"("string":"Background long")", Kind::Extended},
          Row{R"("string":"Conveyance offline")", Kind::Other}}) {
        SmartReport const report =
            parseSmartReport(R"({"ata_smart_self_test_log":{"standard":{"table":[{"type":{)" +
                             std::string(row.m_type) + R"(},"status":{"value":0}}]}}})");
        ASSERT_EQ(report.m_selfTests.size(), 1u) << row.m_type;
        EXPECT_EQ(report.m_selfTests[0].m_kind, row.m_kind) << row.m_type;
    }
}

TEST(SmartParser, readsNothingOfATextThatAZeroByteCuts)
{
    std::string const passed = R"({"smart_status":{"passed":true}})";
    EXPECT_TRUE(parseSmartReport(passed).m_readable);
    EXPECT_FALSE(parseSmartReport(passed + '\0' + passed).m_readable);
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
          Row{R"("temperature":{"current":250})", {healthy}},
          Row{R"("temperature":{"current":249})", {"SmartAge Temperature=249 Hours=unknown", healthy}},
          Row{R"("temperature":{"current":-99})", {"SmartAge Temperature=-99 Hours=unknown", healthy}},
          Row{R"("temperature":{"current":-100})", {healthy}},
          Row{R"("nvme_smart_health_information_log":{"critical_warning":0,"percentage_used":3,
              "available_spare":100})",
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

TEST(SmartTest, runsItsProgramWithASafeTypeOnly)
{
    ReportLog host; // echo prints no JSON
    SmartOptions options;
    for (auto const& [type, outcome] :
         {std::pair{"areca,1/2", Outcome::CannotRun}, std::pair{"usbjmicron,p,x,1", Outcome::CannotRun},
          std::pair{"jmb39x-q,1+sat", Outcome::CannotRun}, std::pair{"sat;id", Outcome::BadParameters},
          std::pair{"s\xC3\xA4t", Outcome::BadParameters}, std::pair{"sat\n", Outcome::BadParameters}}) {
        options.m_deviceType = type;
        EXPECT_EQ(runSmartTest(host, "/dev/sda", options, "/bin/echo"), outcome) << type;
    }
    options.m_deviceType = std::string(100, '1');
    EXPECT_EQ(runSmartTest(host, "/dev/sda", options, "/bin/echo"), Outcome::CannotRun);
    options.m_deviceType = std::string(101, '1');
    EXPECT_EQ(runSmartTest(host, "/dev/sda", options, "/bin/echo"), Outcome::BadParameters);
}

TEST(SmartTest, withoutItsProgramIsNotSupported)
{
    ReportLog host;
    EXPECT_EQ(runSmartTest(host, "/dev/sda", {}, ""), Outcome::NotSupported);
    ASSERT_EQ(host.m_problems.size(), 1u);
    EXPECT_EQ(host.m_problems[0], "SmartNotRead Reason=smartctl is not installed");
}

} // namespace
} // namespace krel5::modules::storage
