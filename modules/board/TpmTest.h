#pragma once
// The TPM tests itself: TPM2_SelfTest and TPM2_GetTestResult (Trusted Platform Module Library, part 3: Commands, 10.2 and 10.4), or
// TPM_SelfTestFull and TPM_GetTestResult of version 1.2 (TPM Main, part 3, 4.1 and 4.3).
//
//     Outcome outcome = runTpmTest(host, systemTpm(machine));
//
// Thread rule: as for TestHost.

#include <common/TestHost.h>
#include <common/evidence/MachineFolder.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace krel5::modules::board {

struct Tpm
{
    int version = 0; ///< 1 or 2; 0: there is none
    int error = 0;   ///< errno value of a TPM that is there and could not be opened
    /// Sends a command. 0 or an errno value.
    std::function<int(std::span<std::uint8_t const>)> send;
    /// Waits for at most 50 ms. Nothing while there is no answer; 0, or an errno value.
    std::function<std::optional<int>(std::vector<std::uint8_t>&)> receive;
    std::function<double()> now; ///< seconds, on a clock that never goes back
};

/// That of the running machine.
Tpm systemTpm(MachineFolder const& machine);
/// The one behind a device file. Letting go of it returns at once, even while the TPM is busy.
Tpm tpmAt(char const* path, int version);

constexpr double kTpmSeconds = 60; ///< for one answer, and for a self-test that goes on behind it

/// Faults: "BoardTpmFailed" (Code) says the TPM of itself; "BoardTpmNonsense" (Answer), "BoardTpmSilent" (Seconds), "BoardTpmBroken" (Reason). Problems: "BoardTpmNone",
/// "BoardTpmRefused" (Reason), "BoardTpmCode" (Code) for an answer that says nothing of its health. Notes: "BoardTpmWell" (Version).
Outcome runTpmTest(TestHost& host, Tpm const& tpm);

} // namespace krel5::modules::board
