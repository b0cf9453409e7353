// krel5-engine watch with real modules: what is told of them, well and ill, and how it ends.
#include <endtoend/ModuleFolder.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <sstream>
#include <sys/resource.h>

namespace {

using nlohmann::json;
using test::holds;
using test::Outcome;

struct Watch : test::ModuleFolder
{
    Watch() : ModuleFolder(GAUGES_MODULE, "gauges") {}

    std::string moduleCalled(std::string const& name)
    {
        std::filesystem::create_directories(m_folder.path(name));
        std::string const path = m_folder.path(name + "/" + name);
        if (!std::filesystem::exists(path))
            std::filesystem::copy_file(GAUGES_MODULE, path);
        return path;
    }
    /// Watches these modules and no others.
    Outcome watch(std::vector<std::string> const& names, std::vector<std::string> words,
                  std::string const& stopWhen = "", int signal = SIGINT)
    {
        test::Start start;
        start.name = "krel5-engine";
        start.arguments = {"watch", "--only-modules"};
        for (std::string const& name : names)
            start.arguments.insert(start.arguments.end(), {"--modules", moduleCalled(name)});
        start.arguments.insert(start.arguments.end(), words.begin(), words.end());
        start.folder = m_folder.path();
        start.stopWhen = stopWhen;
        start.stops = stopWhen.empty() ? 0 : 1;
        start.stopSignal = signal;
        auto const began = std::chrono::steady_clock::now();
        Outcome outcome = test::run(ENGINE, start);
        m_seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
        return outcome;
    }
    static std::vector<json> linesOf(std::string const& out)
    {
        std::vector<json> lines;
        std::istringstream stream(out);
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(json::parse(line, nullptr, false));
            EXPECT_FALSE(lines.back().is_discarded()) << line;
        }
        return lines;
    }
    static std::size_t count(std::vector<json> const& lines, std::string const& event,
                             std::string const& module)
    {
        return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](json const& one) {
            return one["event"] == event && (module.empty() || one.value("module", "") == module);
        }));
    }
    static json first(std::vector<json> const& lines, std::string const& event,
                      std::string const& module = "")
    {
        for (json const& one : lines)
            if (one["event"] == event && (module.empty() || one.value("module", "") == module))
                return one;
        ADD_FAILURE() << "no event " << event;
        return json::object();
    }

    double m_seconds = 0; // of the last one
};

TEST_F(Watch, TellsReadingsInBaseUnitsUntilItIsStopped)
{
    for (int const signal : {SIGINT, SIGTERM}) {
        Outcome const outcome = watch({"steady"}, {"--json", "--interval", "0.2"}, "\"number\":3.0", signal);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        auto const lines = linesOf(outcome.out);
        ASSERT_GT(lines.size(), 4u);
        EXPECT_EQ(lines.front()["event"], "begin");
        EXPECT_EQ(lines.front()["format"], "krel5-engine-watch");
        EXPECT_EQ(lines.back()["event"], "end");
        EXPECT_EQ(lines.back()["exitStatus"], 0);
        json const reading = first(lines, "readings");
        EXPECT_EQ(reading["device"]["name"], "Gauge 1");
        EXPECT_EQ(reading["device"]["place"], "/dev/gauge1");
        json const& values = reading["readings"];
        ASSERT_EQ(values.size(), 4u);
        EXPECT_EQ(values[0]["number"], 41);
        EXPECT_EQ(values[0]["unit"], "celsius");
        EXPECT_EQ(values[1]["counter"], true);
        EXPECT_EQ(values[2]["number"], 0.125);
        EXPECT_EQ(values[2]["unit"], "ratio");
        EXPECT_EQ(values[3]["text"], "fine");
        EXPECT_FALSE(values[3].contains("number"));
    }
}

