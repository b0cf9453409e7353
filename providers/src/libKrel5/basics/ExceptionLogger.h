#pragma once

#include <zel/foundation/Logger.h>

namespace krel5 {

/// The logger of the exception category; made on first use.
zel::Logger& exceptionLogger();

} // namespace krel5
