#pragma once

namespace krel5 {

class CommInterface;

/// The backend's link to the outside for one action: open from construction to destruction. An exception leaves it open, so
/// that the other side hears of the error first: whoever handles that closes it, at last the next connection. One at a
/// time. Thread rule: main thread.
class Connection
{
public:
    /// Opens. A failure is logged and told; then isOpen() is false, and there is nothing to close.
    explicit Connection(CommInterface& comm);
    ~Connection();
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    static bool isOpen() noexcept;
    /// Closes what is open, if anything; an exception from the backend is logged. For the ways out that run no
    /// destructor, and before the exit step. Not called for a fault or from a terminate handler: the backend
    /// may be in the middle of anything then.
    static void close() noexcept;

private:
    int m_exceptions; // on their way when it was made
};

} // namespace krel5
