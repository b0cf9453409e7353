// Modules that are watched in this process: what an endpoint says of them, and modules that fall silent.
#include <engine/runner/Runner.h>
#include <engine/watch/MetricsText.h>
#include <engine/watch/WatchKeeper.h>
#include <engine/watch/WatchSet.h>
#include <engine/watch/WatchTable.h>
#include <engine/web/linux/MetricsServer.h>

#include <foundation/TemporaryFolder.h>
#include <ipc/RandomMessage.h>

#include <zel/foundation/Exception.h>
#include <zel/ipc/Message.h>
#include <zel/model/wire/Serializable.h>

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <random>
#include <unistd.h>

using namespace engine;

namespace {

using Kind = WatchNews::Kind;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

class WatchSetTest : public testing::Test, protected WatchObserver
{
protected:
    void SetUp() override
    {
        if (::geteuid() != 0)
            GTEST_SKIP() << "modules need root";
        m_options.logFolder = m_folder.path();
    }
    ModuleToWatch module(std::string const& name)
    {
        std::filesystem::create_directories(m_folder.path(name));
        std::string const path = m_folder.path(name + "/" + name);
        std::filesystem::copy_file(GAUGES_MODULE, path);
        return {name, path, 0.1};
    }
    void take(WatchNews const& news) override
    {
        m_readings.take(news);
        m_news.push_back(news);
    }
    bool has(Kind kind, std::string const& module) const
    {
        return std::any_of(m_news.begin(), m_news.end(),
                           [&](auto const& one) { return one.kind == kind && one.module == module; });
    }
    /// Until the condition holds, or half a minute is over.
    bool watchUntil(WatchSet& set, std::function<bool()> const& condition)
    {
        bool isMet = false;
        auto const end = Clock::now() + std::chrono::seconds(30);
        set.run([&] {
            isMet = isMet || condition();
            return isMet || Clock::now() > end;
        });
        return isMet;
    }

    test::TemporaryFolder m_folder;
    zel::StateManager m_machine;
    WatchOptions m_options;
    Readings m_readings;
    std::vector<WatchNews> m_news;
};

} // namespace

// promtool and the parser of Prometheus' own client read it.
TEST_F(WatchSetTest, tellsOthersWhatTheyUnderstand)
{
    MetricsServer const server({"127.0.0.1", 0}, kMetricsType, [&] {
        return metricsText(m_readings.snapshot(), std::chrono::system_clock::now());
    });
    WatchSet set({module("nasty"), module("alarms"), module("dies")}, m_machine, *this, m_options);
    int status = -1;
    EXPECT_TRUE(watchUntil(set, [&] {
        if (!has(Kind::AlertRaised, "alarms") || !has(Kind::ModuleFailed, "dies"))
            return false;
        status = std::system(
            ("python3 " CHECK_METRICS " http://" + textOf(server.address()) + "/metrics >&2").c_str());
        return true;
    }));
    EXPECT_TRUE(set.hasFailed());
    if (WEXITSTATUS(status) == 77)
        GTEST_SKIP() << "neither promtool nor python3-prometheus-client is installed";
    EXPECT_EQ(status, 0);
}

