#pragma once
// One page over HTTP, for a program that collects measurements.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace engine {

/// "127.0.0.1:9273", "[::1]:9273", "9273" (of 127.0.0.1); port 0: any that is free.
struct WebAddress
{
    std::string host = "127.0.0.1"; ///< IPv4 or IPv6 address, without brackets
    std::uint16_t port = 0;

    bool isLoopback() const;
};

/// Throws InvalidArgumentException that begins with `origin` for what is no address; names of hosts are none.
WebAddress webAddressOf(std::string const& text, std::string const& origin);
std::string textOf(WebAddress const& address);

/// Answers GET and HEAD of "/metrics" until it is destroyed, by a thread of its own; of "/" it names that page. Few connections at
/// once, each for a few seconds: who says nothing holds nobody up.
class MetricsServer
{
public:
    /// `page` makes it anew for each request, on the server's thread. Throws InvalidArgumentException when the address cannot be taken, or the
    /// library for it is not installed.
    MetricsServer(WebAddress const& address, std::string type, std::function<std::string()> page);
    ~MetricsServer();

    WebAddress const& address() const; ///< with the port that it has

private:
    struct Server;
    std::unique_ptr<Server> m_server;
};

} // namespace engine
