#include <common/evidence/HwmonInputs.h>

#include <algorithm>

namespace krel5::modules {

bool isNumbered(std::string_view name, std::string_view before, std::string_view behind)
{
    if (name.size() <= before.size() + behind.size() || !name.starts_with(before) || !name.ends_with(behind))
        return false;
    auto const number = name.substr(before.size(), name.size() - before.size() - behind.size());
    return std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::vector<HwmonInput> hwmonInputs(MachineFolder const& machine, std::string_view kind)
{
    constexpr std::size_t kMost = 256;
    constexpr std::string_view kEnding = "_input";
    std::vector<HwmonInput> all;
    std::string const chips = "sys/class/hwmon/";
    for (std::string const& chip : machine.list(chips)) {
        std::string const folder = chips + chip + "/";
        std::string const name = machine.word(folder + "name");
        for (std::string const& file : machine.list(folder)) {
            if (!isNumbered(file, kind, kEnding) || all.size() >= kMost)
                continue;
            std::string const input = file.substr(0, file.size() - kEnding.size());
            std::string const label = machine.word(folder + input + "_label");
            all.push_back({folder + input,
                           (name.empty() ? chip : name) + " " + (label.empty() ? input : label), label});
        }
    }
    return all;
}

} // namespace krel5::modules