// A module that watches, and then says everything that can be said, damaged and whole: what is told of it stays bounded and can be
// shown, and it ends as any other.
TEST_F(WatchSetTest, standsWhateverAModuleSays)
{
    WatchSet set({module("steady")}, m_machine, *this, m_options);
    std::mt19937 random(11);
    std::size_t heard = 0, damaged = 0;
    zel::String known; // guid of a device of its own
    auto const say = [&](std::shared_ptr<zel::Message const> const& message) {
        constexpr zel::IPCServer::Peer kMost = 10; // the module's is one of the first
        bool isHeard = false;
        for (zel::IPCServer::Peer peer = 0; peer < kMost && !isHeard; ++peer)
            isHeard = set.hear({News::Kind::Said, peer, 0, message, {}});
        heard += isHeard;
    };
    // of a change: what is known, what is not, and what is nothing
    auto const change = [&](std::shared_ptr<zel::StateManager const> const& state) {
        auto const anyOf = [&](std::vector<zel::String> const& those) {
            return those[random() % those.size()];
        };
        zel::UpdatesBody body;
        body.what = static_cast<zel::UpdatesBody::What>(random() % 7);
        body.state = random() % 4 == 0 ? nullptr : state;
        static zel::String const s_long(std::string(100'000, 'x'));
        std::vector<zel::String> guids{known, "", "nobody", s_long};
        for (std::size_t i = 0; state && i < state->deviceCount(); ++i)
            guids.push_back(state->deviceAtIndex(i)->guid());
        body.device = anyOf(guids);
        body.key = anyOf({"", "Heat", "nothing", "\x1b[2J"});
        body.alert = anyOf(guids);
        return std::make_shared<zel::UpdatesProviderToEngineToUI>(std::move(body));
    };
    std::vector<int> const codes = zel::test::allTypeCodes();
    unsigned seed = 0;
    EXPECT_TRUE(watchUntil(set, [&] {
        if (!has(Kind::Readings, "steady"))
            return false;
        if (known.empty())
            known = m_readings.snapshot().devices.at(0).device.guid.c_str();
        for (int const code : codes) {
            std::shared_ptr<zel::Message> const message = zel::test::randomMessage(code, ++seed);
            say(message);
            if (auto const* update = dynamic_cast<zel::UpdatesProviderToEngineToUI const*>(message.get()))
                for (int i = 0; i < 50; ++i)
                    say(change(update->body().state));
            std::string bytes = message->serialize();
            for (int i = 0; i < 3 && !bytes.empty(); ++i) // what breaks the form does not come this far
                if (char& byte = bytes[random() % bytes.size()];
                    std::isalnum(static_cast<unsigned char>(byte)))
                    byte = "0123456789abcdefXYZ"[random() % 19];
            try {
                say(zel::Message::deserialize(code, bytes));
                ++damaged;
            } catch (zel::DeserializationException const&) { // the link ends such a connection
            }
        }
        (void)metricsText(m_readings.snapshot(), std::chrono::system_clock::now());
        (void)watchTable(m_readings.snapshot(), {}, std::chrono::system_clock::now());
        return seed > 120;
    }));
    EXPECT_GT(heard, 150u);
    EXPECT_GT(damaged, 5u);
    for (WatchNews const& news : m_news)
        for (std::string const* text :
             {&news.device.guid, &news.device.name, &news.text, &news.alert.message})
            EXPECT_LE(text->size(), 1100u);
    EXPECT_TRUE(set.isOver());
    EXPECT_TRUE(has(Kind::ModuleEnded, "steady") || has(Kind::ModuleFailed, "steady"));
}

TEST_F(WatchSetTest, saysWhoIsSilentAndWhoIsHeardAgain)
{
    m_options.silence = milliseconds(300);
    WatchSet set({module("naps"), module("steady")}, m_machine, *this, m_options);
    EXPECT_TRUE(watchUntil(set, [&] { return has(Kind::ModuleHeard, "naps"); }));
    EXPECT_TRUE(has(Kind::ModuleSilent, "naps"));
    EXPECT_FALSE(has(Kind::ModuleSilent, "steady"));
    EXPECT_FALSE(set.hasFailed()) << "it speaks again";
    EXPECT_TRUE(has(Kind::ModuleEnded, "naps"));
}

TEST_F(WatchSetTest, endsWhoIsStoppedInTheMiddle)
{
    m_options.silence = milliseconds(300);
    WatchSet set({module("stops")}, m_machine, *this, m_options);
    EXPECT_TRUE(watchUntil(set, [&] { return has(Kind::ModuleSilent, "stops"); }));
    EXPECT_TRUE(set.hasFailed());
    ASSERT_TRUE(has(Kind::ModuleFailed, "stops"));
    EXPECT_NE(m_news.back().text.find("SIGKILL"), std::string::npos) << m_news.back().text;
}

TEST_F(WatchSetTest, givesUpWhoNeverAnswers)
{
    m_options.patience = milliseconds(500);
    WatchSet set({module("mute")}, m_machine, *this, m_options);
    EXPECT_FALSE(watchUntil(set, [] { return false; }));
    EXPECT_TRUE(has(Kind::ModuleFailed, "mute"));
    EXPECT_NE(m_news.back().text.find("did not answer in time"), std::string::npos) << m_news.back().text;
}

// Modules are watched while others are tested: one link, one loop, and each is heard.
TEST_F(WatchSetTest, goesOnBesideTheRunsOfASession)
{
    class Records final : public RunObserver
    {
    public:
        bool take(Record const& record) override
        {
            if (auto const* ended = std::get_if<RunEnded>(&record))
                results.push_back(ended->result);
            readings += std::holds_alternative<WatchReadings>(record);
            return true;
        }
        bool flush() override { return true; }
        void progressed(RunId, int, unsigned, unsigned, std::string const&) override {}
        void ask(RunId, zel::MessageBoxImp&, bool (*)()) override {}
        std::vector<std::string> results;
        int readings = 0;
    } records;
    zel::String const disk("disk");
    m_machine.addDevice(zel::DeviceImp::restored({disk, disk, "", "", "", zel::CapabilityImp(disk),
                                                  zel::CapabilityImp(disk), zel::CapabilityImp()}),
                        nullptr);
    PlannedRun run;
    run.program = WAYWARD_MODULE;
    run.moduleGuid = "wayward";
    run.device = m_machine.deviceAtIndex(0);
    run.shutdownSeconds = 1;
    run.limit = std::chrono::seconds(2);
    Plan plan;
    for (char const* const test : {"pass", "ignore", "fork", "crash"}) {
        run.test = test;
        plan.runs.push_back(run);
    }
    RunnerOptions options;
    options.logFolder = m_folder.path();
    WatchKeeper keeper([&records](Record const& record) { records.take(record); });
    WatchSet set({module("steady"), module("dies")}, m_machine, keeper, m_options);
    EXPECT_EQ(Runner(m_machine, records, options).run(plan, &set).exitStatus, 22);
    EXPECT_EQ(records.results,
              (std::vector<std::string>{"PASS", "MAX TIME EXCEEDED", "PASS", "EXITED ABNORMALLY"}));
    EXPECT_GT(records.readings, 10);
    EXPECT_TRUE(set.isOver());
    EXPECT_TRUE(set.hasFailed());
}

// A module asks, the engine fetches, or says why it does not.
TEST_F(WatchSetTest, fetchesForAModuleWhatItMay)
{
    MetricsServer const server({"127.0.0.1", 0}, "text/plain", [] { return std::string("the limits"); });
    std::string const host = textOf(server.address());
    ModuleToWatch const fetches = module("fetches");
    m_folder.write("fetches/fetches.url", "http://" + host + "/metrics");
    auto const state = [&](std::vector<std::string> hosts) {
        m_options.allowedHosts = std::move(hosts);
        WatchSet set({fetches}, m_machine, *this, m_options);
        std::string said;
        watchUntil(set, [&] {
            for (WatchNews const& news : m_news)
                for (Reading const& one : news.readings)
                    if (std::string const text = one.value.toString().toUtf8();
                        one.key == "State" && text != "fine")
                        said = text;
            return !said.empty();
        });
        m_news.clear();
        return said;
    };
    EXPECT_EQ(state({}), "refused: this engine fetches nothing: it was started without --allow-host");
    EXPECT_EQ(state({"localhost"}), "refused: the host " + host + " is not one that --allow-host names");
    EXPECT_EQ(state({host}), "got the limits");
}

TEST(WebAddress, isWhatAPersonTypes)
{
    EXPECT_EQ(textOf(webAddressOf("9273", "x")), "127.0.0.1:9273");
    EXPECT_EQ(textOf(webAddressOf("[::1]:9273", "x")), "[::1]:9273");
    EXPECT_TRUE(webAddressOf("127.3.2.1:1", "x").isLoopback());
    EXPECT_TRUE(webAddressOf("[::1]:1", "x").isLoopback());
    EXPECT_FALSE(webAddressOf("0.0.0.0:1", "x").isLoopback());
    EXPECT_FALSE(webAddressOf("[::]:1", "x").isLoopback());
    for (char const* const none : {"", ":", "localhost:80", "1.2.3.4", "1.2.3.4:", "1.2.3.4:65536", "::1:80",
                                   "80 ", "127.0.0.1:-1", "127.1:80"})
        EXPECT_THROW(webAddressOf(none, "x"), zel::InvalidArgumentException) << none;
}

TEST(MetricsServer, saysWhenItsAddressIsTaken)
{
    MetricsServer const first({"127.0.0.1", 0}, "text/plain", [] { return std::string("x\n"); });
    EXPECT_THROW(MetricsServer(first.address(), "text/plain", [] { return std::string(); }),
                 zel::InvalidArgumentException);
}
