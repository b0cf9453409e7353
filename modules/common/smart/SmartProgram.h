#pragma once
// How smartctl is asked for a report.

#include <string>
#include <vector>

namespace krel5::modules {

/// For runChild(). `device` begins with a slash: it could be taken for an option. `deviceType` is what smartctl takes after -d;
/// empty: it finds out. A drive that sleeps is not woken, and says nothing, unless `wakes`.
inline std::vector<std::string> smartWords(std::string const& program, std::string const& device,
                                           std::string const& deviceType, bool wakes,
                                           std::vector<std::string> const& wanted = {"-a"})
{
    std::vector<std::string> words = {program, "--json"};
    words.insert(words.end(), wanted.begin(), wanted.end());
    if (!wakes)
        words.insert(words.end(), {"-n", "standby"});
    if (!deviceType.empty())
        words.insert(words.end(), {"-d", deviceType});
    words.push_back(device);
    return words;
}

} // namespace krel5::modules
