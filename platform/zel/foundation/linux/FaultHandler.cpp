#include <zel/foundation/FaultHandler.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/StackTrace.h>
#include <zel/foundation/System.h>
#include <zel/foundation/linux/FileDescriptor.h>

#include <atomic>
#include <csetjmp>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <execinfo.h>
#include <iterator>
#include <pthread.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

namespace zel {
namespace {

constexpr std::size_t kAlternateStack = 512u << 10; // rendering names needs far more than SIGSTKSZ
constexpr unsigned kSecondsToReport = 5;
constexpr int kMostFrames = 128;

int s_exitStatus = 1;
FaultHandler::Report s_report = nullptr;
std::atomic<pid_t> s_faultingThread{0};

struct SignalName
{
    int number;
    char const* name;
    char const* meaning;
};
constexpr SignalName kSignals[] = {
    {SIGSEGV, "SIGSEGV", "invalid memory reference"}, {SIGBUS, "SIGBUS", "bus error"},
    {SIGFPE, "SIGFPE", "arithmetic error"},           {SIGILL, "SIGILL", "illegal instruction"},
    {SIGABRT, "SIGABRT", "abnormal termination"},
};

struct CodeName
{
    int signal; // 0: any
    int code;
    char const* name;
};
constexpr CodeName kCodes[] = {
    {SIGSEGV, SEGV_MAPERR, "SEGV_MAPERR"},
    {SIGSEGV, SEGV_ACCERR, "SEGV_ACCERR"},
    {SIGSEGV, SEGV_BNDERR, "SEGV_BNDERR"},
    {SIGSEGV, SEGV_PKUERR, "SEGV_PKUERR"},
    {SIGBUS, BUS_ADRALN, "BUS_ADRALN"},
    {SIGBUS, BUS_ADRERR, "BUS_ADRERR"},
    {SIGBUS, BUS_OBJERR, "BUS_OBJERR"},
    {SIGBUS, BUS_MCEERR_AR, "BUS_MCEERR_AR"},
    {SIGFPE, FPE_INTDIV, "FPE_INTDIV"},
    {SIGFPE, FPE_INTOVF, "FPE_INTOVF"},
    {SIGFPE, FPE_FLTDIV, "FPE_FLTDIV"},
    {SIGFPE, FPE_FLTOVF, "FPE_FLTOVF"},
    {SIGFPE, FPE_FLTUND, "FPE_FLTUND"},
    {SIGFPE, FPE_FLTRES, "FPE_FLTRES"},
    {SIGFPE, FPE_FLTINV, "FPE_FLTINV"},
    {SIGILL, ILL_ILLOPC, "ILL_ILLOPC"},
    {SIGILL, ILL_ILLOPN, "ILL_ILLOPN"},
    {SIGILL, ILL_PRVOPC, "ILL_PRVOPC"},
    {0, SI_USER, "SI_USER"},
    {0, SI_QUEUE, "SI_QUEUE"},
    {0, SI_TKILL, "SI_TKILL"},
    {0, SI_KERNEL, "SI_KERNEL"},
};

SignalName const& nameOf(int signal) noexcept
{
    for (SignalName const& entry : kSignals)
        if (entry.number == signal)
            return entry;
    return kSignals[0];
}

char const* codeOf(int signal, int code) noexcept
{
    for (CodeName const& entry : kCodes)
        if ((entry.signal == 0 || entry.signal == signal) && entry.code == code)
            return entry.name;
    return nullptr;
}

void writeBoth(char const* text) noexcept
{
    std::size_t written = 0;
    writeAll(STDERR_FILENO, text, std::strlen(text), written, false);
    int const log = LogFactory::descriptorForSignalHandler();
    if (log >= 0)
        writeAll(log, text, std::strlen(text), written, false);
}

// Nothing but write(2): the fault may have happened with the allocator's or a stream's lock held.
void writeMinimalLine(SignalName const& signal) noexcept
{
    char line[128] = "Structured system exception: ";
    std::strcat(line, signal.name);
    std::strcat(line, " (");
    std::strcat(line, signal.meaning);
    std::strcat(line, ")\n");
    writeBoth(line);
}

std::uintptr_t programCounter(ucontext_t const& context) noexcept
{
#if defined(__x86_64__)
    return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[REG_RIP]);
#elif defined(__aarch64__)
    return static_cast<std::uintptr_t>(context.uc_mcontext.pc);
#else
    (void)context;
    return 0;
#endif
}

// A call through a bad pointer leaves no code to unwind from. Puts the thread back to where that call would
// have returned, so that the trace goes on with the caller.
void returnToCaller(ucontext_t& context) noexcept
{
#if defined(__x86_64__)
    auto& registers = context.uc_mcontext.gregs;
    registers[REG_RIP] = *reinterpret_cast<greg_t const*>(registers[REG_RSP]);
    registers[REG_RSP] += static_cast<greg_t>(sizeof(greg_t));
#elif defined(__aarch64__)
    context.uc_mcontext.pc = context.uc_mcontext.regs[30];
#else
    (void)context;
#endif
}

struct Frames
{
    void* badTarget = nullptr; // called or jumped to, not code
    bool hasBadTarget = false;
    void* addresses[kMostFrames];
    int first = 0;
    int count = 0;
};

// Leaves out the handler's own frames: the frame that the signal interrupted has exactly its program counter.
void collectFrames(Frames& frames, siginfo_t const& info, ucontext_t& context) noexcept
{
    if (info.si_signo == SIGSEGV && info.si_code > 0 &&
        reinterpret_cast<std::uintptr_t>(info.si_addr) == programCounter(context)) {
        frames.hasBadTarget = true;
        frames.badTarget = info.si_addr;
        returnToCaller(context);
    }
    frames.count = ::backtrace(frames.addresses, kMostFrames);
    for (int i = frames.count - 1; i >= 0; --i)
        if (reinterpret_cast<std::uintptr_t>(frames.addresses[i]) == programCounter(context))
            frames.first = i;
}

// Unwinding a damaged stack may fault in turn; the report then goes out with what is known.
sigjmp_buf s_unwindingFailed;
std::sig_atomic_t volatile s_unwinding = 0;

void collectFramesGuarded(Frames& frames, siginfo_t const& info, ucontext_t& context) noexcept
{
    if (sigsetjmp(s_unwindingFailed, 1) == 0) {
        s_unwinding = 1;
        collectFrames(frames, info, context);
    }
    s_unwinding = 0;
    if (frames.count == 0 && !frames.hasBadTarget) {
        frames.addresses[0] = reinterpret_cast<void*>(programCounter(context));
        frames.count = 1;
    }
}

StackTrace traceOf(Frames const& frames)
{
    std::vector<void*> addresses;
    if (frames.hasBadTarget)
        addresses.push_back(frames.badTarget);
    // The interrupted instruction is no return address; all others are, and lie behind their call.
    for (int i = frames.first; i < frames.count; ++i)
        addresses.push_back(static_cast<char*>(frames.addresses[i]) - (addresses.empty() ? 0 : 1));
    return StackTrace(std::move(addresses));
}

std::string describe(SignalName const& signal, siginfo_t const& info)
{
    std::string text =
        std::string("Structured system exception: ") + signal.name + " (" + signal.meaning + ")";
    char const* code = codeOf(info.si_signo, info.si_code);
    text += ", code " + (code ? std::string(code) : std::to_string(info.si_code));
    if (info.si_code <= 0) // sent by a program, so there is no address
        return text + ", sent by process " + std::to_string(info.si_pid);
    char address[32];
    std::snprintf(address, sizeof address, "0x%llx",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(info.si_addr)));
    return text + ", address " + address;
}

