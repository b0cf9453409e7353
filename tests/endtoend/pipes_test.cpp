// A system-information module between two pipes, with peers of every kind at the other ends.
#include <endtoend/ModuleFolder.h>

#include <zel/foundation/XmlDocument.h>
#include <zel/model/state/StateManager.h>
#include <zel/model/wire/Serializable.h>

#include <fcntl.h>
#include <functional>
#include <thread>

namespace {

using test::has;
using test::holds;
using test::Outcome;

constexpr int kUserAborted = 24;

/// One pipe of which the module gets an end, and this process works at the other.
class PipeEnd
{
public:
    enum class Module { Reads, Writes };

    explicit PipeEnd(Module module) : m_module(module == Module::Reads ? 0 : 1)
    {
        if (::pipe2(m_ends, O_CLOEXEC) != 0)
            ::abort();
        ::fcntl(m_ends[m_module], F_SETFD, 0);
    }
    ~PipeEnd()
    {
        closeOurs();
        closeModules();
    }
    std::string word() const { return std::to_string(m_ends[m_module]); }
    int ours() const { return m_ends[1 - m_module]; }
    void closeOurs() { close(1 - m_module); }
    void closeModules() { close(m_module); }

private:
    void close(int end)
    {
        if (m_ends[end] >= 0)
            ::close(m_ends[end]);
        m_ends[end] = -1;
    }
    int m_module;
    int m_ends[2] = {-1, -1};
};

struct Pipes : test::ModuleFolder
{
    Pipes() : ModuleFolder(INVENTORYING_MODULE) {}

    struct Exchange
    {
        std::string name = "inventorying";
        std::string input = {};
        std::vector<std::string> words = {};
    };

    /// What a peer gets that writes all and reads all.
    std::string answer(Exchange const& exchange, Outcome& outcome)
    {
        PipeEnd in(PipeEnd::Module::Reads), out(PipeEnd::Module::Writes);
        std::thread writer([&] {
            for (std::size_t at = 0; at < exchange.input.size();) {
                ssize_t const count =
                    ::write(in.ours(), exchange.input.data() + at, exchange.input.size() - at);
                if (count <= 0)
                    break;
                at += static_cast<std::size_t>(count);
            }
            in.closeOurs();
        });
        std::string text;
        std::thread reader([&] {
            char buffer[65536];
            for (ssize_t count; (count = ::read(out.ours(), buffer, sizeof buffer)) > 0;)
                text.append(buffer, static_cast<std::size_t>(count));
        });
        std::vector<std::string> words{"enum", "-x", "-pipeIn", in.word(), "-pipeOut", out.word()};
        words.insert(words.end(), exchange.words.begin(), exchange.words.end());
        outcome = module(exchange.name, words);
        out.closeModules();
        in.closeModules();
        writer.join();
        reader.join();
        return text;
    }
};

/// The devices as the console lists them.
std::string listed(std::string const& document)
{
    zel::StateManager state;
    zel::Serializable::deserializeUtf8(document, state);
    zel::String text;
    for (std::size_t i = 0; i < state.deviceCount(); ++i)
        text += state.deviceAtIndex(i)->toString(2);
    return text.toUtf8();
}

TEST_F(Pipes, CarryWhatTheConsoleLists)
{
    for (std::vector<std::string> const& verbose : {std::vector<std::string>{}, {"-v"}}) {
        Outcome outcome;
        std::string const document = answer({.words = verbose}, outcome);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_FALSE(has(outcome.err, "-pipe")) << "a peer that knows nothing yet is no failure";
        EXPECT_EQ(outcome.out, "exit callback\n") << "all else goes through the pipe";
        std::vector<std::string> words{"enum"};
        words.insert(words.end(), verbose.begin(), verbose.end());
        std::string const console = module("inventorying", words).out;
        EXPECT_EQ(listed(document), console.substr(0, console.find("\nAlert\n")));
        words.push_back("-x");
        std::string const printed = module("inventorying", words).out;
        std::string const shown = printed.substr(0, printed.rfind("exit callback\n"));
        EXPECT_EQ(listed(shown), listed(document)) << shown;
        EXPECT_GT(std::count(shown.begin(), shown.end(), '\n'), 20) << "it is for people: " << shown;
    }
}

TEST_F(Pipes, CarryWhatIsLargerThanTheyAreBothWays)
{
    Outcome outcome;
    std::string const much = answer({.name = "much"}, outcome);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_GT(much.size(), std::size_t{6} << 20);
    std::string const all = answer({.name = "walks", .input = much}, outcome);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(holds(outcome.out, "knows Drive 59\n")) << "and those that are there already stay";
    EXPECT_TRUE(holds(outcome.out, "knows Screen\n"));
    std::string const before = listed(much);
    EXPECT_EQ(listed(all).substr(0, before.size()), before);
}

TEST_F(Pipes, WhatIsNoStateChangesNothing)
{
    Outcome outcome;
    std::string const alone = listed(answer({}, outcome));
    for (std::string const& input :
         {std::string("nonsense"), std::string("<StateManager>"), std::string("\xFF\xFE\0\0", 4)}) {
        EXPECT_EQ(listed(answer({.input = input}, outcome)), alone);
        EXPECT_EQ(outcome.status, 0);
        std::string const written = log();
        EXPECT_TRUE(holds(written, "Failed to receive correct sysinfo.  Instead we got :"));
        EXPECT_TRUE(holds(written, input.substr(0, 8)) || input[0] != 'n');
        EXPECT_TRUE(holds(outcome.err, "; what is known already is not taken over\n"));
    }
}

TEST_F(Pipes, NumbersOfNothingAreFailuresThatAreSaid)
{
    for (std::string const number : {"999", "-1", "4294967297", "9000000000000000000"}) {
        Outcome const outcome = module("inventorying", {"enum", "-x", "-pipeIn", number, "-pipeOut", number});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, "exit callback\n") << "and nothing goes anywhere else";
        EXPECT_TRUE(holds(outcome.err, "-pipeIn " + number + ": Bad file descriptor; what is known"));
        EXPECT_TRUE(holds(outcome.err, "-pipeOut " + number + ": Bad file descriptor; the devices are not"));
        std::string const written = log();
        EXPECT_TRUE(holds(written, "openConnection(): readFromPipe() failedBad file descriptor\n"));
        EXPECT_TRUE(holds(written, "sendEnumDevices(): writeToPipe() failed pipeId = " + number +
                                       " : Bad file descriptor\n"));
    }
}

