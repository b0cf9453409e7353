#pragma once
// A whole text through a pipe, in pieces as large as the kernel allows, and without ever being stuck in it.

#include <cstddef>
#include <string>
#include <string_view>

namespace zel {

/// Asked while the peer lets us wait, every tenth of a second; true gives up. Null: wait for ever.
using StopWaiting = bool (*)();

/// Replaces `content` by everything up to the pipe's end. Returns 0 or an errno value, and then `content` is of no
/// use: EFBIG beyond `limit` bytes, ECANCELED when it was stopped, ENOMEM without memory.
int readPipe(int descriptor, std::string& content, std::size_t limit, StopWaiting stop);

/// Writes everything; `written` counts what went out. Returns 0 or an errno value: EPIPE when nobody reads any
/// more, ECANCELED when it was stopped. Without `stop` a pipe keeps the mode that it has; with it, it is
/// non-blocking for the time of the call, for whoever shares it, and so is a socket.
int writePipe(int descriptor, std::string_view bytes, std::size_t& written, StopWaiting stop);

} // namespace zel
