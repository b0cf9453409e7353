#pragma once
// Internet addresses of the machine's interfaces, as far as files tell them.

#include <zel/enumerator/root/Root.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel {

/// Texts with the length of the network's prefix behind them: "192.168.1.10/24", "fe80::21a:2bff:fe3c:4d5e/64".
struct InternetAddresses
{
    std::vector<std::string> version4, version6;
};

/// By name of the interface. /proc/net/if_inet6 names the interface of each address. Of version 4 the kernel
/// tells the addresses in one file and the networks of each interface in another: an address is that of the one
/// interface whose network holds it; where two have the same network, none is named.
std::map<std::string, InternetAddresses> internetAddresses(Root const& root);

/// Of 32 hexadecimal digits: "2001:db8::1", the longest run of zeros shortened (RFC 5952); nothing for another
/// form.
std::optional<std::string> version6Text(std::string_view digits);

} // namespace zel
