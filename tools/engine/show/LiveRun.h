#pragma once
// A run on its way, and the line that shows it. Plain values, pure functions.

#include <engine/report/Records.h>

#include <chrono>
#include <cstddef>
#include <string>

namespace engine {

using Moment = std::chrono::steady_clock::time_point;

struct LiveRun
{
    RunId run = 0;
    std::string title; ///< "storage: Read all blocks on ACME Drive (/dev/sda)"; harmless
    Moment began;
    unsigned forSeconds = 0; ///< it goes on for this long; 0: once
    int percent = -1;        ///< -1: not known yet
    unsigned pass = 1;
    unsigned secondsLeft = 0; ///< as it said at `leftAt`; 0: it has not said
    Moment leftAt;
    std::string text; ///< what it is doing; harmless
};

/// What is known of the time that it still needs, its own word first: "0:42 left"; empty when nothing is.
std::string timeLeft(LiveRun const& run, Moment now);
/// Title, bar, percent, time, time left, pass and text, as much of it as fits; the title is cut before the others go.
std::string liveLine(LiveRun const& run, Moment now, std::size_t columns);
/// The same for who reads line after line.
std::string plainLine(LiveRun const& run, Moment now);

} // namespace engine
