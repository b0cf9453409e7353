// Every report of smart_reports.txt, judged.

#include <modules/ReportLog.h>

#include <storage/smart/SmartTest.h>

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>

namespace krel5::modules::storage {
namespace {

struct SmartCase
{
    std::string m_name;
    int m_exitStatus = -1;
    std::string m_verdict; ///< such as "FAIL 23"
    SmartOptions m_options;
    std::vector<std::string> m_says;
    std::string m_json;
};

void PrintTo(SmartCase const& one, std::ostream* out) { *out << one.m_name; } // the test's name

void set(SmartOptions& options, std::string const& setting)
{
    std::string const name = setting.substr(0, setting.find('=')), value = setting.substr(name.size() + 1);
    if (name == "DeviceType")
        options.m_deviceType = value;
    else if (name == "MaxPendingSectors")
        options.m_mostPending = std::stoull(value);
    else
        throw std::runtime_error("no parameter: " + name);
}

void take(std::string const& line, SmartCase& one)
{
    std::string const word = line.substr(0, line.find(' ')), rest = line.substr(word.size() + 1);
    if (word == "exit")
        one.m_exitStatus = std::stoi(rest);
    else if (word == "verdict")
        one.m_verdict = rest;
    else if (word == "set")
        set(one.m_options, rest);
    else if (word == "says")
        one.m_says.push_back(rest);
    else if (word != "shows") // what the module prints is for smart_module.sh
        throw std::runtime_error(one.m_name + ": " + line);
}

std::vector<SmartCase> cases()
{
    std::vector<SmartCase> cases;
    std::ifstream in(SMART_REPORTS);
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("=== ", 0) == 0)
            cases.emplace_back().m_name = line.substr(4);
        else if (!line.empty() && (line.front() == '{' || line.front() == ' '))
            cases.back().m_json += line + "\n";
        else if (!line.empty() && line.front() != '#')
            take(line, cases.back());
    }
    return cases;
}

std::string verdictOf(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Pass:
        return "PASS 0";
    case Outcome::Fail:
        return "FAIL 23";
    case Outcome::Stopped:
        return "USER ABORTED 24";
    case Outcome::BadParameters:
        return "BAD PARAMS 29";
    case Outcome::InsufficientPrivilege:
        return "INSUFFICIENT PRIVILEGE 26";
    case Outcome::CannotRun:
        return "CANNOT RUN 28";
    case Outcome::NotSupported:
        return "NOT SUPPORTED 27";
    case Outcome::NoDevice:
        return "NO DEVICE 31";
    case Outcome::NotApplicable:
    case Outcome::NoMedia:
        break;
    }
    return "another";
}

class SmartReports : public testing::TestWithParam<SmartCase>
{};

TEST_P(SmartReports, AreJudgedByWhatTheDriveSays)
{
    SmartCase const& given = GetParam();
    ReportLog host;
    // A type of forbidden characters is refused before there is a report.
    bool const runs = given.m_options.m_deviceType.find(' ') == std::string::npos;
    Outcome const outcome =
        runs ? judgeSmart(host, parseSmartReport(given.m_json), given.m_exitStatus, given.m_options)
             : runSmartTest(host, "/dev/sda", given.m_options, "/bin/false");
    EXPECT_EQ(verdictOf(outcome), given.m_verdict);
    std::vector<std::string> said = host.m_faults;
    said.insert(said.end(), host.m_warnings.begin(), host.m_warnings.end());
    said.insert(said.end(), host.m_problems.begin(), host.m_problems.end());
    ASSERT_EQ(said.size(), given.m_says.size()) << testing::PrintToString(said);
    for (std::size_t i = 0; i < said.size(); ++i)
        EXPECT_EQ(said[i].rfind(given.m_says[i], 0), 0u) << said[i];
}
INSTANTIATE_TEST_SUITE_P(Each, SmartReports, testing::ValuesIn(cases()),
                         [](auto const& row) { return row.param.m_name; });

} // namespace
} // namespace krel5::modules::storage
