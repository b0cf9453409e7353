#pragma once

#include <zel/foundation/StackTrace.h>

namespace krel5 {

/// The rendered trace that `takeTrace(framesToSkip)` gives, or, when taking or rendering it throws anything,
/// a fixed text instead: describing one failure never turns it into another.
zel::String stackTraceText(zel::StackTrace (*takeTrace)(unsigned), unsigned framesToSkip);

} // namespace krel5
