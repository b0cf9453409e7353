// A fault passes three places: the signal handler on the thread's alternate stack, which calls nothing but
// the kernel and the unwinder; then `reportAndEnd` on a stack of its own, in ordinary program context; then the
// end of the process. A deadline started in the handler holds for all of it.

#include <zel/foundation/FaultHandler.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/StackTrace.h>
#include <zel/foundation/linux/FaultText.h>
#include <zel/foundation/linux/FileDescriptor.h>
#include <zel/foundation/linux/GuardedStack.h>
#include <zel/foundation/linux/MachineContext.h>

#include <algorithm>
#include <atomic>
#include <csetjmp>
#include <cstring>
#include <new>
#include <pthread.h>
#include <unwind.h>

namespace zel {
namespace {

constexpr std::size_t kAlternateStack = 128u << 10;
constexpr std::size_t kReportStack = 1u << 20; // reading debug information and the report of module code
constexpr unsigned kSecondsToReport = 5;
constexpr int kMostFrames = 128;

struct Frames
{
    void* badTarget = nullptr; // called or jumped to, not code
    bool hasBadTarget = false;
    void* addresses[kMostFrames];
    int first = 0;
    int count = 0;
    _Unwind_Word last = 0; // frame of the last address
};

int s_exitStatus = 1;
FaultHandler::Report s_report = nullptr;
std::atomic<pid_t> s_faultingThread{0};

// Of the one fault that is reported; written by the thread that claimed the report.
siginfo_t s_info;
Frames s_frames;
sigjmp_buf s_unwindingFailed;
std::sig_atomic_t volatile s_unwinding = 0;

void writeBoth(char const* text) noexcept
{
    std::size_t written = 0;
    writeAll(STDERR_FILENO, text, std::strlen(text), written, false);
    LogFactory::writeInSignalHandler(text);
}

// Nothing but system calls: the fault may have happened with the allocator's or a stream's lock held.
void writeMinimalLine(FaultSignal const& signal) noexcept
{
    char line[128] = "Structured system exception: ";
    std::strcat(line, signal.name);
    std::strcat(line, " (");
    std::strcat(line, signal.meaning);
    std::strcat(line, ")\n");
    writeBoth(line);
}

// The C library's backtrace() loads the unwinder when it is first called, and that allocates; this library is
// linked with it. In a damaged stack one frame may repeat for ever.
_Unwind_Reason_Code addFrame(_Unwind_Context* context, void*) noexcept
{
    void* const address = reinterpret_cast<void*>(_Unwind_GetIP(context));
    _Unwind_Word const frame = _Unwind_GetCFA(context);
    bool const repeats =
        s_frames.count > 0 && s_frames.addresses[s_frames.count - 1] == address && s_frames.last == frame;
    if (!address || repeats)
        return _URC_END_OF_STACK;
    s_frames.addresses[s_frames.count++] = address;
    s_frames.last = frame;
    return s_frames.count < kMostFrames ? _URC_NO_REASON : _URC_END_OF_STACK;
}

void collectFrames(ucontext_t& context) noexcept
{
    if (s_info.si_signo == SIGSEGV && s_info.si_code > 0 &&
        reinterpret_cast<std::uintptr_t>(s_info.si_addr) == machine::programCounter(context)) {
        s_frames.hasBadTarget = true;
        s_frames.badTarget = s_info.si_addr;
        machine::returnToCaller(context);
    }
    _Unwind_Backtrace(addFrame, nullptr);
}

// Leaves out the handler's own frames: the frame that the signal interrupted has exactly its program
// counter, which is known also where the unwinder did not get as far.
void beginWithInterruptedFrame(ucontext_t const& context) noexcept
{
    auto* const interrupted = reinterpret_cast<void*>(machine::programCounter(context));
    auto* const end = s_frames.addresses + s_frames.count;
    auto const* const found = std::find(s_frames.addresses, end, interrupted);
    if (found != end) {
        s_frames.first = static_cast<int>(found - s_frames.addresses);
    } else if (interrupted || s_frames.count == 0) { // else the processor is not known, and all frames stay
        s_frames.addresses[0] = interrupted;
        s_frames.count = s_frames.hasBadTarget ? 0 : 1;
    }
}

// Unwinding a damaged stack may fault in turn; the report then goes out with what is known.
void collectFramesGuarded(ucontext_t& context) noexcept
{
    if (sigsetjmp(s_unwindingFailed, 1) == 0) {
        s_unwinding = 1;
        collectFrames(context);
    }
    s_unwinding = 0;
    beginWithInterruptedFrame(context);
}

StackTrace trace()
{
    std::vector<void*> addresses;
    if (s_frames.hasBadTarget)
        addresses.push_back(s_frames.badTarget);
    // The interrupted instruction is no return address; all others are, and lie behind their call.
    for (int i = s_frames.first; i < s_frames.count; ++i)
        addresses.push_back(static_cast<char*>(s_frames.addresses[i]) - (addresses.empty() ? 0 : 1));
    return StackTrace(std::move(addresses));
}

void reportAndEnd()
{
    try {
        String text(faultText(s_info));
        text += String("\nStack Trace:\n") + trace().toString();
        if (s_report)
            s_report(text);
    } catch (...) {
        writeBoth("The fault could not be reported in full.\n");
    }
    ::_exit(s_exitStatus);
}

void endProcess(int) { ::_exit(s_exitStatus); }

void startDeadline(ucontext_t& context) noexcept
{
    struct sigaction action = {};
    action.sa_handler = endProcess;
    ::sigaction(SIGALRM, &action, nullptr);
    sigset_t alarmOnly;
    sigemptyset(&alarmOnly);
    sigaddset(&alarmOnly, SIGALRM);
    ::pthread_sigmask(SIG_UNBLOCK, &alarmOnly, nullptr);
    sigdelset(&context.uc_sigmask, SIGALRM);
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

void handleFault(int number, siginfo_t* info, void* interrupted)
{
    claimReport();
    auto& context = *static_cast<ucontext_t*>(interrupted);
    startDeadline(context);
    writeMinimalLine(faultSignal(number));
    s_info = *info;
    collectFramesGuarded(context);
    // Taken now, by a system call: a process that never faults, as nearly all, need not have it from its start.
    // Where there is none left, the report goes on here, on the smaller stack.
    alignas(GuardedStack) static std::byte s_memory[sizeof(GuardedStack)];
    auto const& stack = *new (s_memory) GuardedStack(kReportStack); // never freed: what follows stands on it
    if (stack.empty() || !machine::continueIn(context, reportAndEnd, stack.end()))
        reportAndEnd();
}

/// The alternate stack of one thread.
class AlternateStack
{
public:
    AlternateStack()
    {
        stack_t stack = {};
        stack.ss_sp = m_memory.begin();
        stack.ss_size = m_memory.size();
        m_previous.ss_flags = SS_DISABLE; // what stays where there is no memory
        if (!m_memory.empty())
            ::sigaltstack(&stack, &m_previous);
    }
    ~AlternateStack() { ::sigaltstack(&m_previous, nullptr); }
    AlternateStack(AlternateStack const&) = delete;
    AlternateStack& operator=(AlternateStack const&) = delete;

private:
    GuardedStack m_memory{kAlternateStack};
    stack_t m_previous = {};
};

} // namespace

void FaultHandler::prepareThread() { thread_local AlternateStack t_stack; }

void FaultHandler::install(int exitStatus, Report report)
{
    s_exitStatus = exitStatus;
    s_report = report;
    prepareThread();
    struct sigaction action = {};
    action.sa_sigaction = handleFault;
    // SA_NODEFER: a fault of the report must reach the handler, not the kernel's default action.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    for (FaultSignal const& signal : faultSignals())
        ::sigaction(signal.number, &action, nullptr);
}

} // namespace zel
