#include <zel/foundation/linux/FaultText.h>

#include <cstdint>
#include <cstdio>

namespace zel {
namespace {

constexpr FaultSignal kSignals[] = {
    {SIGSEGV, "SIGSEGV", "invalid memory reference"},
    {SIGBUS, "SIGBUS", "bus error"},
    {SIGFPE, "SIGFPE", "arithmetic error"},
    {SIGILL, "SIGILL", "illegal instruction"},
    {SIGABRT, "SIGABRT", "abnormal termination"},
    {SIGTRAP, "SIGTRAP", "trap"},
    {SIGSYS, "SIGSYS", "bad system call"},
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

std::string codeText(int signal, int code)
{
    for (CodeName const& entry : kCodes)
        if ((entry.signal == 0 || entry.signal == signal) && entry.code == code)
            return entry.name;
    return std::to_string(code);
}

} // namespace

std::span<FaultSignal const> faultSignals() noexcept { return kSignals; }

FaultSignal const& faultSignal(int number) noexcept
{
    for (FaultSignal const& entry : kSignals)
        if (entry.number == number)
            return entry;
    return kSignals[0];
}

std::string faultText(siginfo_t const& info)
{
    FaultSignal const& signal = faultSignal(info.si_signo);
    std::string text =
        std::string("Structured system exception: ") + signal.name + " (" + signal.meaning + ")";
    text += ", code " + codeText(info.si_signo, info.si_code);
    if (info.si_code <= 0)
        return text + ", sent by process " + std::to_string(info.si_pid);
    char address[32];
    std::snprintf(address, sizeof address, "0x%llx",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(info.si_addr)));
    return text + ", address " + address;
}

} // namespace zel