// In the words of docs/watch.schema.json; texts of devices are data.
TEST_F(Watch, TellsItAsAnotherProgramReadsIt)
{
    Outcome const outcome =
        watch({"nasty", "comes", "alarms", "crashes"}, {"--json", "--interval", "0.1", "--for", "1"});
    m_folder.write("lines.jsonl", outcome.out);
    EXPECT_TRUE(holds(outcome.out, R"("name":"Gauge \"1\" \u001b[2J\\\n{x}")"));
    int const status =
        std::system(("python3 " CHECK_LINES " " + m_folder.path("lines.jsonl") + " >&2").c_str());
    if (WEXITSTATUS(status) == 77)
        GTEST_SKIP() << "python3-jsonschema is not installed";
    EXPECT_EQ(status, 0);
    Outcome const plain = watch({"nasty"}, {"--interval", "0.1", "--for", "1"});
    EXPECT_TRUE(holds(plain.out, R"(State: a"b\c\x0a\x1b[31mred)")) << "a terminal is not steered by it";
}

TEST_F(Watch, GoesOnWhenAModuleEndsAndSaysSo)
{
    Outcome const outcome =
        watch({"steady", "crashes", "leaves", "empty"}, {"--json", "--interval", "0.1", "--for", "2"});
    EXPECT_EQ(outcome.status, 28) << outcome.err;
    auto const lines = linesOf(outcome.out);
    EXPECT_TRUE(holds(first(lines, "moduleFailed", "crashes").value("text", ""), "SIGSEGV"));
    EXPECT_TRUE(holds(first(lines, "moduleFailed", "leaves").value("text", ""), "status 0"));
    EXPECT_TRUE(holds(first(lines, "moduleEnded", "empty").value("text", ""), "nothing to watch"));
    EXPECT_GT(count(lines, "readings", "steady"), count(lines, "readings", "crashes") + 10);
    EXPECT_EQ(count(lines, "moduleEnded", "steady"), 1u);
    EXPECT_TRUE(holds(outcome.err, "crashes: "));
}

TEST_F(Watch, FollowsWhatComesAndGoes)
{
    Outcome const outcome = watch({"comes"}, {"--json", "--interval", "0.1", "--for", "2"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    auto const lines = linesOf(outcome.out);
    EXPECT_EQ(first(lines, "deviceAdded")["device"]["name"], "Gauge 7");
    EXPECT_EQ(first(lines, "deviceRemoved")["device"]["name"], "Gauge 2");
    EXPECT_EQ(first(lines, "propertyAdded")["readings"][0]["text"], "new");
    EXPECT_EQ(first(lines, "propertyRemoved")["text"], "State");
    json const alert = first(lines, "alertRaised")["alert"];
    EXPECT_EQ(alert["title"], "Gauge 1 is hot");
    EXPECT_EQ(alert["message"], "It is 90 degrees");
    EXPECT_EQ(alert["tips"][0], "Is there a fan?");
    EXPECT_EQ(alert["deviceName"], "Gauge 1");
    EXPECT_EQ(first(lines, "alertCleared")["alert"]["guid"], alert["guid"]);
    auto const isNew = [](json const& one) {
        return one["event"] == "readings" && one["device"]["name"] == "Gauge 7";
    };
    auto const often = std::count_if(lines.begin(), lines.end(), isNew);
    EXPECT_GT(often, 3) << "the interval holds for what comes later, too";
}

TEST_F(Watch, EndsWithWhatStandsAtTheEnd)
{
    EXPECT_EQ(watch({"warns"}, {"--interval", "0.1", "--for", "1"}).status, 51);
    Outcome const alarm = watch({"alarms"}, {"--json", "--interval", "0.1", "--for", "1"});
    EXPECT_EQ(alarm.status, 23) << alarm.err;
    EXPECT_EQ(linesOf(alarm.out).back()["standingAlerts"], 2);
}

// Stopped when it hangs: after a time it might, on a busy machine, not have come so far, and end well.
TEST_F(Watch, EndsInTimeWhateverAModuleDoes)
{
    Outcome const outcome = watch({"hangs", "mute"}, {"--json", "--interval", "0.1"}, "alertRaised");
    EXPECT_EQ(outcome.status, 28) << outcome.err;
    EXPECT_LT(m_seconds, 20) << "a stop, then SIGTERM, then SIGKILL";
    auto const lines = linesOf(outcome.out);
    EXPECT_TRUE(holds(first(lines, "moduleFailed", "hangs").value("text", ""), "SIG"));
    // Where the machine is slow, the stop comes before it has come so far.
    EXPECT_EQ(count(lines, "moduleFailed", "mute") + count(lines, "moduleEnded", "mute"), 1u);
}

// Whoever reads does not, and the module says more than anybody could.
TEST_F(Watch, EndsInTimeWhateverIsSaid)
{
    Outcome const outcome = watch({"floods", "crowd"}, {"--json", "--interval", "0.1", "--for", "3"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_LT(m_seconds, 15);
    auto const lines = linesOf(outcome.out);
    EXPECT_GT(count(lines, "deviceRemoved", "floods"), 1000u);
    EXPECT_GT(count(lines, "readings", "crowd"), 500u);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they keep what was freed
    rusage use{};
    ::getrusage(RUSAGE_CHILDREN, &use); // the largest of all so far
    EXPECT_LT(use.ru_maxrss, 400 * 1024);
#endif
}

TEST_F(Watch, AnswersOverHttpOnThisMachineOnly)
{
    Outcome const outcome = watch({"warns"}, {"--interval", "0.1", "--for", "1", "--prometheus", "0"});
    EXPECT_EQ(outcome.status, 51);
    EXPECT_TRUE(holds(outcome.err, "krel5-engine: http://127.0.0.1:"));
    EXPECT_FALSE(test::has(outcome.out, "Temperature")) << "an endpoint has the readings";
    EXPECT_TRUE(holds(outcome.out, "ALERT: Gauge 1 is hot"));
    Outcome const open = watch({"steady"}, {"--prometheus", "0.0.0.0:0", "--for", "1"});
    EXPECT_EQ(open.status, 22);
    EXPECT_TRUE(holds(open.err, "other machines reach 0.0.0.0:0"));
    EXPECT_EQ(watch({"steady"}, {"--prometheus", "0.0.0.0:0", "--from-afar", "--for", "1"}).status, 0);
    EXPECT_EQ(watch({"steady"}, {"--prometheus", "localhost:1"}).status, 22);
}

TEST_F(Watch, FitsATerminalThatBecomesSmaller)
{
    std::string const words = " " ENGINE " " + moduleCalled("nasty") + " " + moduleCalled("steady");
    EXPECT_EQ(std::system(("python3 " CHECK_TABLE + words + " >&2").c_str()), 0);
}

TEST_F(Watch, RefusesWhatItDoesNotUnderstand)
{
    EXPECT_EQ(watch({"steady"}, {"nobody"}).status, 22);
    EXPECT_TRUE(holds(watch({"steady"}, {"--interval", "0"}).err, "--interval: 0 is not between"));
    EXPECT_EQ(watch({"steady"}, {"--interval", "soon"}).status, 22);
    EXPECT_EQ(watch({}, {}).status, 22);
    Outcome const one = watch({"steady"}, {"--device", "Gauge 2", "--interval", "0.1", "--for", "1"});
    EXPECT_EQ(one.status, 0) << one.err;
    EXPECT_TRUE(holds(one.out, "Gauge 2 (/dev/gauge2): Temperature: 4"));
    EXPECT_FALSE(test::has(one.out, "Gauge 1"));
}

} // namespace
