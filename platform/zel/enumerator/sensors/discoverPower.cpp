// Batteries and power supplies, those that feed over USB with what they give and may give. Reads
// /sys/class/power_supply/*; units are millionths, temperatures tenths of a degree
// (Documentation/ABI/testing/sysfs-class-power). Some firmware counts energy, some counts charge.

#include <zel/enumerator/sensors/discover.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>
#include <zel/enumerator/sensors/SensorReading.h>

#include <algorithm>
#include <cmath>

namespace zel {

namespace {

using C = CapabilityImp;
using Number = std::optional<double>;

constexpr char kClass[] = "sys/class/power_supply/";

/// The attributes of one supply; what the folder does not list is not asked for.
class Supply
{
public:
    Supply(Root const& root, std::string const& name)
        : m_root(root), m_name(name), m_folder(kClass + name + "/"), m_attributes(root.list(m_folder))
    {}

    std::optional<std::string> text(char const* attribute) const
    {
        return has(attribute) ? text::meaningful(m_root.text(m_folder + attribute)) : std::nullopt;
    }
    std::optional<std::int64_t> number(char const* attribute) const
    {
        return has(attribute) ? m_root.number(m_folder + attribute) : std::nullopt;
    }
    /// A count of millionths, in the plain unit; negative for nothing.
    Number millionths(char const* attribute) const
    {
        auto const count = number(attribute);
        return count && *count >= 0 ? Number(static_cast<double>(*count) / 1e6) : std::nullopt;
    }
    /// As millionths, of what flows: negative where the driver says that the battery is being emptied.
    Number flow(char const* attribute) const
    {
        auto const count = number(attribute);
        return count ? Number(static_cast<double>(*count) / 1e6) : std::nullopt;
    }
    /// Of tenths of a degree.
    measure::Reading celsius(char const* attribute) const
    {
        constexpr std::int64_t kMost = 10'000; // the product below fits, and no battery is that hot
        auto const tenths = number(attribute);
        return tenths && *tenths >= -kMost && *tenths <= kMost ? sensor::celsius(*tenths * 100)
                                                               : std::nullopt;
    }
    bool has(char const* attribute) const
    {
        return std::find(m_attributes.begin(), m_attributes.end(), attribute) != m_attributes.end();
    }
    std::string const& name() const { return m_name; }
    std::string osLocator() const { return "/" + m_folder.substr(0, m_folder.size() - 1); }

private:
    Root const& m_root;
    std::string m_name;
    std::string m_folder;
    std::vector<std::string> m_attributes;
};

/// With one decimal: a battery's gauge is not that exact.
std::optional<ValueImp> percent(Number value)
{
    return value ? std::optional(ValueImp(std::round(*value * 10) / 10, DataTypeImp::PERCENT()))
                 : std::nullopt;
}
std::optional<ValueImp> truth(std::optional<std::int64_t> value)
{
    return value ? std::optional(ValueImp(*value != 0)) : std::nullopt;
}
Number ratio(Number part, Number whole)
{
    return part && whole && *whole > 0 ? Number(*part / *whole * 100) : std::nullopt;
}
Number product(Number left, Number right) { return left && right ? Number(*left * *right) : std::nullopt; }

/// What a battery holds, held when it was full, and was made to hold.
struct Capacity
{
    Number design, full, now;
};

/// What it feeds and how warm it is, each with its limits; the kernel makes a monitoring chip of the same files, which
/// has no record. A limit of 0 was never set.
void addReadings(Supply const& supply, Number current, Number power, DeviceDescription& device)
{
    auto const limit = [&supply](UnitType const& unit, char const* attribute) {
        Number const value = supply.millionths(attribute);
        return value && *value > 0 ? measure::reading(unit, value, 3) : std::nullopt;
    };
    device.add("Voltage", measure::reading(UnitType::VOLTS(), supply.millionths("voltage_now"), 3));
    device.add("MinimumVoltage", limit(UnitType::VOLTS(), "voltage_min"));
    device.add("MaximumVoltage", limit(UnitType::VOLTS(), "voltage_max"));
    device.add("Current", measure::reading(UnitType::AMPS(), current, 3));
    device.add("MaximumCurrent", limit(UnitType::AMPS(), "current_max"));
    device.add("Power", measure::reading(UnitType::WATTS(), power, 2));
    device.add("Temperature", supply.celsius("temp"));
    bool const hasRange = supply.number("temp_alert_min") != 0 || supply.number("temp_alert_max") != 0;
    if (hasRange) {
        device.add("MinimumTemperature", supply.celsius("temp_alert_min"));
        device.add("MaximumTemperature", supply.celsius("temp_alert_max"));
    }
    if (supply.number("temp_max").value_or(0) > 0)
        device.add("CriticalTemperature", supply.celsius("temp_max"));
}

void addCapacities(Supply const& supply, DeviceDescription& device)
{
    Number const volts = supply.millionths("voltage_min_design");
    Capacity energy{supply.millionths("energy_full_design"), supply.millionths("energy_full"),
                    supply.millionths("energy_now")};
    Capacity const charge{supply.millionths("charge_full_design"), supply.millionths("charge_full"),
                          supply.millionths("charge_now")};
    Capacity const& counted = energy.full || energy.now ? energy : charge;
    auto const told = supply.number("capacity");
    Number const level = told && *told >= 0 && *told <= 100 ? Number(static_cast<double>(*told))
                                                            : ratio(counted.now, counted.full);
    Number const health = ratio(counted.full, counted.design);
    if (&counted == &charge)
        energy = {product(charge.design, volts), product(charge.full, volts), product(charge.now, volts)};
    auto const wattHours = [](Number value) { return measure::reading(UnitType::WATTHOURS(), value, 2); };
    auto const ampereHours = [](Number value) { return measure::reading(UnitType::AMPEREHOURS(), value, 3); };
    device.add("Charge", percent(level));
    device.add("Health", percent(health));
    device.add("DesignCapacity", wattHours(energy.design));
    device.add("FullCapacity", wattHours(energy.full));
    device.add("RemainingCapacity", wattHours(energy.now));
    device.add("DesignCharge", ampereHours(charge.design));
    device.add("FullCharge", ampereHours(charge.full));
    device.add("RemainingCharge", ampereHours(charge.now));
    device.add("DesignVoltage", measure::reading(UnitType::VOLTS(), volts, 3));
    // Before Linux 2.6.36 drivers that count energy had no power_now and put the power into current_now.
    Number power = supply.flow("power_now"), current = supply.flow("current_now");
    if (&counted == &energy && !power)
        std::swap(power, current);
    addReadings(supply, current, power, device);
}

/// Of what is plugged into a USB-C port, the port as the firmware counts it: "ucsi-source-psy-USBC000:001".
std::optional<std::int64_t> usbPortOf(std::string_view name)
{
    std::size_t const colon = name.rfind(':');
    bool const isPort = name.starts_with("ucsi-source-psy-") && colon != std::string_view::npos;
    return isPort ? text::toNumber(name.substr(colon + 1)) : std::nullopt;
}

DeviceDescription describe(Supply const& supply, C const& type, std::optional<std::string> const& kind)
{
    DeviceDescription device;
    device.type = type;
    device.capabilities = type | C::Hardware();
    device.osLocator = String(supply.osLocator());
    placeAt(device, "POWER:" + supply.name(), "POWER");
    placeBelowSystem(device);
    auto const manufacturer = supply.text("manufacturer");
    auto const model = supply.text("model_name");
    auto const port = usbPortOf(supply.name());
    std::string const word = port                   ? "USB-C power supply " + std::to_string(*port)
                             : type == C::Battery() ? "Battery " + supply.name()
                                                    : "Power supply " + supply.name();
    device.name = model ? joinedName({manufacturer, model}, "") : String(word);
    device.add("Manufacturer", manufacturer);
    device.add("Model", model);
    device.add("SerialNumber", supply.text("serial_number"));
    device.add("SupplyType", kind);
    return device;
}

void addBattery(Supply const& supply, std::optional<std::string> const& kind, DeviceSink& sink)
{
    auto const present = supply.number("present");
    if (present == 0)
        return; // an empty bay
    DeviceDescription device = describe(supply, C::Battery(), kind);
    device.description = supply.text("scope") == "Device" ? "Battery of a peripheral device" : "Battery";
    device.add("Technology", supply.text("technology"));
    device.add("Present", truth(present));
    device.add("Status", supply.text("status"));
    addCapacities(supply, device);
    device.add("CycleCount", narrow(supply.number("cycle_count")));
    sink.add(std::move(device));
}

void addSupply(Supply const& supply, std::optional<std::string> const& kind, DeviceSink& sink)
{
    DeviceDescription device = describe(supply, C::PowerSupply(), kind);
    device.description = kind == "Mains" ? "Mains power supply" : "Power supply";
    device.add("Online", truth(supply.number("online")));
    if (auto const kinds = supply.text("usb_type"))
        if (auto const chosen = text::chosenOf(*kinds); chosen && *chosen != "Unknown")
            device.add("UsbSupplyType", chosen);
    addReadings(supply, supply.flow("current_now"), supply.flow("power_now"), device);
    sink.add(std::move(device));
}

} // namespace

void discoverPower(Root const& root, DeviceSink& sink)
{
    for (std::string const& name : root.list(kClass)) {
        Supply const supply(root, name);
        auto const kind = supply.text("type");
        if (kind == "Battery" || (!kind && supply.has("technology")))
            addBattery(supply, kind, sink);
        else if (kind || supply.has("online"))
            addSupply(supply, kind, sink);
    }
}

} // namespace zel
