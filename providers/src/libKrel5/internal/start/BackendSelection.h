#pragma once

#include <libKrel5/internal/backends/CommInterface.h>

#include <memory>

namespace krel5 {

struct BackendSelection
{
    /// The backend that the command line asks for; the first row of the table whose option is set wins, the
    /// console runner when none is. Null, after a message on standard error and in the log, when that backend
    /// is not for this kind of module.
    static std::unique_ptr<CommInterface> choose();
};

} // namespace krel5
