#include <engine/watch/Readings.h>

#include <algorithm>

namespace engine {
namespace {

using Kind = WatchNews::Kind;

void takeNumber(WatchedReading& reading, double number, bool isFirst)
{
    if (isFirst || number < reading.least) {
        reading.least = number;
        reading.leastText = reading.text;
    }
    if (isFirst || number > reading.most) {
        reading.most = number;
        reading.mostText = reading.text;
    }
    reading.history.add(number);
}

} // namespace

void History::add(double value)
{
    m_values[(m_begin + m_size) % kMost] = value;
    if (m_size < kMost)
        ++m_size;
    else
        m_begin = (m_begin + 1) % kMost;
}

void Readings::take(WatchNews const& news)
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    ModuleState& module = m_modules[news.module];
    switch (news.kind) {
    case Kind::ModuleBegan:
        module = {true, false, "", news.interval};
        return;
    case Kind::ModuleSilent:
        module.isSilent = true;
        module.trouble = news.text;
        return;
    case Kind::ModuleHeard:
        module.isSilent = false;
        module.trouble.clear();
        return;
    case Kind::ModuleEnded: // what it said last held to the end
        module.trouble = news.text;
        return;
    case Kind::ModuleFailed:
        module.isUp = false;
        module.trouble = news.text;
        return;
    case Kind::Readings:
    case Kind::DeviceAdded: // a device that is known takes no harm
        return takeReadings(news);
    case Kind::DeviceRemoved:
        return forget(news);
    case Kind::PropertyAdded:
    case Kind::PropertyRemoved:
        return;
    case Kind::AlertRaised:
    case Kind::AlertCleared: {
        auto const isIt = [&news](auto const& one) {
            return one.first == news.module && one.second.guid == news.alert.guid;
        };
        auto const known = std::find_if(m_alerts.begin(), m_alerts.end(), isIt);
        if (news.kind == Kind::AlertCleared)
            std::erase_if(m_alerts, isIt);
        else if (known != m_alerts.end())
            known->second = news.alert;
        else
            m_alerts.emplace_back(news.module, news.alert);
        return;
    }
    }
}

// Properties that a device came with are of its inventory; a reading is what an indicator says.
void Readings::takeReadings(WatchNews const& news)
{
    auto const [place, isNew] = m_index.try_emplace({news.module, news.device.guid}, m_devices.size());
    if (isNew)
        m_devices.push_back({news.device, news.module, {}});
    if (news.kind != Kind::Readings)
        return;
    std::vector<WatchedReading>& readings = m_devices[place->second].readings;
    for (Reading const& one : news.readings) {
        auto known = std::find_if(readings.begin(), readings.end(),
                                  [&one](WatchedReading const& reading) { return reading.key == one.key; });
        if (known == readings.end()) {
            if (m_count >= kMostReadings) {
                if (m_leftOut.size() < kMostReadings)
                    m_leftOut.insert(beginningOf(news) + one.key);
                continue;
            }
            ++m_count;
            m_leftOut.erase(beginningOf(news) + one.key);
            known = readings.insert(known, WatchedReading{});
            known->key = one.key;
        }
        bool const isFirst = !known->quantity.has_value();
        known->name = one.name;
        known->value = one.value;
        known->text = one.value.toString().toUtf8();
        known->taken = news.time;
        auto const quantity = quantityOf(one.key, one.value);
        if (quantity)
            takeNumber(*known, quantity->number, isFirst);
        known->quantity = quantity;
    }
}

void Readings::forget(WatchNews const& news)
{
    auto const place = m_index.find({news.module, news.device.guid});
    if (place == m_index.end())
        return;
    std::string const name = beginningOf(news);
    for (auto left = m_leftOut.lower_bound(name); left != m_leftOut.end() && left->starts_with(name);)
        left = m_leftOut.erase(left);
    std::size_t const index = place->second;
    m_count -= m_devices[index].readings.size();
    m_devices.erase(m_devices.begin() + static_cast<std::ptrdiff_t>(index));
    m_index.erase(place);
    for (auto& [key, other] : m_index)
        other -= other > index ? 1 : 0;
}

bool isCurrent(Readings::Snapshot const& all, DeviceReadings const& device, WatchedReading const& reading,
               Time now)
{
    auto const module = all.modules.find(device.module);
    if (module == all.modules.end() || !module->second.isUp || module->second.isSilent)
        return false;
    std::chrono::duration<double> const patience(15 + 3 * module->second.interval);
    return now - reading.taken < patience;
}

Readings::Snapshot Readings::snapshot() const
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    Snapshot all{m_devices, m_alerts, m_modules, m_leftOut.size()};
    std::stable_sort(all.devices.begin(), all.devices.end(),
                     [](auto const& one, auto const& other) { return one.module < other.module; });
    return all;
}

} // namespace engine
