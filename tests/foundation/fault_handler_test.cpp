#include <zel/foundation/FaultHandler.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/OStream.h>

#include <foundation/ChildProcess.h>
#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <sys/mman.h>
#include <thread>

using test::occurrences;
using test::runInChild;

namespace {

constexpr int kStatus = 42;
#define FAULTING __attribute__((noinline, no_sanitize("address", "undefined")))

volatile std::uintptr_t s_badAddress = 0x10;
int volatile s_zero = 0;
int volatile s_numerator = 7;
bool volatile s_always = true;

FAULTING void readBadAddress() { s_zero = *reinterpret_cast<int volatile*>(s_badAddress); }
FAULTING void divideByZero() { s_zero = s_numerator / s_zero; }
FAULTING void illegalInstruction() { __builtin_trap(); }
FAULTING void abortProcess() { std::abort(); }
FAULTING void signalItself()
{
    ::kill(::getpid(), SIGFPE);
    s_zero = 0;
}
FAULTING void callBadAddress()
{
    reinterpret_cast<void (*)()>(s_badAddress)();
    s_zero = 0;
}
FAULTING int exhaustStack(int depth)
{
    char volatile room[1000];
    room[0] = static_cast<char>(depth);
    return s_always ? exhaustStack(depth + 1) + room[0] : 0;
}
// Leaves the stack pointer where nothing is, so that the unwinder has nothing to walk.
[[maybe_unused]] FAULTING void loseStack()
{
#if defined(__x86_64__)
    asm volatile("mov $0x100, %%rsp\n\tmov $0x100, %%rbp\n\tmovl $1, (%%rsp)" ::: "memory");
#endif
}
FAULTING void overflowStack() { s_zero = exhaustStack(0); }
FAULTING void throwSomething() { throw std::runtime_error("nobody catches this"); }
FAULTING void leaveException() noexcept { throwSomething(); }
FAULTING void touchBeyondFile()
{
    std::FILE* const empty = std::tmpfile();
    void* const memory = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, ::fileno(empty), 0);
    s_zero = *static_cast<int volatile*>(memory);
}

#if defined(__x86_64__)
// A frame whose caller, as far as the unwinder is told, is this frame again.
asm(".text\n"
    ".type frameBelowItself, @function\n"
    "frameBelowItself:\n"
    ".cfi_startproc\n"
    ".cfi_def_cfa %rsp, 0\n"
    ".cfi_offset %rip, 0\n"
    "lea 1f(%rip), %rax\n"
    "mov %rax, (%rsp)\n"
    "1: movl $1, 0x10\n"
    "ret\n"
    ".cfi_endproc\n"
    ".size frameBelowItself, . - frameBelowItself\n");
extern "C" void frameBelowItself();
#endif

void report(zel::String const& text)
{
    zel::OStream::out() << "report: " << text << "after the report" << zel::endl;
}

void setUp() { zel::FaultHandler::install(kStatus, report); }

} // namespace

TEST(FaultHandler, reportsEverySignalAndEndsWithItsStatus)
{
    struct
    {
        void (*fault)();
        char const* text;
        char const* function; // in the first lines of the trace
    } const cases[] = {
        {readBadAddress, "SIGSEGV (invalid memory reference), code SEGV_MAPERR, address 0x10\n",
         "readBadAddress()"},
        {divideByZero, "SIGFPE (arithmetic error), code FPE_INTDIV, address 0x", "divideByZero()"},
        {illegalInstruction, "SIGILL (illegal instruction), code ILL_ILLOPN, address 0x",
         "illegalInstruction()"},
        {touchBeyondFile, "SIGBUS (bus error), code BUS_ADRERR, address 0x", "touchBeyondFile()"},
        {signalItself, "SIGFPE (arithmetic error), code SI_USER, sent by process ", "signalItself()"},
        {abortProcess, "SIGABRT (abnormal termination), code SI_TKILL, sent by process ", "abortProcess()"},
        {leaveException, "SIGABRT (abnormal termination), code SI_TKILL, sent by process ",
         "leaveException()"},
        {callBadAddress, "SIGSEGV (invalid memory reference), code SEGV_MAPERR, address 0x10\n",
         "callBadAddress()"},
        {overflowStack, "SIGSEGV (invalid memory reference), code SEGV_", "exhaustStack(int)"},
    };
    for (auto const& c : cases) {
        auto const outcome = runInChild([&] {
            setUp();
            c.fault();
        });
        EXPECT_EQ(outcome.status, kStatus) << c.text << outcome.signal;
        std::string const& out = outcome.output;
        EXPECT_NE(out.find(std::string("report: Structured system exception: ") + c.text), std::string::npos)
            << c.function << out;
        std::size_t const trace = out.find("\nStack Trace:\n  #0 ");
        ASSERT_NE(trace, std::string::npos) << out;
        EXPECT_LT(out.find(c.function, trace), out.size()) << out;
        EXPECT_EQ(out.find("handleFault", trace), std::string::npos) << out;
        EXPECT_EQ(out.find(" [0xffff", trace), std::string::npos) << out;
        EXPECT_NE(out.find("after the report\n"), std::string::npos) << out;
    }
}

