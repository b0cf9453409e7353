#pragma once
// A screen of what is read: a pure function of the readings and the size of the terminal.

#include <engine/watch/Readings.h>

#include <cstddef>
#include <string>

namespace engine {

struct TableForm
{
    std::size_t columns = 80, rows = 24;
    bool isUnicode = true; ///< the terminal shows more than ASCII
    bool isColored = false;
    std::string head{}; ///< the first line: what is watched, and how to end it
};

/// Lines without line ends, at most `rows`, none wider than `columns`; texts are harmless.
std::vector<std::string> watchTable(Readings::Snapshot const& all, TableForm const& form, Time now);

/// The history as a row of marks, the newest at the right: as many as there are values, `width` at most.
std::string sparkline(History const& history, std::size_t width, bool isUnicode);

} // namespace engine
