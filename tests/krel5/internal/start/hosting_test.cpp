// A client that hosts a module in its own process (-dl) keeps what belongs to the process. The same questions are
// put to a process of the module's own, where the answers must differ.
#include <foundation/ChildProcess.h>
#include <foundation/TemporaryFolder.h>

#include <krel5/krel5.h>

#include <zel/foundation/StackTrace.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <exception>
#include <fcntl.h>

using namespace krel5;

namespace {

constexpr int kSignals = 32;

// Member by member: of a mask that was read, only the part with signals in it is defined.
bool isSame(struct sigaction const& one, struct sigaction const& other)
{
    bool same = one.sa_sigaction == other.sa_sigaction && one.sa_flags == other.sa_flags;
    for (int number = 1; number < kSignals; ++number)
        same = same && ::sigismember(&one.sa_mask, number) == ::sigismember(&other.sa_mask, number);
    return same;
}

/// What a process has of its own, and the names of what has changed since it was read.
class Belongings
{
public:
    Belongings()
    {
        for (int number = 1; number < kSignals; ++number)
            ::sigaction(number, nullptr, &m_actions[number]);
        ::sigaltstack(nullptr, &m_stack);
        for (int descriptor = 0; descriptor < 3; ++descriptor)
            m_flags[descriptor] = ::fcntl(descriptor, F_GETFL);
    }

    std::string changes() const
    {
        Belongings const now;
        std::string text;
        if (now.m_terminate != m_terminate)
            text += "terminate ";
        for (int number = 1; number < kSignals; ++number)
            if (!isSame(now.m_actions[number], m_actions[number]))
                text += std::string("SIG") + ::sigabbrev_np(number) + " ";
        if (now.m_stack.ss_sp != m_stack.ss_sp || now.m_stack.ss_flags != m_stack.ss_flags)
            text += "stack ";
        for (int descriptor = 0; descriptor < 3; ++descriptor)
            if (now.m_flags[descriptor] != m_flags[descriptor])
                text += "descriptor " + std::to_string(descriptor) + " ";
        return text;
    }

private:
    std::terminate_handler m_terminate = std::get_terminate();
    struct sigaction m_actions[kSignals] = {};
    stack_t m_stack = {};
    int m_flags[3] = {};
};

struct Start
{
    bool hosted = true;
    std::terminate_handler terminate = nullptr;
    bool closeInput = false;
    void (*initCallback)() = nullptr;
    char const* word = nullptr; // one more on the command line
};

/// Starts a module, tells what changed, and leaves with a status of the client's own.
test::ChildOutcome client(Start const& start)
{
    test::TemporaryFolder folder;
    return test::runInChild([&] {
        if (start.terminate)
            std::set_terminate(start.terminate);
        // The first trace opens files that stay open; later on, they would take the number that is closed here.
        zel::StackTrace::getCurrentStackTrace(0).toString();
        if (start.closeInput)
            ::close(0);
        Belongings const before;
        KrelException const early("thrown before anything was known");
        // With no folder for logs no log file takes a descriptor.
        std::string const folderForLogs = start.closeInput ? "/dev/null/none" : folder.path();
        std::vector<char const*> words{"mod", "-bd", folderForLogs.c_str()};
        words.push_back(start.hosted ? "-dl" : "enum");
        if (start.word)
            words.push_back(start.word);
        DiagModule::setCmdLineArgs(static_cast<int>(words.size()), words.data());
        DiagModule::setVersion(1, 0, "1");
        if (start.initCallback)
            DiagModule::setModuleInitCallback(start.initCallback);
        int const status = DiagModule::start();
        DiagModule::checkForStop(); // prepares the thread that asks
        std::printf("status %d changes: %s\n", status, before.changes().c_str());
        std::exit(5);
    });
}

bool has(test::ChildOutcome const& outcome, std::string const& text)
{
    return outcome.output.find(text) != std::string::npos;
}

std::string const s_cannotRun = "status " + std::to_string(TestResult::CANNOTRUN().value());
std::string const s_internalError = "status " + std::to_string(TestResult::INTERNALERROR().value());

TEST(Hosting, aClientKeepsItsHandlersSignalsAndDescriptors)
{
    auto const own = [] { std::_Exit(77); };
    for (std::terminate_handler const terminate :
         {std::terminate_handler(nullptr), std::terminate_handler(own)})
        for (bool const closeInput : {false, true}) {
            auto const hosted = client({.terminate = terminate, .closeInput = closeInput});
            EXPECT_TRUE(has(hosted, s_cannotRun + " changes: \n")) << hosted.output;
            EXPECT_EQ(hosted.status, 5);
        }
    auto const alone = client({.hosted = false, .terminate = own, .closeInput = true});
    for (char const* changed : {"terminate ", "SIGSEGV ", "SIGPIPE ", "stack ", "descriptor 0 "})
        EXPECT_TRUE(has(alone, changed)) << changed << " in " << alone.output;
}

TEST(Hosting, aClientMayEndItsProcessWhileTheModuleStarts)
{
    auto const leave = [] { std::exit(7); };
    EXPECT_EQ(client({.initCallback = leave}).status, 7);
    EXPECT_EQ(client({.hosted = false, .initCallback = leave}).status, TestResult::INTERNALERROR().value());
}

TEST(Hosting, anInternalErrorDoesNotEndTheClient)
{
    for (char const* word : {"-nonsense", "devices"}) {
        auto const hosted = client({.word = word});
        EXPECT_TRUE(has(hosted, s_internalError)) << hosted.output;
        EXPECT_EQ(hosted.status, 5);
        EXPECT_EQ(client({.hosted = false, .word = word}).status, TestResult::INTERNALERROR().value());
    }
    auto const failing = [] { throw KrelException("no licence"); };
    auto const hosted = client({.initCallback = failing});
    EXPECT_TRUE(has(hosted, "no licence") && has(hosted, s_internalError)) << hosted.output;
    EXPECT_EQ(hosted.status, 5);
}

// Both options win over -dl, and then the process is one of its own.
TEST(Hosting, anEngineOrPipesWinOverTheDirectLink)
{
    for (char const* word : {"-e", "-x"})
        EXPECT_TRUE(has(client({.word = word}), "SIGSEGV")) << word;
}

} // namespace
