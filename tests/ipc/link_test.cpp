// Engine and module over a real socket: what arrives, in which order, and who notices that the other one is gone.
#include <ipc/Link.h>
#include <ipc/RandomMessage.h>

#include <foundation/ChildProcess.h>
#include <zel/foundation/Locks.h>
#include <zel/foundation/Stopwatch.h>
#include <zel/ipc/linux/LoginArea.h>
#include <zel/ipc/linux/Socket.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <ctime>
#include <fstream>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace zel;
using namespace zel::test;

namespace {

TestProgressProviderToEngine progress(ProgressBody::What what, std::string const& information)
{
    ProgressBody body;
    body.what = what;
    body.run = "run";
    body.information = information;
    return TestProgressProviderToEngine(body);
}

/// A child process that does `body` and is killed at the latest when this ends.
class Child
{
public:
    explicit Child(std::function<void()> const& body) : m_id(::fork())
    {
        if (m_id == 0) {
            body();
            ::_exit(0);
        }
    }
    ~Child() { kill(); }
    void kill()
    {
        if (m_id > 0) {
            ::kill(m_id, SIGKILL);
            ::waitpid(m_id, nullptr, 0);
        }
        m_id = -1;
    }
    pid_t id() const { return m_id; }

private:
    pid_t m_id;
};

void sleepForEver()
{
    for (;;)
        ::pause();
}

std::size_t residentKiB()
{
    std::ifstream status("/proc/self/statm");
    std::size_t all = 0, resident = 0;
    status >> all >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) / 1024;
}

} // namespace

TEST(Link, bringsEveryMessageBothWays)
{
    Engine engine;
    Module module(::getpid());
    ASSERT_TRUE(module.isIn) << module.client.failure().toUtf8();
    EXPECT_TRUE(module.client.commMgr().isRemoteRunning());
    std::vector<std::unique_ptr<Message>> sent;
    for (int const code : allTypeCodes()) {
        sent.push_back(randomMessage(code, 5));
        sent.back()->setPriority(Message::Priority::Normal);
        EXPECT_TRUE(module.client.queue(*sent.back()));
        EXPECT_TRUE(engine.server.queue(engine.peer(), *sent.back()));
    }
    for (Heard* const heard : {&module.heard, &engine.heard}) {
        ASSERT_TRUE(heard->waitForMessages(sent.size()));
        for (std::size_t i = 0; i < sent.size(); ++i)
            EXPECT_EQ(dump(*sent[i]), dump(*heard->messages[i]));
    }
    EXPECT_TRUE(module.client.doLogout());
    EXPECT_FALSE(module.client.commMgr().isRemoteRunning());
    EXPECT_FALSE(module.client.queue(*sent[0]));
    EXPECT_FALSE(module.client.doLogout());
    ASSERT_TRUE(engine.hasParted());
    EXPECT_TRUE(engine.heard.goodbyes[0].empty());
    EXPECT_FALSE(engine.server.queue(engine.peer(), *sent[0]));
    EXPECT_EQ(0, module.heard.losses);
}

TEST(Link, carriesMessagesLargerThanAnyBuffer)
{
    Engine engine;
    Module module(::getpid());
    ErrorBody body;
    body.text = String(std::string(20'000'000, 'x'));
    ASSERT_TRUE(module.client.queue(InternalErrorProviderToEngine(body)));
    ASSERT_TRUE(engine.heard.waitForMessages(1));
    HttpResponseBody response;
    response.response = body.text;
    EXPECT_TRUE(engine.server.queue(engine.peer(), HttpGetResponseEngineToProvider(response)));
    EXPECT_TRUE(module.heard.waitForMessages(1));
    EXPECT_EQ(body.text,
              dynamic_cast<InternalErrorProviderToEngine const&>(*engine.heard.messages[0]).body().text);
    EXPECT_TRUE(module.client.doLogout()) << "and what is said last is sent before the link is closed";
}

TEST(Link, servesManyModulesAtOnceAndEachLogsInAgain)
{
    Engine engine;
    constexpr std::size_t kModules = 50;
    std::vector<std::unique_ptr<Module>> modules;
    for (std::size_t i = 0; i < kModules; ++i)
        modules.push_back(std::make_unique<Module>(::getpid()));
    for (std::size_t i = 0; i < kModules; ++i) {
        ASSERT_TRUE(engine.server.queue(engine.peer(i), StopTestEngineToProvider()));
        EXPECT_TRUE(modules[i]->heard.waitForMessages(1));
    }
    EXPECT_TRUE(modules[0]->client.doLogin(IPCClient::getLoginSHMName(::getpid())));
    EXPECT_TRUE(modules[0]->client.queue(EnumerationMessage()));
    EXPECT_TRUE(engine.heard.waitForMessages(1));
}

