#pragma once
// Names of fault signals. Internal to the foundation.

#include <csignal>
#include <span>
#include <string>

namespace zel {

struct FaultSignal
{
    int number;
    char const* name;
    char const* meaning;
};

/// The signals that count as faults.
std::span<FaultSignal const> faultSignals() noexcept;
/// REQUIRES: `number` is one of them. May be called in a signal handler.
FaultSignal const& faultSignal(int number) noexcept;
/// "Structured system exception: SIGSEGV (invalid memory reference), code SEGV_MAPERR, address 0x0"; for a
/// signal that a program sent, "sent by process {id}" in place of the address.
std::string faultText(siginfo_t const& info);

} // namespace zel
