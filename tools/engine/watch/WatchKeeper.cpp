#include <engine/watch/WatchKeeper.h>

#include <engine/watch/Quantity.h>

namespace engine {

void WatchKeeper::take(WatchNews const& news)
{
    using Kind = WatchNews::Kind;
    switch (news.kind) {
    case Kind::Readings:
        return keepReadings(news);
    case Kind::AlertRaised:
        return keepNote(news, "alertRaised");
    case Kind::AlertCleared:
        return keepNote(news, "alertCleared");
    case Kind::ModuleFailed:
        return keepNote(news, "moduleFailed");
    case Kind::ModuleSilent:
        return keepNote(news, "moduleSilent");
    case Kind::ModuleHeard:
        return keepNote(news, "moduleHeard");
    case Kind::DeviceRemoved: // there is room for what comes in its place
        return forget(news);
    case Kind::ModuleBegan:
    case Kind::ModuleEnded:
    case Kind::DeviceAdded:
    case Kind::PropertyAdded:
    case Kind::PropertyRemoved:
        return;
    }
}

void WatchKeeper::keepReadings(WatchNews const& news)
{
    WatchedDevice const& device = news.device;
    WatchReadings record{
        news.time, news.module, {device.guid, device.name, "", device.type, device.place}, {}};
    for (Reading const& one : news.readings) {
        std::string const name = beginningOf(news) + one.key;
        std::string text = one.value.toString().toUtf8();
        auto const known = m_last.find(name);
        if (known != m_last.end() && known->second.text == text && news.time - known->second.kept < kAgain)
            continue;
        if (known == m_last.end() && m_last.size() == kMostReadings)
            continue;
        m_last[name] = {text, news.time};
        WatchedValue value{one.key, one.name, std::move(text), std::nullopt, ""};
        if (auto const quantity = quantityOf(one.key, one.value)) {
            value.number = quantity->number;
            value.unit = quantity->unit;
        }
        record.readings.push_back(std::move(value));
    }
    if (!record.readings.empty())
        m_keep(record);
}

void WatchKeeper::forget(WatchNews const& news)
{
    std::string const name = beginningOf(news);
    for (auto one = m_last.lower_bound(name); one != m_last.end() && one->first.starts_with(name);)
        one = m_last.erase(one);
}

void WatchKeeper::keepNote(WatchNews const& news, char const* what)
{
    WatchNote note{news.time,        news.module,        what, news.alert.deviceName,
                   news.alert.title, news.alert.message, {}};
    if (note.message.empty())
        note.message = news.text;
    if (news.kind == WatchNews::Kind::AlertRaised)
        note.tips = news.alert.tips;
    m_keep(note);
}

} // namespace engine