TEST(FaultHandler, startsItsTraceAtTheFaultingFunction)
{
    auto const outcome = runInChild([] {
        setUp();
        readBadAddress();
    });
    std::size_t const first = outcome.output.find("  #0 ");
    ASSERT_NE(first, std::string::npos);
    std::string const line = outcome.output.substr(first, outcome.output.find('\n', first) - first);
    EXPECT_NE(line.find("readBadAddress()"), std::string::npos) << line;
}

TEST(FaultHandler, tellsAFrameThatRepeatsForEverOnce)
{
#if defined(__x86_64__)
    auto const outcome = runInChild([] {
        setUp();
        frameBelowItself();
    });
    EXPECT_EQ(outcome.status, kStatus);
    std::size_t const frames = occurrences(outcome.output, "\n  #");
    EXPECT_TRUE(frames >= 1 && frames <= 3) << outcome.output;
#endif
}

TEST(FaultHandler, reportsFaultsOfOtherThreads)
{
    void (*const faults[])() = {readBadAddress, overflowStack};
    for (auto const fault : faults) {
        auto const outcome = runInChild([&] {
            setUp();
            std::thread([&] {
                zel::FaultHandler::prepareThread();
                fault();
            }).join();
        });
        EXPECT_EQ(outcome.status, kStatus);
        EXPECT_EQ(occurrences(outcome.output, "after the report\n"), 1u) << outcome.output;
    }
    auto const both = runInChild([] {
        setUp();
        std::thread first(readBadAddress), second(readBadAddress);
        first.join();
        second.join();
    });
    EXPECT_EQ(both.status, kStatus);
    EXPECT_EQ(occurrences(both.output, "after the report\n"), 1u) << both.output;
}

TEST(FaultHandler, writesTheLogFileFirst)
{
    test::TemporaryFolder const folder;
    auto const outcome = runInChild([&] {
        zel::LogFactory::createDefaultFileAppender(folder.path("a.log"));
        zel::FaultHandler::install(kStatus, [](zel::String const&) {
            zel::OStream::out() << "log: " << zel::LogFactory::currentFile().c_str() << zel::endl;
        });
        readBadAddress();
    });
    EXPECT_EQ(outcome.status, kStatus);
    std::string const report =
        "\nlog: " + folder.path("a.log") + "\n"; // a sanitizer may add a line of its own
    EXPECT_NE(outcome.output.find(report), std::string::npos) << outcome.output;
    EXPECT_EQ(folder.read("a.log"), "Structured system exception: SIGSEGV (invalid memory reference)\n");
}

TEST(FaultHandler, aReportThatFaultsHangsOrThrowsStillEndsTheProcess)
{
    zel::FaultHandler::Report const reports[] = {
        [](zel::String const&) { readBadAddress(); },
        [](zel::String const&) { abortProcess(); },
        [](zel::String const&) { throw std::runtime_error("not now"); },
        // A lock that the faulting code held: the deadline ends the wait.
        [](zel::String const&) {
            for (;;)
                ::pause();
        },
    };
    for (auto const& failing : reports) {
        auto const outcome = runInChild([&] {
            zel::FaultHandler::install(kStatus, failing);
            readBadAddress();
        });
        EXPECT_EQ(outcome.status, kStatus) << outcome.signal;
        EXPECT_EQ(
            occurrences(outcome.output, "Structured system exception: SIGSEGV (invalid memory reference)\n"),
            1u)
            << outcome.output;
    }
}

// Not under the thread sanitizer, whose own siglongjmp does not survive the lost stack.
#if defined(__x86_64__) && !defined(__SANITIZE_THREAD__)
TEST(FaultHandler, reportsAlsoWhenTheStackIsLost)
{
    auto const outcome = runInChild([] {
        setUp();
        loseStack();
    });
    EXPECT_EQ(outcome.status, kStatus);
    EXPECT_NE(outcome.output.find("Stack Trace:\n  #0 (anonymous namespace)::loseStack()"), std::string::npos)
        << outcome.output;
    EXPECT_NE(outcome.output.find("after the report\n"), std::string::npos) << outcome.output;
}
#endif

TEST(FaultHandler, needsNoStandardErrorAndNoReport)
{
    auto const outcome = runInChild([] {
        zel::FaultHandler::install(kStatus, nullptr);
        ::close(STDERR_FILENO);
        readBadAddress();
    });
    EXPECT_EQ(outcome.status, kStatus);
}
