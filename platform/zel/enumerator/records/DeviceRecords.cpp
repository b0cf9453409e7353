#include <zel/enumerator/records/DeviceRecords.h>

#include <zel/enumerator/records/Properties.h>
#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/model/devices/DeviceImp.h>
#include <zel/model/state/StateManager.h>

#include <algorithm>
#include <mutex>

namespace zel {

namespace {

Logger& logger() { return LogFactory::getLogger("zel.Enumerator"); }

/// The value as the row's type. Throws InvalidArgumentException.
ValueImp checkedValue(DeviceDescription const& device, char const* key, ValueImp const& value)
{
    PropertyRow const* const row = findProperty(key);
    if (!row)
        throw InvalidArgumentException(String("Device \"") + device.name + "\": there is no property " + key);
    auto converted = value.as(row->type());
    if (!converted)
        throw InvalidArgumentException(String("Device \"") + device.name + "\": property " + key + " is " +
                                       row->type().toString() + ", its value is " + value.type().toString());
    return *converted;
}

/// One specification a row, shared by all devices of the process; made for those that a machine has.
std::shared_ptr<PropertySpecImp> const& specOf(char const* key)
{
    struct Spec
    {
        std::once_flag once;
        std::shared_ptr<PropertySpecImp> made;
    };
    static std::vector<Spec> s_specs(propertyRows().size());
    PropertyRow const* const row = findProperty(key);
    Spec& spec = s_specs.at(row ? static_cast<std::size_t>(row - propertyRows().data()) : s_specs.size());
    std::call_once(spec.once, [&] { spec.made = row->specification(); });
    return spec.made;
}

/// What is too long to be said of a device: a damaged attribute may be a page of anything.
bool isNoise(ValueImp const& value)
{
    constexpr std::size_t kMost = 1024;
    return value.type() == DataTypeImp::STRING() && value.string().size() > kMost;
}

} // namespace

std::unique_ptr<DeviceImp> makeRecord(DeviceDescription const& device)
{
    auto record =
        DeviceImp::createGeneric(device.type, device.capabilities | device.type, device.name,
                                 device.osLocator, device.description, device.hwLocator, device.busClass);
    record->setState(device.state);
    for (String const& bus : device.childBusIds)
        record->addChildBusId(bus);
    for (auto const& [key, value] : device.properties) {
        PropertyImp const property(specOf(key), value);
        record->addProperty(&property);
    }
    return record;
}

DeviceRecords::DeviceRecords(CapabilityImp wanted, bool detail)
    : m_wanted(std::move(wanted)), m_detail(detail)
{}

DeviceRecords::Key DeviceRecords::keyOf(CapabilityImp const& type, String const& locator)
{
    return {type.toString(), locator};
}

void DeviceRecords::add(DeviceDescription device)
{
    std::map<std::string_view, bool> seen;
    for (auto& [key, value] : device.properties) {
        value = checkedValue(device, key, value);
        if (!seen.emplace(key, true).second)
            throw InvalidArgumentException(String("Device \"") + device.name + "\": property " + key +
                                           " given twice");
    }
    std::erase_if(device.properties, [](auto const& property) { return isNoise(property.second); });
    device.capabilities |= device.type;
    if (!device.capabilities.intersects(m_wanted))
        return;
    bool const isNew = m_index.emplace(keyOf(device.type, device.hwLocator), m_devices.size()).second;
    if (isNew)
        m_devices.push_back(std::move(device));
    else // two devices at one place cannot be told apart later
        ZEL_LOG(logger(), LogLevel::Warning) << "second " << device.type.toString() << " at "
                                             << device.hwLocator << " left out: " << device.name;
}

void DeviceRecords::tell(TableDamage const& damage)
{
    CapabilityImp const& wanted =
        m_wanted.intersects(CapabilityImp::Hardware()) ? CapabilityImp::ALL() : m_wanted;
    if (!damage.concerned.intersects(wanted))
        return;
    auto known = std::find_if(m_damages.begin(), m_damages.end(),
                              [&damage](TableDamage const& one) { return one.what == damage.what; });
    if (known == m_damages.end())
        known = m_damages.insert(known, {damage.what, {}, {}});
    known->concerned |= damage.concerned.intersect(wanted);
    known->missing |= damage.missing.intersect(wanted);
}

void DeviceRecords::fill(StateManager& state) const
{
    enum class Step { Untouched, Entered, Added };
    std::vector<Step> steps(m_devices.size(), Step::Untouched);
    std::vector<DeviceImp*> records(m_devices.size(), nullptr);
    // A parent goes in before its children; the explicit stack holds a device above the parent that it waits
    // for.
    for (std::size_t first = 0; first < m_devices.size(); ++first) {
        std::vector<std::size_t> waiting{first};
        while (!waiting.empty()) {
            std::size_t const at = waiting.back();
            DeviceDescription const& device = m_devices[at];
            auto const parent = m_index.find(keyOf(device.parentType, device.parentLocator));
            bool const hasParent = parent != m_index.end() && parent->second != at;
            if (steps[at] == Step::Untouched) {
                steps[at] = Step::Entered;
                if (hasParent && steps[parent->second] == Step::Untouched) {
                    waiting.push_back(parent->second);
                    continue;
                }
            }
            waiting.pop_back();
            if (steps[at] == Step::Added)
                continue;
            steps[at] = Step::Added;
            auto record = makeRecord(device);
            if (DeviceImp* const known = state.matchingDevice(*record)) {
                known->mergeFrom(*record);
                records[at] = known;
                continue;
            }
            // A parent that is not in yet waits for this device itself: two that name each other.
            records[at] = &state.addDevice(std::move(record), hasParent ? records[parent->second] : nullptr);
        }
    }
    for (DeviceDescription const& device : m_devices)
        for (auto const& property : device.properties)
            state.addPropertySpec(specOf(property.first), false);
}

} // namespace zel
