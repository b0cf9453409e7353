#include <krel5/IndicatorReport.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/DataHolderDefinition.h>

#include <zel/ipc/direct/DirectMessages.h>

#include <vector>

namespace krel5 {

using ChangeKind = zel::Change::Kind;

// The message, and the handles on what it holds. Copies share the message: nobody changes it.
struct IndicatorReportInternalData
{
    std::shared_ptr<zel::Message> message; // null: Nothing
    zel::StateManager const* state = nullptr;
    zel::ChangesEngineToClient const* changes = nullptr;
    std::vector<DiagDevice> devices;
    std::vector<DeviceProperty> readings;

    template <typename Class>
    Class const* as() const
    {
        return dynamic_cast<Class const*>(message.get());
    }
    void takeState(zel::StateManager const& from)
    {
        state = &from;
        for (std::size_t i = 0; i < from.deviceCount(); ++i)
            devices.emplace_back(from.deviceAtIndex(i));
    }
    zel::AlertImp const& alert(unsigned int index) const
    {
        std::size_t const count = state ? state->alertCount() : 0;
        requireIndex(index, count);
        return *state->alertAtIndex(index);
    }
};
template class DataHolder<IndicatorReportInternalData>;

namespace {

unsigned int number(std::size_t count) { return static_cast<unsigned int>(count); }

std::vector<zel::IndicatorImp const*> freeIndicators(zel::StateManager const* state)
{
    std::vector<zel::IndicatorImp const*> found;
    for (std::size_t i = 0; state && i < state->indicatorCount(); ++i)
        if (state->indicatorAtIndex(i)->isFree())
            found.push_back(state->indicatorAtIndex(i));
    return found;
}

} // namespace

IndicatorReport::IndicatorReport() = default;
IndicatorReport::IndicatorReport(IndicatorReport const& other) = default;
IndicatorReport& IndicatorReport::operator=(IndicatorReport const& other) = default;
IndicatorReport::~IndicatorReport() = default;

IndicatorReport::IndicatorReport(std::shared_ptr<zel::Message> message)
{
    IndicatorReportInternalData& mine = data();
    mine.message = std::move(message);
    if (auto* const update = dynamic_cast<zel::DeviceUpdateEngineToClient*>(mine.message.get())) {
        mine.devices.emplace_back(&update->device());
        for (std::size_t i = 0; i < update->readings().size(); ++i)
            mine.readings.emplace_back(&update->readings()[i]);
    } else if ((mine.changes = mine.as<zel::ChangesEngineToClient>())) {
        mine.takeState(mine.changes->state());
    } else if (auto const* const listing = mine.as<zel::EnumerationReturnedEngineToClient>()) {
        mine.takeState(*listing->body().state);
    }
}

IndicatorReport::Kind IndicatorReport::kind() const
{
    IndicatorReportInternalData const& mine = data();
    if (mine.as<zel::DeviceUpdateEngineToClient>())
        return Kind::Readings;
    if (mine.changes)
        return Kind::Changes;
    if (mine.state)
        return Kind::Listing;
    if (mine.as<zel::RequestRefusedEngineToClient>())
        return Kind::Refused;
    if (mine.as<zel::ReadingsLostEngineToClient>())
        return Kind::Lost;
    return mine.as<zel::ModuleEndedEngineToClient>() ? Kind::Ended : Kind::Nothing;
}

unsigned int IndicatorReport::deviceCount() const { return number(data().devices.size()); }

DiagDevice const& IndicatorReport::deviceAtIndex(unsigned int index) const
{
    requireIndex(index, data().devices.size());
    return data().devices[index];
}

KrelString IndicatorReport::deviceGuidAtIndex(unsigned int index) const
{
    return KrelString(deviceAtIndex(index).imp().guid());
}

unsigned int IndicatorReport::readingCount() const { return number(data().readings.size()); }

DeviceProperty const& IndicatorReport::readingAtIndex(unsigned int index) const
{
    requireIndex(index, data().readings.size());
    return data().readings[index];
}

unsigned int IndicatorReport::changeCount() const
{
    return data().changes ? number(data().changes->changes().size()) : 0;
}

static zel::Change const& changeOf(IndicatorReportInternalData const& data, unsigned int index)
{
    requireIndex(index, data.changes ? data.changes->changes().size() : 0);
    return data.changes->changes()[index];
}

IndicatorReport::Change IndicatorReport::changeAtIndex(unsigned int index) const
{
    switch (changeOf(data(), index).kind) {
    case ChangeKind::DeviceAdded:
        return Change::DeviceAdded;
    case ChangeKind::DeviceUpdated:
        return Change::DeviceUpdated;
    case ChangeKind::DeviceRemoved:
        return Change::DeviceRemoved;
    case ChangeKind::PropertyAdded:
        return Change::PropertyAdded;
    case ChangeKind::PropertyRemoved:
        return Change::PropertyRemoved;
    case ChangeKind::AlertAdded:
        return Change::AlertAdded;
    case ChangeKind::AlertUpdated:
        return Change::AlertUpdated;
    case ChangeKind::AlertRemoved:
        return Change::AlertRemoved;
    case ChangeKind::ModuleAdded: // these are not sent
    case ChangeKind::PropertySpecAdded:
    case ChangeKind::TestAdded:
    case ChangeKind::IndicatorAdded:
    case ChangeKind::IndicatorRunAdded:
    case ChangeKind::AssociationAdded:
    case ChangeKind::AssociationRemoved:
        break;
    }
    return Change::DeviceUpdated;
}

KrelString IndicatorReport::changedGuidAtIndex(unsigned int index) const
{
    return KrelString(changeOf(data(), index).guid);
}

KrelString IndicatorReport::changedKeyAtIndex(unsigned int index) const
{
    return KrelString(changeOf(data(), index).propertyKey);
}

unsigned int IndicatorReport::indicatorCount(unsigned int device) const
{
    DiagDevice const& one = deviceAtIndex(device);
    return data().state ? number(data().state->indicatorCountByDevice(one.imp())) : 0;
}

KrelString IndicatorReport::indicatorAtIndex(unsigned int device, unsigned int index) const
{
    requireIndex(index, indicatorCount(device));
    return KrelString(
        data().state->indicatorByDeviceAtIndex(deviceAtIndex(device).imp(), index)->keyInModule());
}

unsigned int IndicatorReport::freeIndicatorCount() const
{
    return number(freeIndicators(data().state).size());
}

KrelString IndicatorReport::freeIndicatorAtIndex(unsigned int index) const
{
    auto const all = freeIndicators(data().state);
    requireIndex(index, all.size());
    return KrelString(all[index]->keyInModule());
}

unsigned int IndicatorReport::alertCount() const
{
    return data().state ? number(data().state->alertCount()) : 0;
}

KrelString IndicatorReport::alertGuidAtIndex(unsigned int index) const
{
    return KrelString(data().alert(index).guid());
}

KrelString IndicatorReport::alertKeyAtIndex(unsigned int index) const
{
    return KrelString(data().alert(index).key());
}

KrelString IndicatorReport::alertTitleAtIndex(unsigned int index) const
{
    return KrelString(data().alert(index).title().resolve());
}

KrelString IndicatorReport::alertMessageAtIndex(unsigned int index) const
{
    return KrelString(data().alert(index).message().resolve());
}

KrelString IndicatorReport::alertDeviceAtIndex(unsigned int index) const
{
    return KrelString(data().alert(index).deviceGuid());
}

unsigned int IndicatorReport::alertTipCount(unsigned int alert) const
{
    return number(data().alert(alert).tipCount());
}

KrelString IndicatorReport::alertTipAtIndex(unsigned int alert, unsigned int index) const
{
    requireIndex(index, alertTipCount(alert));
    return KrelString(data().alert(alert).tip(index).toString());
}

KrelString IndicatorReport::text() const
{
    auto const* const refusal = data().as<zel::RequestRefusedEngineToClient>();
    return refusal ? KrelString(refusal->reason()) : KrelString();
}

unsigned long long IndicatorReport::lostCount() const
{
    auto const* const lost = data().as<zel::ReadingsLostEngineToClient>();
    return lost ? lost->count() : 0;
}

int IndicatorReport::status() const
{
    auto const* const ended = data().as<zel::ModuleEndedEngineToClient>();
    return ended ? ended->status() : 0;
}

IndicatorReportInternalData& IndicatorReport::data() { return m_holder.data(); }
IndicatorReportInternalData const& IndicatorReport::data() const { return m_holder.data(); }

} // namespace krel5
