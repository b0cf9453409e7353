#include <engine/web/AllowedHosts.h>

#include <zel/foundation/Exception.h>

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>

namespace engine {
namespace {

constexpr unsigned kHttp = 80, kHttps = 443;

std::string plain(std::string host)
{
    for (char& c : host)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    return host;
}

bool isHost(std::string const& text)
{
    auto const isPart = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == ':';
    };
    in6_addr ignored{};
    bool const isSix = text.find(':') != std::string::npos;
    if (isSix && ::inet_pton(AF_INET6, text.c_str(), &ignored) != 1)
        return false;
    return !text.empty() && text.size() <= 253 && std::all_of(text.begin(), text.end(), isPart);
}

} // namespace

void AllowedHosts::add(std::string const& text)
{
    Host host;
    std::size_t const colon = text.rfind(':');
    bool const hasPort =
        colon != std::string::npos && (text.find(':') == colon || (colon > 0 && text[colon - 1] == ']'));
    std::string const port = hasPort ? text.substr(colon + 1) : "";
    host.name = plain(hasPort ? text.substr(0, colon) : text);
    auto const [end, error] = std::from_chars(port.data(), port.data() + port.size(), host.port);
    bool const isPort = !hasPort || (error == std::errc() && end == port.data() + port.size() &&
                                     host.port > 0 && host.port <= 65535);
    if (!isHost(host.name) || !isPort)
        throw zel::InvalidArgumentException("--allow-host: " + zel::String(text) +
                                            " is no host; it is like updates.example.org or 10.0.0.7:8080");
    m_hosts.push_back(std::move(host));
}

bool AllowedHosts::has(std::string const& host, unsigned port, bool isTls) const
{
    std::string const name = plain(host);
    return std::any_of(m_hosts.begin(), m_hosts.end(), [&](Host const& one) {
        return one.name == name && port == (one.port > 0 ? one.port : isTls ? kHttps : kHttp);
    });
}

} // namespace engine
