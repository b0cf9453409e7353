#include <cpu/load/LoadWatch.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>

namespace krel5::modules::cpu {
namespace {

constexpr std::size_t kMostTemperatures = 32, kMostFans = 16, kMostProcessors = 4096;
constexpr double kMostReading = 1e9;

std::optional<double> numberIn(MachineFolder const& machine, std::string const& path)
{
    std::string const text = machine.attribute(path).value_or("");
    std::int64_t value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    bool const isNumber = error == std::errc() && (end == text.data() + text.size() || *end == '\n');
    double const number = static_cast<double>(value);
    return isNumber && number > -kMostReading && number < kMostReading ? std::optional(number) : std::nullopt;
}

std::string word(MachineFolder const& machine, std::string const& path)
{
    std::string text = machine.attribute(path).value_or("");
    text.erase(text.find_last_not_of(" \n") + 1);
    return text;
}

bool isNumbered(std::string const& name, std::string const& before, std::string const& behind)
{
    return name.size() > before.size() + behind.size() && name.starts_with(before) &&
           name.ends_with(behind) &&
           std::all_of(name.begin() + static_cast<std::ptrdiff_t>(before.size()),
                       name.end() - static_cast<std::ptrdiff_t>(behind.size()),
                       [](unsigned char c) { return std::isdigit(c) != 0; });
}

} // namespace

LoadWatch::LoadWatch(MachineFolder const& machine) : m_machine(machine)
{
    addChips();
    addFrequencies();
}

void LoadWatch::addChips()
{
    std::size_t temperatures = 0, fans = 0;
    std::string const chips = "sys/class/hwmon/";
    for (std::string const& chip : m_machine.list(chips)) {
        std::string const folder = chips + chip + "/";
        std::string const name = word(m_machine, folder + "name");
        for (std::string const& file : m_machine.list(folder)) {
            bool const isHeat = isNumbered(file, "temp", "_input"), isFan = isNumbered(file, "fan", "_input");
            if (!(isHeat && temperatures < kMostTemperatures) && !(isFan && fans < kMostFans))
                continue;
            (isHeat ? temperatures : fans) += 1;
            std::string const input = file.substr(0, file.size() - 6);
            std::string const label = word(m_machine, folder + input + "_label");
            Source source;
            source.seen.what = (name.empty() ? chip : name) + " " + (label.empty() ? input : label);
            source.seen.unit = isHeat ? "°C" : "1/min";
            source.files = {folder + file};
            source.divisor = isHeat ? 1000 : 1;
            m_sources.push_back(std::move(source));
        }
    }
}

void LoadWatch::addFrequencies()
{
    Source source;
    std::string const folder = "sys/devices/system/cpu/";
    for (std::string const& name : m_machine.list(folder))
        if (isNumbered(name, "cpu", "") && source.files.size() < kMostProcessors &&
            m_machine.has(folder + name + "/cpufreq/scaling_cur_freq"))
            source.files.push_back(folder + name + "/cpufreq/scaling_cur_freq");
    if (source.files.empty())
        return;
    source.seen.what = std::to_string(source.files.size()) + " CPU";
    source.seen.unit = "MHz";
    source.divisor = 1000;
    m_sources.push_back(std::move(source));
}

void LoadWatch::look()
{
    for (Source& one : m_sources) {
        double sum = 0;
        std::size_t read = 0;
        for (std::string const& file : one.files)
            if (auto const number = numberIn(m_machine, file)) {
                sum += *number / one.divisor;
                ++read;
            }
        if (read == 0)
            continue;
        double const now = sum / static_cast<double>(read);
        Seen& seen = one.seen;
        if (seen.count++ == 0)
            seen.first = seen.least = seen.most = now;
        seen.least = std::min(seen.least, now);
        seen.most = std::max(seen.most, now);
        seen.last = now;
    }
}

std::vector<Seen> LoadWatch::seen() const
{
    std::vector<Seen> all;
    for (Source const& one : m_sources)
        if (one.seen.count > 0)
            all.push_back(one.seen);
    return all;
}

} // namespace krel5::modules::cpu
