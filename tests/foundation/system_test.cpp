#include <zel/foundation/OStream.h>
#include <zel/foundation/StopSignal.h>
#include <zel/foundation/System.h>
#include <zel/foundation/linux/PipeTransfer.h>

#include <foundation/ChildProcess.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <thread>

using test::runInChild;
using zel::OStream;
using zel::String;
using zel::System;

namespace {

struct Pipe
{
    int ends[2];
    Pipe() { EXPECT_EQ(::pipe(ends), 0); }
    ~Pipe()
    {
        closeReader();
        closeWriter();
    }
    void closeReader() { closeEnd(0); }
    void closeWriter() { closeEnd(1); }

private:
    void closeEnd(int which)
    {
        if (ends[which] >= 0)
            ::close(ends[which]);
        ends[which] = -1;
    }
};

} // namespace

TEST(System, aProcessKnowsItsNumberBehindAFork)
{
    EXPECT_EQ(::getpid(), System::processId());
    auto const child = runInChild([] { ::_exit(System::processId() == ::getpid() ? 0 : 1); });
    EXPECT_EQ(0, child.status);
    EXPECT_EQ(::getpid(), System::processId());
}

TEST(System, carriesATextLargerThanThePipe)
{
    String sent;
    for (int i = 0; i < 150000; ++i)
        sent += "\xC3\xA9\xF0\x9F\x98\x80 text ";
    using Stop = bool (*)();
    for (Stop const stop : {Stop(nullptr), Stop([] { return false; })}) {
        Pipe pipe;
        // Non-blocking at both ends: a full pipe is waited for, and an empty one.
        for (int const end : pipe.ends)
            ASSERT_EQ(::fcntl(end, F_SETFL, O_NONBLOCK), 0);
        std::size_t written = 0, read = 0;
        String received;
        std::thread writer([&] {
            EXPECT_TRUE(System::writeToPipe(pipe.ends[1], sent, written, stop));
            pipe.closeWriter();
        });
        EXPECT_TRUE(System::readFromPipe(pipe.ends[0], received, read, stop));
        writer.join();
        EXPECT_EQ(received, sent);
        EXPECT_EQ(read, sent.toUtf8().size());
        EXPECT_EQ(written, read);
    }
}

TEST(System, readsTextsUpToTheirLimit)
{
    for (auto const& [limit, error] : {std::pair<std::size_t, int>(5, 0), {4, 0}, {3, EFBIG}, {0, EFBIG}}) {
        Pipe pipe;
        ASSERT_EQ(::write(pipe.ends[1], "text", 4), 4);
        pipe.closeWriter();
        std::string text = "old";
        EXPECT_EQ(zel::readPipe(pipe.ends[0], text, limit, nullptr), error) << limit;
        EXPECT_TRUE(error != 0 || text == "text") << limit;
    }
}

TEST(System, aPipeMayBeDescriptorZero)
{
    auto const outcome = runInChild([] {
        Pipe pipe;
        std::size_t count = 0;
        std::string text;
        if (!System::writeToPipeUtf8(pipe.ends[1], "text", count))
            ::_exit(1);
        pipe.closeWriter();
        ::dup2(pipe.ends[0], STDIN_FILENO);
        ::_exit(System::readFromPipeUtf8(0, text, count, [] { return false; }) && text == "text" ? 5 : 2);
    });
    EXPECT_EQ(outcome.status, 5);
}

TEST(System, aPeerThatNeverComesDoesNotHoldUpWhoIsStopped)
{
    static int s_asked = 0;
    auto const stop = [] { return ++s_asked > 2; };
    Pipe pipe;
    std::string text = "old";
    std::size_t count = 7;
    EXPECT_FALSE(System::readFromPipeUtf8(pipe.ends[0], text, count, stop));
    EXPECT_EQ(System::getSystemErrorMsg(), String("Operation canceled"));
    EXPECT_EQ(text, "old");
    EXPECT_EQ(s_asked, 3) << "it waited between two questions";

    int sockets[2]; // what some programs give their children for a pipe
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
    for (int const end : {pipe.ends[1], sockets[1]}) {
        s_asked = 0;
        EXPECT_FALSE(System::writeToPipeUtf8(end, std::string(3u << 20, 'x'), count, stop));
        EXPECT_EQ(System::getSystemErrorMsg(), String("Operation canceled"));
        EXPECT_TRUE(count > 0 && count < 3u << 20) << count;
        EXPECT_EQ(::fcntl(end, F_GETFL) & O_NONBLOCK, 0) << "it has the mode that it had";
    }
    for (int const end : sockets)
        ::close(end);

    // What is there goes through all the same.
    Pipe ready;
    EXPECT_TRUE(System::writeToPipeUtf8(ready.ends[1], "text", count, [] { return false; }));
    ready.closeWriter();
    EXPECT_TRUE(System::readFromPipeUtf8(ready.ends[0], text, count, [] { return false; }));
    EXPECT_EQ(text, "text");
}

