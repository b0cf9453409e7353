// Children that behave, and children that do not.

#include <zel/enumerator/modules/ModuleProcess.h>

#include <foundation/ProcessEnd.h>
#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <functional>
#include <sys/fanotify.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace zel;

namespace {

/// Runs a shell script; its pipes are descriptors 3 and 4, as the last arguments say.
ModuleProcess::Outcome run(char const* script, std::string const& input = {},
                           ModuleProcess::Limits limits = {})
{
    return ModuleProcess::run("/bin/sh", {"-c", script, "module"}, input, limits);
}

/// In a process of its own; whether what it says there is true.
bool holdsInAChild(std::function<bool()> const& statement)
{
    pid_t const child = ::fork();
    if (child == 0)
        ::_exit(statement() ? 0 : 1);
    int status = -1;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void waitForFile(std::string const& path)
{
    while (!std::filesystem::exists(path))
        ::usleep(1000);
}

std::string noteOwnId(std::string const& path)
{
    return "echo $$ > " + path + ".new; mv " + path + ".new " + path + "; ";
}

} // namespace

TEST(ModuleProcess, TakesAndGives)
{
    std::string const large(3u << 20, 'x'); // more than both pipes hold
    EXPECT_EQ(run("cat <&3 >&4", large).output, large);
    EXPECT_EQ(run("cat <&3 >&4", large).error.toUtf8(), "");
    EXPECT_EQ(run("echo $* >&4").output, "-pipeIn 3 -pipeOut 4\n");
    EXPECT_EQ(run("echo noise; echo answer >&4").output, "answer\n") << "standard output is not the answer";
}

TEST(ModuleProcess, ChildrenThatMisbehave)
{
    struct Case
    {
        char const* script;
        char const* error;
    };
    Case const cases[] = {
        {"exit 7", "it ended with status 7"},
        {"kill -SEGV $$", "it was ended by signal 11"},
        {"exec 3<&- ; echo done >&4", ""}, // reads nothing of its input
    };
    for (Case const& c : cases)
        EXPECT_EQ(run(c.script, std::string(1u << 20, 'x')).error.toUtf8(), c.error) << c.script;
    ModuleProcess::Limits tight;
    tight.outputBytes = 1000;
    EXPECT_EQ(run("while :; do echo flood; done >&4", "", tight).error.toUtf8(), "its answer is too large");
    ModuleProcess::Limits hurried;
    hurried.milliseconds = 100;
    EXPECT_EQ(run("exec sleep 600", "", hurried).error.toUtf8(), "it took too long");
    EXPECT_EQ(run("exec 4>&-; exec sleep 600", "", hurried).error.toUtf8(), "it took too long");
    EXPECT_FALSE(ModuleProcess::run("/nonexistent/module", {}, "", {}).error.empty());
}

TEST(ModuleProcess, OfWhatAChildComplainsTheFirstLineIsKept)
{
    auto outcome = run("echo >&2; printf 'no bus\\033[2J\\nmore\\n' >&2; exit 3");
    EXPECT_EQ(outcome.complaint.toUtf8(), "no bus\\x1b[2J");
    EXPECT_EQ(run("printf 'What went wrong:\\nno bus\\nmore\\n' >&2").complaint.toUtf8(),
              "What went wrong: no bus");
    EXPECT_EQ(run("printf 'Then:\\n' >&2").complaint.toUtf8(), "Then:");
    outcome = run("head -c 1000000 /dev/zero | tr '\\0' x >&2; echo done >&4"); // more than the pipe holds
    EXPECT_EQ(outcome.output, "done\n");
    EXPECT_EQ(outcome.complaint.size(), 500u);
    EXPECT_EQ(run("exec 2>&-; echo done >&4").output, "done\n");
}

TEST(ModuleProcess, AChildHasNoOtherDescriptors)
{
    constexpr int kBeyondThePipes = 50;
    int const mine = ::fcntl(0, F_DUPFD, kBeyondThePipes); // without FD_CLOEXEC
    ASSERT_GE(mine, kBeyondThePipes);
    std::string const listed =
        run(("test -e /proc/$$/fd/" + std::to_string(mine) + " && echo open >&4").c_str()).output;
    EXPECT_EQ(listed, "");
    ::close(mine);
}

TEST(ModuleProcess, WhatLeavesTheGroupOfAChildIsNotWaitedFor)
{
    auto const outcome = run("setsid sleep 600 & while [ $(cut -d' ' -f6 /proc/$!/stat) != $! ]; do :; done; "
                             "echo $! >&4; exit 0");
    EXPECT_EQ(outcome.error.toUtf8(), "");
    pid_t const escaped = std::atoi(outcome.output.c_str());
    ASSERT_GT(escaped, 1);
    EXPECT_EQ(::kill(escaped, SIGKILL), 0);
}

TEST(ModuleProcess, WhatAChildStartedEndsWithIt)
{
    test::TemporaryFolder const folder;
    std::string const note = "echo $! > " + folder.path("id") + "; ";
    ModuleProcess::Limits hurried;
    hurried.milliseconds = 300;
    struct Case
    {
        std::string end;
        char const* error;
    } const cases[] = {
        {"echo answer >&4; exit 0", ""}, // the other one still holds the pipe
        {"exit 3", "it ended with status 3"},
        {"wait", "it took too long"},
    };
    for (Case const& c : cases) {
        EXPECT_EQ(run(("sleep 600 & " + note + c.end).c_str(), "", hurried).error.toUtf8(), c.error);
        EXPECT_TRUE(test::ends(std::atoi(folder.read("id").c_str()))) << c.end;
    }
}

TEST(ModuleProcess, SeveralRunAtTheSameTimeAndAreTakenInOrder)
{
    test::TemporaryFolder const folder;
    // Each of the first two needs the other; more than are waited for at once come behind them.
    std::string const wait =
        "touch " + folder.path("") + "$N; until test -e " + folder.path("") + "$M; do :; done; ";
    folder.write("first", "#!/bin/sh\nN=a M=b; " + wait + "echo first >&4\n");
    folder.write("second", "#!/bin/sh\nN=b M=a; " + wait + "echo second >&4\n");
    folder.write("third", "#!/bin/sh\nexit 4\n");
    std::vector<std::string> programs{folder.path("first"), folder.path("second")};
    for (std::string const& program : {folder.path("first"), folder.path("second"), folder.path("third")})
        ASSERT_EQ(::chmod(program.c_str(), 0755), 0);
    programs.insert(programs.end(), 12, folder.path("third"));
    programs.insert(programs.end(), 1, "/nonexistent/module");
    programs.insert(programs.end(), 12, folder.path("second"));
    std::vector<std::string> outcomes;
    ModuleProcess::runAll(programs, {}, "", {}, [&](std::size_t number, ModuleProcess::Outcome& outcome) {
        EXPECT_EQ(number, outcomes.size());
        outcomes.push_back(outcome.output + outcome.error.toUtf8());
    });
    std::vector<std::string> expected{"first\n", "second\n"};
    expected.insert(expected.end(), 12, "it ended with status 4");
    expected.insert(expected.end(), 1, "No such file or directory");
    expected.insert(expected.end(), 12, "second\n");
    EXPECT_EQ(outcomes, expected);
}

// What comes early is not read to its end before its turn: one waits with its pipe full, one has ended meanwhile.
TEST(ModuleProcess, LargeAnswersWaitForTheirTurnAndAreWhole)
{
    constexpr std::size_t kAhead = 8u << 20, kRest = 60'000;
    test::TemporaryFolder const folder;
    std::string const id = folder.path("id");
    std::string const state = "/proc/$(cat " + id + ")/stat";
    folder.write("first", "#!/bin/sh\nuntil test -e " + id + "; do :; done\nwhile test -e " + state +
                              " && ! grep -q ') Z ' " + state + "; do :; done\necho first >&4\n");
    folder.write("waits", "#!/bin/sh\nhead -c 12000000 /dev/zero >&4\n");
    folder.write("ends", "#!/bin/sh\n" + noteOwnId(id) + "head -c " + std::to_string(kAhead) +
                             " /dev/zero >&4\nexec head -c " + std::to_string(kRest) + " /dev/zero >&4\n");
    std::vector<std::string> programs;
    for (char const* const name : {"first", "waits", "ends"}) {
        programs.push_back(folder.path(name));
        ASSERT_EQ(::chmod(programs.back().c_str(), 0755), 0);
    }
    std::vector<std::size_t> sizes;
    ModuleProcess::runAll(programs, {}, "", {}, [&](std::size_t, ModuleProcess::Outcome& outcome) {
        EXPECT_EQ(outcome.error.toUtf8(), "");
        sizes.push_back(outcome.output.size());
    });
    EXPECT_EQ(sizes, (std::vector<std::size_t>{sizeof "first", 12'000'000, kAhead + kRest}));
}

TEST(ModuleProcess, TheTimeOfOneThatWaitsForItsTurnStandsStill)
{
    test::TemporaryFolder const folder;
    // Each is within its time; the second one is not when that of the first counts.
    folder.write("first", "#!/bin/sh\nsleep 1.8; echo first >&4\n");
    folder.write("second", "#!/bin/sh\nhead -c 9000000 /dev/zero >&4; sleep 1.8; echo second >&4\n");
    std::vector<std::string> const programs{folder.path("first"), folder.path("second")};
    for (std::string const& program : programs)
        ASSERT_EQ(::chmod(program.c_str(), 0755), 0);
    ModuleProcess::Limits limits;
    limits.milliseconds = 3000;
    ModuleProcess::runAll(programs, {}, "", limits, [](std::size_t number, ModuleProcess::Outcome& outcome) {
        EXPECT_EQ(outcome.error.toUtf8(), "");
        EXPECT_TRUE(outcome.output.ends_with(number == 0 ? "first\n" : "second\n"));
    });
}

TEST(ModuleProcess, WhereTheKernelReapsChildrenTheAnswerCounts)
{
    auto const before = ::signal(SIGCHLD, SIG_IGN);
    auto const outcome = run("setsid sleep 600 & while [ $(cut -d' ' -f6 /proc/$!/stat) != $! ]; do :; done; "
                             "echo $! >&4; exit 0"); // its pipe stays open
    auto const silent = run("exit 0");
    auto const late = run("exec sleep 600", "", {1000, 100});
    ::signal(SIGCHLD, before);
    EXPECT_EQ(outcome.error.toUtf8(), "");
    EXPECT_EQ(outcome.output.empty() ? -1 : ::kill(std::atoi(outcome.output.c_str()), SIGKILL), 0);
    EXPECT_NE(silent.error.toUtf8(), "") << "nothing shows that it did what it was to do";
    EXPECT_EQ(late.error.toUtf8(), "it took too long");
}

TEST(ModuleProcess, AChildDiesWithAParentThatIsKilled)
{
    test::TemporaryFolder const folder;
    std::string const note = folder.path("id");
    pid_t const parent = ::fork();
    ASSERT_GE(parent, 0);
    if (parent == 0) {
        run((noteOwnId(note) + "exec sleep 600").c_str());
        ::_exit(1);
    }
    waitForFile(note);
    EXPECT_EQ(::kill(parent, SIGKILL), 0);
    EXPECT_EQ(::waitpid(parent, nullptr, 0), parent);
    EXPECT_TRUE(test::ends(std::atoi(folder.read("id").c_str())));
}

TEST(ModuleProcess, AChildHasStandardStreamsWhereItsParentHasNone)
{
    EXPECT_TRUE(holdsInAChild([] {
        ::close(STDIN_FILENO);
        ::close(STDOUT_FILENO);
        return run("test -e /proc/$$/fd/0 && test -e /proc/$$/fd/1 && echo open >&4").output == "open\n";
    }));
}

#if !defined(__SANITIZE_ADDRESS__) &&                                                                        \
    !defined(__SANITIZE_THREAD__) // they need more addresses than there would be
TEST(ModuleProcess, AnAnswerLargerThanTheMemoryEndsTheChild)
{
    EXPECT_TRUE(holdsInAChild([] {
        rlimit const room{256u << 20, 256u << 20};
        if (::setrlimit(RLIMIT_AS, &room) != 0)
            return false;
        auto const outcome = run("exec cat /dev/zero >&4", "", {std::size_t{1} << 40, 600'000});
        return outcome.error == String("Cannot allocate memory") && outcome.output.empty() &&
               ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
    }));
}
#endif

// As one does that hangs in the kernel: here a debugger holds what is left of it.
TEST(ModuleProcess, AChildThatOutlivesItsKillIsNotWaitedForForEver)
{
    test::TemporaryFolder const folder;
    std::string const note = folder.path("id"), held = folder.path("held");
    pid_t const debugger = ::fork();
    if (debugger == 0) {
        waitForFile(note);
        while (!folder.read("id").ends_with('\n'))
            ::usleep(1000);
        if (::ptrace(PTRACE_SEIZE, std::atoi(folder.read("id").c_str()), nullptr, nullptr) != 0)
            ::_exit(1);
        folder.write("held", "");
        for (;;)
            ::pause();
    }
    // No child of its own, whose end would stop it: a signal waits for the debugger.
    std::string const script = "echo $$ > " + note + "; while ! test -e " + held + "; do :; done; " +
                               "while :; do echo flood; done >&4";
    EXPECT_EQ(run(script.c_str(), "", {1000, 60'000}).error.toUtf8(), "it does not end, even when killed");
    ::kill(debugger, SIGKILL);
    EXPECT_EQ(::waitpid(debugger, nullptr, 0), debugger);
    EXPECT_GT(::waitpid(std::atoi(folder.read("id").c_str()), nullptr, 0), 0);
}

// As from a server that is gone: here nobody answers whether it may be opened.
TEST(ModuleProcess, AProgramThatIsNeverLoadedCostsItsTimeOnly)
{
    test::TemporaryFolder const folder;
    folder.write("program", "#!/bin/sh\n");
    ASSERT_EQ(::chmod(folder.path("program").c_str(), 0755), 0);
    int const guard = ::fanotify_init(FAN_CLASS_CONTENT | FAN_CLOEXEC, O_RDONLY);
    if (guard < 0 || ::fanotify_mark(guard, FAN_MARK_ADD, FAN_OPEN_EXEC_PERM, AT_FDCWD,
                                     folder.path("program").c_str()) != 0)
        GTEST_SKIP() << "the start of a program cannot be held up here";
    EXPECT_EQ(ModuleProcess::run(folder.path("program"), {}, "", {1000, 200}).error.toUtf8(),
              "it took too long");
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    ::close(guard);
}
