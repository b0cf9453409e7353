#pragma once
// The socket between engine and modules, and who is at its other end.

#include <zel/foundation/Logger.h>
#include <zel/foundation/linux/FileDescriptor.h>

#include <chrono>
#include <cstdint>
#include <set>
#include <string>

namespace zel {

/// Category "zel.ipc".
Logger& linkLogger();

/// A socket that listens, in a folder that nobody else may enter.
class ListeningSocket
{
public:
    /// Throws IPCException naming what could not be made.
    ListeningSocket();

    int descriptor() const noexcept { return m_socket.number(); }
    std::string const& path() const noexcept { return m_path; }
    void remove() noexcept;

private:
    FileDescriptor m_socket;
    std::string m_path;
};

/// Of a socket that listened, and the folder around it, if that is one of ours and empty then.
void removeSocket(std::string const& path) noexcept;

/// Removes sockets of this user's at which nobody listens any more, but `used` and what is new: an engine that died before it had
/// a login area left one.
void removeStaleSockets(std::set<std::string> const& used);

/// Connected, and not blocking. Throws IPCException when nobody listens, or could answer in time.
FileDescriptor connectTo(std::string const& path, std::chrono::steady_clock::time_point until);

/// The process that made the connection, or that listened for it, as it was then.
struct PeerIdentity
{
    std::int64_t process = 0; ///< 0: not visible from here
    std::int64_t user = -1;   ///< effective
};
PeerIdentity peerOf(int socket) noexcept;
/// Root, or the user of this process.
bool isTrusted(PeerIdentity const& peer) noexcept;

} // namespace zel