TEST(System, pipeErrorsKeepTheirReasonAndTheOldText)
{
    String text("old");
    std::size_t count = 7;
    EXPECT_FALSE(System::readFromPipe(-1, text, count));
    EXPECT_EQ(System::getSystemErrorMsg(), String("Bad file descriptor"));
    EXPECT_EQ(text, String("old"));
    EXPECT_EQ(count, 0u);
    EXPECT_FALSE(System::readFromPipe(std::int64_t{1} << 32, text, count)) << "which is not descriptor 0";
    EXPECT_EQ(System::getSystemErrorMsg(), String("Bad file descriptor"));
    // Somebody gave the two numbers in the wrong order: that is said, too, and nobody waits for it.
    Pipe swapped;
    bool (*const isStopped)() = [] { return true; };
    for (auto* const stop : {static_cast<bool (*)()>(nullptr), isStopped}) {
        EXPECT_FALSE(System::readFromPipe(swapped.ends[1], text, count, stop));
        EXPECT_EQ(System::getSystemErrorMsg(), String("Bad file descriptor"));
        EXPECT_FALSE(System::writeToPipe(swapped.ends[0], "x", count, stop));
        EXPECT_EQ(System::getSystemErrorMsg(), String("Bad file descriptor"));
    }
    auto const broken = runInChild([] {
        ::alarm(20);
        ::signal(SIGPIPE, SIG_DFL);
        Pipe pipe;
        pipe.closeReader();
        using Stop = bool (*)();
        for (Stop const stop : {Stop(nullptr), Stop([] { return false; })}) {
            std::size_t bytes = 0;
            if (System::writeToPipe(pipe.ends[1], "x", bytes, stop) ||
                System::getSystemErrorMsg() != String("Broken pipe"))
                ::_exit(1);
        }
        ::_exit(5);
    });
    EXPECT_EQ(broken.status, 5) << broken.signal;
}

TEST(System, aPipeIsReadThroughSignals)
{
    using Stop = bool (*)();
    auto const readAll = [](Stop stop) {
        struct sigaction action = {};
        action.sa_handler = [](int) {}; // without SA_RESTART every read is interrupted
        ::sigaction(SIGALRM, &action, nullptr);
        itimerval const often{{0, 500}, {0, 500}};
        Pipe pipe;
        if (::fork() == 0) {
            for (int i = 0; i < 100; ++i) {
                System::sleepMilliseconds(1);
                if (::write(pipe.ends[1], "ab", 2) != 2)
                    ::_exit(1);
            }
            ::_exit(0);
        }
        ::setitimer(ITIMER_REAL, &often, nullptr);
        pipe.closeWriter();
        String text;
        std::size_t count = 0;
        ::_exit(System::readFromPipe(pipe.ends[0], text, count, stop) && count == 200 ? 5 : 1);
    };
    EXPECT_EQ(runInChild([&] { readAll(nullptr); }).status, 5);
    EXPECT_EQ(runInChild([&] { readAll([] { return false; }); }).status, 5);
}

TEST(System, closedStandardStreamsAreReplacedAndLostOutputIsNoticed)
{
    auto const outcome = runInChild([] {
        for (int descriptor : {0, 1, 2})
            ::close(descriptor);
        System::secureStandardStreams();
        struct stat status;
        for (int descriptor : {0, 1, 2})
            if (::fstat(descriptor, &status) != 0)
                ::_exit(1);
        OStream::out() << "lost" << zel::endl;
        OStream::err() << "lost" << zel::endl;
        ::_exit(OStream::out().failed() && OStream::err().failed() ? 5 : 2);
    });
    EXPECT_EQ(outcome.status, 5);
    auto const full = runInChild([] {
        ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO);
        OStream::out() << "lost" << zel::endl;
        ::_exit(OStream::out().failed() && !OStream::err().failed() ? 5 : 2);
    });
    EXPECT_EQ(full.status, 5);
    auto const another = runInChild([] {
        ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO);
        std::printf("lost");
        ::_exit(std::fflush(stdout) != 0 && OStream::out().failed() ? 5 : 2);
    });
    EXPECT_EQ(another.status, 5) << "what module code prints is part of the output";
}

