#include <cpu/load/LoadWatch.h>

#include <common/evidence/HwmonInputs.h>

#include <algorithm>
#include <utility>

namespace krel5::modules::cpu {
namespace {

constexpr std::size_t kMostTemperatures = 32, kMostFans = 16, kMostProcessors = 4096;

} // namespace

LoadWatch::LoadWatch(MachineFolder const& machine) : m_machine(machine)
{
    addChips();
    addProcessors("cpufreq/scaling_cur_freq", "", "MHz", 1000, false);
    // Counted since the machine started; the processors of one core or package show the same number.
    for (char const* const name : {"core_throttle_count", "package_throttle_count"})
        addProcessors(std::string("thermal_throttle/") + name, name, "×", 1, true);
}

void LoadWatch::addChips()
{
    auto const add = [this](char const* kind, std::size_t most, char const* unit, double divisor) {
        for (HwmonInput const& input : hwmonInputs(m_machine, kind)) {
            if (most-- == 0)
                return;
            Source source;
            source.seen.what = input.name;
            source.seen.unit = unit;
            source.files = {input.path + "_input"};
            source.divisor = divisor;
            source.isMost = false;
            m_sources.push_back(std::move(source));
        }
    };
    add("temp", kMostTemperatures, "°C", 1000);
    add("fan", kMostFans, "1/min", 1);
}

void LoadWatch::addProcessors(std::string const& file, std::string what, char const* unit, double divisor,
                              bool isMost)
{
    Source source;
    std::string const folder = "sys/devices/system/cpu/";
    for (std::string const& name : m_machine.list(folder))
        if (isNumbered(name, "cpu") && source.files.size() < kMostProcessors &&
            m_machine.has(folder + name + "/" + file))
            source.files.push_back(folder + name + "/" + file);
    if (source.files.empty())
        return;
    source.seen.what = what.empty() ? std::to_string(source.files.size()) + " CPU" : std::move(what);
    source.seen.unit = unit;
    source.divisor = divisor;
    source.isMost = isMost;
    m_sources.push_back(std::move(source));
}

void LoadWatch::look()
{
    for (Source& one : m_sources) {
        double sum = 0, most = 0;
        std::size_t read = 0;
        for (std::string const& file : one.files)
            if (auto const number = m_machine.reading(file)) {
                double const value = *number / one.divisor;
                sum += value;
                most = read++ == 0 ? value : std::max(most, value);
            }
        if (read == 0)
            continue;
        double const now = one.isMost ? most : sum / static_cast<double>(read);
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
