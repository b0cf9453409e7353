#pragma once
// Random numbers of the hardware, by the two health tests of NIST SP 800-90B that find a source that has failed: the repetition count
// test (4.4.1) and the adaptive proportion test (4.4.2), over bytes; and by a search for a cycle, since a source that gives the same eight
// different bytes for ever passes both. They are to find what is broken, and say nothing of how good a source is.
//
//     Outcome outcome = runNoiseTest(host, systemNoise(), NoiseSettings{});
//
// Thread rule: as for TestHost.

#include <common/TestHost.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace krel5::modules::board {

struct NoiseSource
{
    enum class State { Some, Later, Failed };
    struct Reading
    {
        State state = State::Some;
        std::size_t bytes = 0;
        std::string reason = {}; ///< of Failed
    };
    std::string name; ///< "RDRAND", "/dev/hwrng"
    int error = 0;    ///< errno value of one that is there and could not be opened; it has no `read` then
    /// Fills the beginning; returns within 50 ms, with Later where nothing came in that time.
    std::function<Reading(std::span<std::uint8_t>)> read = nullptr;
};

/// Those of the running machine.
std::vector<NoiseSource> systemNoise();

struct NoiseSettings
{
    std::size_t bytes = std::size_t{1} << 20; ///< of each source
    double seconds = 10;                      ///< for each source at most; what came until then is judged
    unsigned entropy = 4;                     ///< bits that a byte holds at least, 1 to 8
};

/// How often one byte may come in a row, and in a window of kNoiseWindow: more has a chance of less than 2^-40 with a source of that
/// entropy.
constexpr unsigned kNoiseWindow = 512;
unsigned mostInARow(unsigned entropy);
unsigned mostInAWindow(unsigned entropy);

/// Faults: "BoardNoiseRepeats" (Source, Byte, Most), "BoardNoiseUneven" (Source, Byte, Most, Window), "BoardNoiseCycle" (Source, Bytes),
/// "BoardNoiseFails" (Source, Reason). Problems: "BoardNoiseNone"; "BoardNoiseSlow" (Source, Bytes) where too little came; "BoardNoiseRefused" (Source, Reason). Notes: "BoardNoise" (Source, Bytes).
Outcome runNoiseTest(TestHost& host, std::vector<NoiseSource> const& sources, NoiseSettings const& settings);

} // namespace krel5::modules::board