TEST(System, anOutputThatDoesNotWaitIsOpenedAnewAndNoOther)
{
    auto const terminal = [] {
        int const person = ::posix_openpt(O_RDWR | O_NOCTTY);
        if (::grantpt(person) != 0 || ::unlockpt(person) != 0)
            ::_exit(1);
        return ::open(::ptsname(person), O_RDWR | O_NOCTTY);
    };
    // Of two descriptors for one opened file, a flag that is set at one shows at the other.
    auto const secured = [](int output, int mode) {
        ::fcntl(output, F_SETFL, mode);
        ::dup2(output, STDOUT_FILENO);
        System::secureStandardStreams();
        bool const waits = (::fcntl(STDOUT_FILENO, F_GETFL) & O_NONBLOCK) == 0;
        ::fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK | O_APPEND);
        bool const isShared = (::fcntl(output, F_GETFL) & O_APPEND) != 0;
        ::_exit((waits ? 10 : 0) + (isShared ? 1 : 0));
    };
    Pipe pipe;
    for (int const mode : {O_NONBLOCK, 0}) {
        int const expected = mode == 0 ? 11 : 10;
        EXPECT_EQ(runInChild([&] { secured(pipe.ends[1], mode); }).status, expected) << mode;
        EXPECT_EQ(runInChild([&] { secured(terminal(), mode); }).status, expected) << mode;
    }
    EXPECT_EQ(runInChild([&] { secured(::open("/dev/null", O_WRONLY), O_NONBLOCK); }).status, 1);
}

TEST(System, openStreamsAndAChosenSigpipeStayAsTheyAre)
{
    auto const outcome = runInChild([] {
        ::signal(SIGPIPE, [](int) { ::_exit(6); });
        System::secureStandardStreams();
        OStream::out() << "number " << 5 << " " << -1.5 << " " << String("\xC3\xA9") << zel::endl;
        ::raise(SIGPIPE);
    });
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.output, "number 5 -1.5 \xC3\xA9\n");
    auto const ignored = runInChild([] {
        ::signal(SIGPIPE, SIG_DFL);
        System::secureStandardStreams();
        ::raise(SIGPIPE);
        ::_exit(5);
    });
    EXPECT_EQ(ignored.status, 5);
}

TEST(System, onlyIgnoredChildrenAreHeardOfAgain)
{
    auto const outcome = runInChild([] {
        ::signal(SIGCHLD, SIG_IGN);
        System::secureSignals();
        if (::signal(SIGCHLD, [](int) { ::_exit(6); }) != SIG_DFL)
            ::_exit(1);
        System::secureSignals();
        ::raise(SIGCHLD);
    });
    EXPECT_EQ(outcome.status, 6);
}

TEST(System, endsTheProcessWithItsOutputWritten)
{
    auto const outcome = runInChild([] {
        std::printf("in the buffer");
        System::exitProcess(9);
    });
    EXPECT_EQ(outcome.status, 9);
    EXPECT_EQ(outcome.output, "in the buffer");
}

TEST(System, namesItselfAndErrors)
{
    EXPECT_NE(System::executablePath().bytes().find("foundation_test"), std::string::npos);
    EXPECT_EQ(System::processId(), ::getpid());
    EXPECT_EQ(System::errorText(ENOENT), String("No such file or directory"));
    EXPECT_EQ(System::errorText(99999), String("Unknown error 99999"));
}

TEST(StopSignal, theSecondRequestEndsTheProcessButWhatComesTwiceForOneRequestDoesNot)
{
    for (int const number : {SIGINT, SIGTERM, SIGHUP}) {
        auto const outcome = runInChild([number] {
            zel::StopSignal::install(9);
            ::raise(number);
            ::raise(number); // as timeout(1) signals a process, and its group
            std::this_thread::sleep_for(std::chrono::milliseconds(400));
            ::raise(SIGHUP);
            if (zel::StopSignal::requested())
                ::raise(SIGTERM);
        });
        EXPECT_EQ(outcome.status, 9) << number;
        EXPECT_EQ(test::occurrences(outcome.output, "Stopping. "), 1u) << outcome.output;
    }
    for (int const number : {SIGINT, SIGTERM, SIGHUP}) {
        auto const ignored =
            runInChild([number] { // as nohup starts it, or a shell without job control in the background
                ::signal(number, SIG_IGN);
                zel::StopSignal::install(9);
                ::raise(number);
                if (zel::StopSignal::requested())
                    ::_exit(1);
                ::raise(number == SIGTERM ? SIGHUP : SIGTERM);
                ::_exit(zel::StopSignal::requested() ? 5 : 2);
            });
        EXPECT_EQ(ignored.status, 5) << number;
    }
}