TEST_F(Pipes, APeerThatGoesAwayKillsNobody)
{
    PipeEnd out(PipeEnd::Module::Writes);
    std::thread reader([&] {
        char buffer[1000];
        EXPECT_GT(::read(out.ours(), buffer, sizeof buffer), 0);
        out.closeOurs();
    });
    Outcome const outcome = module("much", {"enum", "-x", "-pipeOut", out.word()});
    out.closeModules(); // a module that wrote nothing is a failure, and nothing to wait for
    reader.join();
    EXPECT_EQ(outcome.status, 0) << outcome.signal;
    EXPECT_TRUE(holds(outcome.out, "exit callback\n"));
    EXPECT_TRUE(holds(log(), " : Broken pipe\n"));
}

TEST_F(Pipes, AStopEndsTheWaitForAPeer)
{
    // A filter that is none is told right before the module waits for what is known already.
    m_folder.write("SystemInformationFilter.xml", "nothing");
    for (int const signal : {SIGINT, SIGTERM}) {
        PipeEnd in(PipeEnd::Module::Reads), out(PipeEnd::Module::Writes);
        test::Start start;
        start.folder = m_folder.path();
        start.name = "inventorying";
        start.arguments = {"enum", "-x", "-pipeIn", in.word()};
        start.stopWhen = "nothing is left out";
        start.stops = 1;
        start.stopSignal = signal;
        Outcome outcome = run(m_folder.path("module"), start);
        EXPECT_EQ(outcome.status, kUserAborted) << outcome.err;
        EXPECT_EQ(outcome.out, "exit callback\n") << "nothing was looked for";

        start.name = "much";
        start.arguments = {"enum", "-x", "-pipeOut", out.word()};
        start.stopWhen = "discovered";
        outcome = run(m_folder.path("module"), start);
        EXPECT_EQ(outcome.status, kUserAborted) << outcome.err;
        EXPECT_TRUE(holds(outcome.out, "exit callback\n"));
    }
}

} // namespace
