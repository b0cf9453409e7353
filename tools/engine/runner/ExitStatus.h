#pragma once

#include <engine/report/Verdict.h>

namespace engine {

/// Of the process: the value of the result that stands for all in the table of results, docs/exit-codes.md.
int exitStatusOf(Grade grade);

} // namespace engine