void endProcess(int) { ::_exit(s_exitStatus); }

void startDeadline() noexcept
{
    struct sigaction action = {};
    action.sa_handler = endProcess;
    ::sigaction(SIGALRM, &action, nullptr);
    sigset_t alarmOnly;
    sigemptyset(&alarmOnly);
    sigaddset(&alarmOnly, SIGALRM);
    ::pthread_sigmask(SIG_UNBLOCK, &alarmOnly, nullptr);
    ::alarm(kSecondsToReport);
}

// The first thread that comes here reports. A fault of its report ends the process; the fault of another
// thread meanwhile must not cut the report short, so that thread waits for the end.
void claimReport() noexcept
{
    pid_t nobody = 0;
    pid_t const self = ::gettid();
    if (s_faultingThread.compare_exchange_strong(nobody, self))
        return;
    if (nobody == self && s_unwinding)
        siglongjmp(s_unwindingFailed, 1);
    if (nobody == self)
        ::_exit(s_exitStatus);
    for (;;)
        ::pause();
}

void handleFault(int number, siginfo_t* info, void* context)
{
    claimReport();
    startDeadline();
    SignalName const& signal = nameOf(number);
    writeMinimalLine(signal);
    try {
        Frames frames;
        collectFramesGuarded(frames, *info, *static_cast<ucontext_t*>(context));
        String text(describe(signal, *info));
        text += String("\nStack Trace:\n") + traceOf(frames).toString();
        if (s_report)
            s_report(text);
    } catch (...) {
        writeBoth("The fault could not be reported in full.\n");
    }
    ::_exit(s_exitStatus);
}

/// The alternate stack of one thread, with a page below it that stops an overflow.
class AlternateStack
{
public:
    AlternateStack()
    {
        std::size_t const page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        m_size = kAlternateStack + page;
        m_memory =
            ::mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
        if (m_memory == MAP_FAILED)
            return;
        ::mprotect(m_memory, page, PROT_NONE);
        stack_t stack = {};
        stack.ss_sp = static_cast<char*>(m_memory) + page;
        stack.ss_size = kAlternateStack;
        ::sigaltstack(&stack, &m_previous);
    }
    ~AlternateStack()
    {
        if (m_memory == MAP_FAILED)
            return;
        ::sigaltstack(&m_previous, nullptr);
        ::munmap(m_memory, m_size);
    }
    AlternateStack(AlternateStack const&) = delete;
    AlternateStack& operator=(AlternateStack const&) = delete;

private:
    void* m_memory = MAP_FAILED;
    std::size_t m_size = 0;
    stack_t m_previous = {};
};

} // namespace

void FaultHandler::prepareThread() { thread_local AlternateStack t_stack; }

void FaultHandler::install(int exitStatus, Report report)
{
    s_exitStatus = exitStatus;
    s_report = report;
    void* address = nullptr;
    ::backtrace(&address, 1); // the first call loads the unwinder, which a handler must not do
    prepareThread();
    struct sigaction action = {};
    action.sa_sigaction = handleFault;
    // SA_NODEFER: a fault of the report must reach the handler, not the kernel's default action.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    for (SignalName const& signal : kSignals)
        ::sigaction(signal.number, &action, nullptr);
}

} // namespace zel
