#pragma once
// What a signal interrupted, per processor. Internal to the foundation.

#include <csignal>
#include <cstdint>
#include <ucontext.h>

namespace zel::machine {

/// Address of the interrupted instruction; 0 where the processor is not known here.
inline std::uintptr_t programCounter(ucontext_t const& context) noexcept
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

/// Puts a thread that jumped to a bad address back to where that call would have returned: there is no code
/// to unwind from at the bad address. Faults when the stack pointer is bad as well.
inline void returnToCaller(ucontext_t& context) noexcept
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

/// Lets the thread go on in `function` at the end of the given stack, with an ordinary frame that has no
/// caller, once the signal handler returns. False where the processor is not known here.
inline bool continueIn(ucontext_t& context, void (*function)(), char* stackEnd) noexcept
{
    [[maybe_unused]] auto const entry = reinterpret_cast<std::uintptr_t>(function);
    [[maybe_unused]] auto const top = reinterpret_cast<std::uintptr_t>(stackEnd) & ~std::uintptr_t{15};
#if defined(__x86_64__)
    // System V ABI, AMD64 supplement 3.2.2 and 3.2.3: 16-byte alignment before the return address is pushed,
    // direction flag (bit 10) clear.
    auto& registers = context.uc_mcontext.gregs;
    auto* const returnAddress = reinterpret_cast<std::uintptr_t*>(top - 24);
    *returnAddress = 0;
    registers[REG_RIP] = static_cast<greg_t>(entry);
    registers[REG_RSP] = static_cast<greg_t>(top - 24);
    registers[REG_RBP] = 0;
    registers[REG_EFL] &= ~greg_t{0x400};
    return true;
#elif defined(__aarch64__)
    context.uc_mcontext.pc = entry;
    context.uc_mcontext.sp = top;
    context.uc_mcontext.regs[29] = 0;
    context.uc_mcontext.regs[30] = 0;
    return true;
#else
    (void)context;
    return false;
#endif
}

} // namespace zel::machine