TEST(Link, whoWaitsForAReplyTakesItHimselfAndWhatComesBefore)
{
    Engine engine;
    std::vector<std::pair<int, std::thread::id>> taken; // by two threads, but never at once
    std::atomic<std::size_t> count{0};
    IPCClient client({[&](std::shared_ptr<Message const> message) {
                          taken.emplace_back(message->typeCode(), std::this_thread::get_id());
                          ++count;
                      },
                      nullptr});
    ASSERT_TRUE(client.doLogin(IPCClient::getLoginSHMName(::getpid())));
    constexpr unsigned kLongEnough = 30'000;
    {
        IPCClient::Reading reading(client);
        ASSERT_TRUE(reading.isOurs());
        std::thread([&] { EXPECT_FALSE(IPCClient::Reading(client).isOurs()) << "one at a time"; }).join();
        ASSERT_TRUE(client.queue(EnumerationMessage()));
        ASSERT_TRUE(engine.heard.waitForMessages(1));
        engine.server.queue(engine.peer(), StopTestEngineToProvider());
        engine.server.queue(engine.peer(), AcknowledgeEngineToProvider());
        EXPECT_FALSE(reading.wait(0, [&] { return count > 0; })) << "nobody else took it";
        EXPECT_TRUE(reading.wait(kLongEnough, [&] { return count == 2; }));
        EXPECT_FALSE(reading.wait(50, [&] { return count == 3; }));
        engine.server.queue(engine.peer(),
                            StopTestEngineToProvider()); // may come when the link's thread reads again
    }
    for (int i = 0; count < 3 && i < 30'000; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    client.doLogout();
    ASSERT_EQ(3u, taken.size());
    EXPECT_EQ(std::pair(StopTestEngineToProvider::kTypeCode, std::this_thread::get_id()), taken[0]);
    EXPECT_EQ(std::pair(AcknowledgeEngineToProvider::kTypeCode, std::this_thread::get_id()), taken[1]);
    EXPECT_EQ(StopTestEngineToProvider::kTypeCode, taken[2].first);
    EXPECT_NE(std::this_thread::get_id(), taken[2].second) << "it was not lost between the two";
    EXPECT_FALSE(IPCClient::Reading(client).isOurs()) << "there is no connection";
}

TEST(Link, whoReadsNoticesTheEndAtOnce)
{
    auto engine = std::make_unique<Engine>();
    Module module(::getpid());
    std::thread killer;
    {
        IPCClient::Reading reading(module.client);
        ASSERT_TRUE(reading.isOurs());
        killer = std::thread([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            engine.reset();
        });
        Stopwatch const watch;
        EXPECT_FALSE(reading.wait(30'000, [] { return false; }));
        EXPECT_LT(watch.getElapsed(), 10);
        EXPECT_FALSE(module.client.commMgr().isRemoteRunning());
    }
    killer.join();
    EXPECT_TRUE(module.isLost());
    EXPECT_EQ(1, module.heard.losses);
}

TEST(Link, aLogoutEndsTheWaitOfWhoReads)
{
    Engine engine;
    Module module(::getpid());
    std::atomic<bool> isReading{false};
    std::thread reader([&] {
        IPCClient::Reading reading(module.client);
        EXPECT_FALSE(reading.wait(30'000, [&] {
            isReading = true;
            return false;
        }));
    });
    while (!isReading)
        std::this_thread::yield();
    Stopwatch const watch;
    EXPECT_TRUE(module.client.doLogout());
    EXPECT_LT(watch.getElapsed(), 10);
    reader.join();
    EXPECT_EQ(0, module.heard.losses);
}

// Whoever reads just then, the link's thread among them: each message comes once, and nobody sleeps over one.
TEST(Link, manyThreadsAskAtOnceAndEachReplyComes)
{
    constexpr int kThreads = 4, kQuestions = 500;
    IPCServer* self = nullptr;
    IPCServer server({nullptr, nullptr,
                      [&](IPCServer::Peer peer, std::shared_ptr<Message const> message) {
                          HttpGetResponseEngineToProvider reply({true, {}});
                          reply.setNumber(message->number());
                          self->queue(peer, StopTestEngineToProvider());
                          self->queue(peer, reply);
                      },
                      nullptr});
    self = &server;
    std::array<ManagedSemaphore, kThreads> replies;
    std::atomic<int> stops{0};
    IPCClient client({[&](std::shared_ptr<Message const> message) {
                          if (dynamic_cast<HttpGetResponseEngineToProvider const*>(message.get()))
                              replies[message->number()].post();
                          else
                              ++stops;
                      },
                      nullptr});
    ASSERT_TRUE(client.doLogin(IPCClient::getLoginSHMName(::getpid())));
    std::atomic<int> answered{0};
    std::vector<std::thread> threads;
    for (std::uint64_t id = 0; id < kThreads; ++id)
        threads.emplace_back([&, id] {
            for (int i = 0; i < kQuestions; ++i) {
                IPCClient::Reading reading(client);
                HttpGetRequestProviderToEngine question;
                question.setNumber(id);
                client.queue(question);
                auto const isHere = [&] { return replies[id].wait(0); };
                answered += reading.isOurs() ? reading.wait(30'000, isHere) : replies[id].wait(30'000);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(kThreads * kQuestions, answered);
    EXPECT_EQ(kThreads * kQuestions, stops);
    EXPECT_TRUE(client.doLogout());
}

TEST(Link, aStopOvertakesWhatWaits)
{
    FakeEngine fake;
    Module module(::getpid());
    int const engine = fake.accept();
    // More than the socket takes; nothing of it may be replaced.
    std::string const text(10'000, 'e');
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(module.client.queue(progress(ProgressBody::What::Events, text)));
    ASSERT_TRUE(module.client.queue(StopTestEngineToProvider()));
    std::string const stop = frameOf(StopTestEngineToProvider());
    std::string all;
    for (char piece[65536]; all.find(stop) == std::string::npos;) {
        ssize_t const count = ::recv(engine, piece, sizeof piece, 0);
        ASSERT_GT(count, 0);
        all.append(piece, static_cast<std::size_t>(count));
    }
    EXPECT_LT(::test::occurrences(all, "<TestProgress"), 60u);
    // Nothing is mixed into the middle of another one: it stands where a message ends.
    std::size_t const one = frameOf(progress(ProgressBody::What::Events, text)).size();
    EXPECT_EQ(0u, all.find(stop) % one);
    ::close(engine);
    EXPECT_TRUE(module.isLost());
}

TEST(Link, aFloodOfProgressLosesNothingThatCountsAndKeepsItsMemory)
{
    constexpr int kMessages = 50'000, kEvery = 1000;
    Heard heard;
    std::atomic<int> newest{0}, percentages{0}, events{0};
    IPCServer server({nullptr, nullptr,
                      [&](IPCServer::Peer, std::shared_ptr<Message const> message) {
                          auto const& body =
                              dynamic_cast<TestProgressProviderToEngine const&>(*message).body();
                          bool const isEvent = body.what == ProgressBody::What::Events;
                          ++(isEvent ? events : percentages);
                          if (!isEvent)
                              newest = std::stoi(body.information.toUtf8());
                      },
                      [&](IPCServer::Peer, String const& reason) {
                          heard.note([&](Heard& all) { all.goodbyes.push_back(reason); });
                      }});
    Module module(::getpid());
    [[maybe_unused]] std::size_t const before = residentKiB();
    for (int i = 1; i <= kMessages; ++i) {
        ASSERT_TRUE(module.client.queue(progress(ProgressBody::What::PercentDone, std::to_string(i))));
        if (i % kEvery == 0) {
            ASSERT_TRUE(module.client.queue(progress(ProgressBody::What::Events, std::to_string(i))));
        }
    }
    ASSERT_TRUE(module.client.doLogout());
    ASSERT_TRUE(heard.wait([](Heard& all) { return !all.goodbyes.empty(); }));
    EXPECT_EQ(kMessages / kEvery, events);
    EXPECT_EQ(kMessages, newest) << "the newest percentage is never the one that is left out";
    EXPECT_GT(percentages, 0);
#ifndef __SANITIZE_ADDRESS__ // which keeps what was freed
    EXPECT_LT(residentKiB(), before + 16 * 1024);
#endif
}

TEST(Link, aModuleThatDoesNotReadEndsItsConnectionOnly)
{
    Engine engine;
    int const silent = connectRaw();
    Module other(::getpid());
    auto const peer = engine.peer(0);
    ErrorBody body;
    body.text = String(std::string(1'000'000, 'x'));
    HttpResponseBody response;
    response.response = body.text;
    int taken = 0;
    while (taken < 100 && engine.server.queue(peer, HttpGetResponseEngineToProvider(response)))
        ++taken;
    EXPECT_GT(taken, 30);
    EXPECT_LT(taken, 40);
    ASSERT_TRUE(engine.hasParted());
    EXPECT_NE(std::string::npos, engine.heard.goodbyes[0].toUtf8().find("does not read"));
    EXPECT_TRUE(engine.server.queue(engine.peer(1), StopTestEngineToProvider()));
    EXPECT_TRUE(other.heard.waitForMessages(1));
    ::close(silent);
}

TEST(Link, anEngineThatDoesNotReadGetsTheNewestProgressAndInTheEndNothing)
{
    FakeEngine fake;
    Module module(::getpid());
    int const engine = fake.accept();
    ErrorBody large;
    large.text = String(std::string(1'000'000, 'x'));
    std::vector<InternalErrorProviderToEngine> const errors(34, InternalErrorProviderToEngine(large));
    ASSERT_TRUE(module.client.queue(progress(ProgressBody::What::Information, "sent")));
    for (std::size_t i = 0; i < 2; ++i)
        ASSERT_TRUE(module.client.queue(errors[i]));
    ASSERT_TRUE(module.client.queue(progress(ProgressBody::What::Information, "waits")));
    for (std::size_t i = 2; i < errors.size(); ++i)
        ASSERT_TRUE(module.client.queue(errors[i])) << i;
    // More is not taken, but in the place of what says less.
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(module.client.queue(progress(ProgressBody::What::Information, std::to_string(i))));
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(module.client.queue(errors[0]));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(9));
    EXPECT_TRUE(module.isLost());
    EXPECT_FALSE(module.client.queue(StopTestEngineToProvider()));
    ::close(engine);
}

TEST(Link, anEngineThatReadsLateHearsAllButOldProgress)
{
    FakeEngine fake;
    Module module(::getpid());
    int const engine = fake.accept();
    std::string const text(1'000'000, 'e');
    ASSERT_TRUE(module.client.queue(progress(ProgressBody::What::Information, "first")));
    ASSERT_TRUE(module.client.queue(progress(ProgressBody::What::Events, text)));
    ASSERT_TRUE(module.client.queue(progress(ProgressBody::What::Information, "waits")));
    for (int i = 1; i < 34; ++i) // and more is not taken before some is read
        ASSERT_TRUE(module.client.queue(progress(ProgressBody::What::Events, text)));
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(module.client.queue(progress(ProgressBody::What::Information, std::to_string(i))));
    std::string all;
    std::thread reader([&] {
        for (char piece[65536];;) {
            ssize_t const count = ::recv(engine, piece, sizeof piece, 0);
            if (count <= 0)
                return;
            all.append(piece, static_cast<std::size_t>(count));
        }
    });
    for (int i = 34; i < 40; ++i)
        EXPECT_TRUE(module.client.queue(progress(ProgressBody::What::Events, text)));
    EXPECT_TRUE(module.client.waitUntilSent(60'000));
    EXPECT_TRUE(module.client.doLogout());
    reader.join();
    ::close(engine);
    EXPECT_EQ(40u, ::test::occurrences(all, text));
    EXPECT_EQ(2u, ::test::occurrences(all, "what=\"information\""));
    EXPECT_EQ(1u, ::test::occurrences(all, "information=\"first\""));
    EXPECT_EQ(1u, ::test::occurrences(all, "information=\"999\""));
}

TEST(Link, theModuleNoticesThatItsEngineWasKilled)
{
    int ready[2];
    ASSERT_EQ(0, ::pipe(ready));
    Child engine([&] {
        Engine killed;
        [[maybe_unused]] auto const said = ::write(ready[1], "x", 1);
        sleepForEver();
    });
    char ignored;
    ASSERT_EQ(1, ::read(ready[0], &ignored, 1));
    Module module(engine.id());
    ASSERT_TRUE(module.isIn) << module.client.failure().toUtf8();
    engine.kill();
    EXPECT_TRUE(module.isLost());
    EXPECT_FALSE(module.client.commMgr().isRemoteRunning());
    EXPECT_EQ(1, module.heard.losses);
    EXPECT_FALSE(module.client.doLogout());
    EXPECT_FALSE(Module(engine.id()).isIn) << "and what it left behind lets nobody in";
    Engine(); // cleans up
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST(Link, theEngineNoticesThatItsModuleWasKilledAndHearsWhatItSaidBefore)
{
    int ready[2];
    ASSERT_EQ(0, ::pipe(ready));
    pid_t const self = ::getpid();
    Child module([=] { // begins before the engine, which has a thread
        char ignored;
        [[maybe_unused]] auto const begin = ::read(ready[0], &ignored, 1);
        Module killed(self);
        for (int i = 0; i < 20; ++i)
            killed.client.queue(EnumerationMessage());
        ::kill(::getpid(), SIGKILL);
    });
    Engine engine;
    ASSERT_EQ(1, ::write(ready[1], "x", 1));
    ASSERT_TRUE(engine.hasParted());
    EXPECT_TRUE(engine.heard.goodbyes[0].empty());
    EXPECT_EQ(20u, engine.heard.messages.size());
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST(Link, letsInWhomTheEngineKnows)
{
    std::atomic<bool> isAsked{false};
    IPCServer server({[&](std::int64_t process) {
                          isAsked = true;
                          return process != ::getpid();
                      },
                      nullptr, nullptr, nullptr});
    Module module(::getpid());
    EXPECT_TRUE(module.isLost());
    EXPECT_TRUE(isAsked);
}

TEST(Link, aProcessForkedOffNeitherSpeaksNorClosesNorCleansUp)
{
    auto engine = std::make_unique<Engine>();
    auto module = std::make_unique<Module>(::getpid());
    auto const child = ::test::runInChild([&] {
        if (module->client.queue(EnumerationMessage()) || engine->server.queue(1, StopTestEngineToProvider()))
            ::_exit(1);
        module.reset();
        engine.reset();
    });
    EXPECT_EQ(0, child.status) << child.output;
    EXPECT_TRUE(module->client.queue(EnumerationMessage()));
    EXPECT_TRUE(engine->heard.waitForMessages(1));
    EXPECT_EQ(1u, engine->heard.messages.size());
    EXPECT_TRUE(Module(::getpid()).isIn);
}

TEST(Link, itsThreadsLeaveSignalsToTheOthers)
{
    Engine engine;
    Module module(::getpid());
    auto const before = ::signal(SIGUSR1, [](int) {});
    sigset_t one, old, pending;
    ::sigemptyset(&one);
    ::sigaddset(&one, SIGUSR1);
    ::pthread_sigmask(SIG_BLOCK, &one, &old);
    ::kill(::getpid(), SIGUSR1); // blocked here: a thread that lets it through gets it at once
    ASSERT_TRUE(module.client.queue(EnumerationMessage()));
    ASSERT_TRUE(engine.heard.waitForMessages(1));
    ::sigpending(&pending);
    EXPECT_TRUE(::sigismember(&pending, SIGUSR1));
    ::pthread_sigmask(SIG_SETMASK, &old, nullptr);
    ::signal(SIGUSR1, before);
}

TEST(Link, withoutDescriptorsTheOthersAreHeardAndNobodyIsBusy)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers' run-time needs descriptors of its own";
#endif
    auto const child = ::test::runInChild([] {
        Engine engine;
        Module module(::getpid());
        engine.peer();
        std::string const socket = LoginArea::read(LoginArea::nameOf(::getpid())).socketPath;
        rlimit const few{64, 64};
        ::setrlimit(RLIMIT_NOFILE, &few);
        while (::dup(0) >= 0) {
        }
        ::close(63); // for the socket that asks; the one that answers finds none
        auto const asking = connectTo(socket, std::chrono::steady_clock::now() + kPatience);
        std::clock_t const begin = std::clock();
        for (std::size_t i = 1; i <= 10; ++i) {
            module.client.queue(EnumerationMessage());
            EXPECT_TRUE(engine.heard.waitForMessages(i));
            ::usleep(50'000);
        }
        EXPECT_LT(static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC, 0.25);
        EXPECT_EQ(1u, engine.heard.peers.size());
        ::close(62);
        engine.peer(1); // is let in once there is room
        EXPECT_EQ(2u, engine.heard.peers.size());
        ::_exit(testing::Test::HasFailure() ? 1 : 0);
    });
    EXPECT_EQ(0, child.status) << child.output;
}
