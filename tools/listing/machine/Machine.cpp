#include <listing/machine/Machine.h>

#include <zel/enumerator/records/Properties.h>
#include <zel/model/state/StateManager.h>

namespace listing {

using namespace zel;

namespace {

// What is known of a key holds whoever reports it: a serial number is one, also when the module that found it
// did not say so.
std::shared_ptr<PropertySpecImp const> completed(std::shared_ptr<PropertySpecImp const> const& spec)
{
    PropertyRow const* const row = findProperty(spec->keyInModule().toUtf8());
    if (!row || (!spec->defaultName().empty() && spec->category().isCapable(row->category())))
        return spec;
    auto whole = std::make_shared<PropertySpecImp>(spec->keyInModule(), spec->category() | row->category(),
                                                   spec->type(), spec->deviceCapability());
    whole->setDefaultName(spec->defaultName().empty() ? String(row->name) : spec->defaultName());
    return whole;
}

Device copyOf(DeviceImp const& record)
{
    Device device;
    device.type = record.deviceType();
    device.capabilities = record.deviceCapabilities();
    device.busClass = record.busClass();
    device.name = record.name();
    device.description = record.description();
    device.hwLocator = record.hwLocator();
    device.osLocator = record.osLocator();
    device.guid = record.guid();
    device.state = record.state().toString();
    device.childBusIds = record.childBusIds();
    device.properties.reserve(record.propertyCount());
    for (std::size_t i = 0; i < record.propertyCount(); ++i) {
        PropertyImp const& property = record.getProperty(i);
        device.properties.push_back({completed(property.spec()), property.value()});
    }
    return device;
}

// Without recursion: how deep devices of another program's state nest is not for this program's stack to decide.
void addTree(StateManager const& state, DeviceImp const& top, std::vector<Device>& devices)
{
    struct Step
    {
        DeviceImp const* record;
        std::size_t parent;
    };
    std::vector<Step> steps = {{&top, Device::kNone}};
    while (!steps.empty()) {
        Step const step = steps.back();
        steps.pop_back();
        std::size_t const index = devices.size();
        devices.push_back(copyOf(*step.record));
        devices.back().parent = step.parent;
        devices.back().depth = step.parent == Device::kNone ? 0 : devices[step.parent].depth + 1;
        auto const& children = state.childrenOf(*step.record);
        for (auto child = children.rbegin(); child != children.rend(); ++child)
            steps.push_back({*child, index});
    }
}

Device const* systemOf(Machine const& machine)
{
    for (Device const& device : machine.devices)
        if (device.type == CapabilityImp::System())
            return &device;
    return nullptr;
}

} // namespace

bool Property::isVolatile() const { return spec->category().isCapable(PropertyCategoryImp::Volatile()); }

bool Property::isIdentifying() const
{
    return spec->category().isCapable(PropertyCategoryImp::SecurityInfo());
}

bool Property::isHeading() const
{
    return spec->category().isCapable(PropertyCategoryImp::Group()) && value.toString().empty();
}

bool Device::isFunctional() const { return state == DeviceStateImp::FUNCTIONAL().toString(); }

Property const* Device::property(String const& key) const
{
    for (Property const& one : properties)
        if (one.key() == key)
            return &one;
    return nullptr;
}

String Machine::name() const
{
    Device const* const system = systemOf(*this);
    return system ? system->name : String();
}

String Machine::hostName() const
{
    Device const* const system = systemOf(*this);
    Property const* const host = system ? system->property("HostName") : nullptr;
    return host ? host->value.toString() : String();
}

Machine machineOf(StateManager const& state)
{
    Machine machine;
    machine.devices.reserve(state.deviceCount());
    for (std::size_t i = 0; i < state.deviceCount(); ++i)
        if (!state.parentOf(*state.deviceAtIndex(i)))
            addTree(state, *state.deviceAtIndex(i), machine.devices);
    return machine;
}

void selectClasses(Machine& machine, std::vector<CapabilityImp> const& classes)
{
    if (classes.empty())
        return;
    CapabilityImp wanted;
    for (CapabilityImp const& one : classes) {
        wanted |= one;
        machine.origin.classes.push_back(one.toString());
    }
    enum Use : char { kUnwanted, kPath, kWanted };
    std::vector<Use> uses(machine.devices.size(), kUnwanted);
    for (std::size_t i = machine.devices.size(); i-- > 0;) { // children before their parents
        Device const& device = machine.devices[i];
        if (!device.isPath && (device.capabilities | device.type).intersects(wanted))
            uses[i] = kWanted;
        if (uses[i] != kUnwanted && device.parent != Device::kNone && uses[device.parent] == kUnwanted)
            uses[device.parent] = kPath;
    }
    std::vector<Device> kept;
    std::vector<std::size_t> places(machine.devices.size(), Device::kNone);
    for (std::size_t i = 0; i < machine.devices.size(); ++i) {
        if (uses[i] == kUnwanted)
            continue;
        Device& device = machine.devices[i];
        places[i] = kept.size();
        if (device.parent != Device::kNone)
            device.parent = places[device.parent];
        if (uses[i] == kPath) {
            device.isPath = true;
            device.properties.clear();
        }
        kept.push_back(std::move(device));
    }
    machine.devices = std::move(kept);
}

std::shared_ptr<PropertySpecImp const> specificationOf(String const& key)
{
    PropertyRow const* const row = findProperty(key.toUtf8());
    return row ? row->specification()
               : std::make_shared<PropertySpecImp>(key, PropertyCategoryImp::SysInfo(), DataTypeImp::STRING(),
                                                   CapabilityImp::ALL());
}

} // namespace listing
