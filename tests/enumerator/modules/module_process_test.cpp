// Children that behave, and children that do not.

#include <zel/enumerator/modules/ModuleProcess.h>

#include <foundation/ProcessEnd.h>
#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
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

TEST(ModuleProcess, WhatEscapesFromAChildIsNotWaitedFor)
{
    auto const outcome = run("setsid sleep 600 & echo $! >&4; exit 0");
    EXPECT_EQ(outcome.error.toUtf8(), "");
    pid_t const escaped = std::atoi(outcome.output.c_str());
    ASSERT_GT(escaped, 1);
    EXPECT_EQ(::kill(escaped, SIGKILL), 0);
}

TEST(ModuleProcess, AChildThatTheKernelHasReapedIsAnError)
{
    auto const before = ::signal(SIGCHLD, SIG_IGN);
    auto const outcome = run("setsid sleep 600 & echo $! >&4; exit 0"); // its pipe stays open
    ::signal(SIGCHLD, before);
    EXPECT_EQ(outcome.error.toUtf8(), "No child processes");
    EXPECT_EQ(outcome.output.empty() ? -1 : ::kill(std::atoi(outcome.output.c_str()), SIGKILL), 0);
}

TEST(ModuleProcess, AChildDiesWithAParentThatIsKilled)
{
    test::TemporaryFolder const folder;
    std::string const note = folder.path("id");
    pid_t const parent = ::fork();
    ASSERT_GE(parent, 0);
    if (parent == 0) {
        run(("echo $$ > " + note + ".new; mv " + note + ".new " + note + "; exec sleep 600").c_str());
        ::_exit(1);
    }
    while (!std::filesystem::exists(note))
        ::usleep(1000);
    EXPECT_EQ(::kill(parent, SIGKILL), 0);
    EXPECT_EQ(::waitpid(parent, nullptr, 0), parent);
    EXPECT_TRUE(test::ends(std::atoi(folder.read("id").c_str())));
}
