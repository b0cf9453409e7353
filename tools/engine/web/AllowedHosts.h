#pragma once
// Which places modules may have fetched something from.

#include <cstdint>
#include <string>
#include <vector>

namespace engine {

/// Nothing is allowed that nobody named. Thread rule: none of its own.
class AllowedHosts
{
public:
    /// "updates.example.org", "10.0.0.7:8080", "[::1]:80"; without a port the one that http or https has. Throws
    /// InvalidArgumentException for what is none.
    void add(std::string const& text);
    bool isEmpty() const { return m_hosts.empty(); }

    /// `host` as in an address, in any case of letters, an IPv6 address with or without brackets.
    bool has(std::string const& host, unsigned port, bool isTls) const;

private:
    struct Host
    {
        std::string name;  ///< small letters, no brackets
        unsigned port = 0; ///< 0: the usual one
    };
    std::vector<Host> m_hosts;
};

} // namespace engine
