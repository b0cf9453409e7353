// Sensors of temperature, voltage, current, power, energy and humidity, and fans, of hardware monitoring chips.
// Reads /sys/class/hwmon/hwmon*: name, temp*, in*, fan*, curr*, power*, energy*, humidity*; before Linux 2.6.31
// these stood in hwmon*/device. What a chip belongs to, and which chips show nothing of their own: MonitoredPart.h.

#include <zel/enumerator/sensors/discover.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/root/Text.h>
#include <zel/enumerator/sensors/MonitoredPart.h>
#include <zel/enumerator/sensors/SensorReading.h>
#include <zel/enumerator/sensors/SensorTypes.h>

#include <algorithm>
#include <map>
#include <set>

namespace zel {

namespace {

using C = CapabilityImp;

constexpr char kClass[] = "sys/class/hwmon/";

struct Chip
{
    std::string folder;                ///< where the attributes stand, with a slash at the end
    std::string name;                  ///< "k10temp"
    std::string key;                   ///< unique on the machine: "k10temp:0000:00:18.3"
    std::string number;                ///< "hwmon3"
    std::optional<std::string> device; ///< name of what the chip belongs to: "0000:00:18.3"
    MonitoredPart part;
    std::set<std::string> attributes;
};

/// One input of a chip: the files "{prefix}{number}_*".
class Input
{
public:
    Input(Root const& root, Chip const& chip, std::string name)
        : m_root(root), m_chip(chip), m_name(std::move(name))
    {}

    std::optional<std::int64_t> number(char const* what) const
    {
        return has(what) ? m_root.number(path(what)) : std::nullopt;
    }
    /// A limit; where both ends of a range are 0, the chip was never told any.
    std::optional<std::int64_t> limit(char const* what) const
    {
        return number("min") == 0 && number("max") == 0 ? std::nullopt : number(what);
    }
    /// A limit that is a limit only when it is more than nothing.
    std::optional<std::int64_t> positive(char const* what) const
    {
        auto const value = number(what);
        return value && *value > 0 ? value : std::nullopt;
    }
    /// The file of the reading: chips that measure power may tell its mean only.
    char const* reading() const { return !has("input") && has("average") ? "average" : "input"; }
    std::optional<std::string> text(char const* what) const
    {
        return has(what) ? m_root.text(path(what)) : std::nullopt;
    }
    std::optional<std::string> label() const
    {
        return has("label") ? text::meaningful(m_root.text(path("label"))) : std::nullopt;
    }
    std::string path(char const* what) const { return m_chip.folder + m_name + "_" + what; }
    std::string const& name() const { return m_name; }
    Chip const& chip() const { return m_chip; }

private:
    bool has(char const* what) const { return m_chip.attributes.count(m_name + "_" + what) != 0; }

    Root const& m_root;
    Chip const& m_chip;
    std::string m_name; ///< "temp1"
};

void addTemperature(Input const& input, DeviceDescription& device)
{
    device.add("Temperature", sensor::celsius(input.number("input")));
    device.add("MinimumTemperature", sensor::celsius(input.limit("min")));
    device.add("MaximumTemperature", sensor::celsius(input.limit("max")));
    device.add("CriticalTemperature", sensor::celsius(input.number("crit")));
}

void addVoltage(Input const& input, DeviceDescription& device)
{
    device.add("Voltage", sensor::volts(input.number("input")));
    device.add("MinimumVoltage", sensor::volts(input.limit("min")));
    device.add("MaximumVoltage", sensor::volts(input.limit("max")));
}

void addFan(Input const& input, DeviceDescription& device)
{
    device.add("FanSpeed", sensor::revolutions(input.number("input")));
    device.add("MinimumFanSpeed", sensor::revolutions(input.limit("min")));
    device.add("MaximumFanSpeed", sensor::revolutions(input.limit("max")));
}

void addCurrent(Input const& input, DeviceDescription& device)
{
    device.add("Current", sensor::amperes(input.number(input.reading())));
    device.add("MinimumCurrent", sensor::amperes(input.limit("min")));
    device.add("MaximumCurrent", sensor::amperes(input.limit("max")));
    device.add("CriticalCurrent", sensor::amperes(input.positive("crit")));
}

void addPower(Input const& input, DeviceDescription& device)
{
    device.add("Power", sensor::watts(input.number(input.reading())));
    device.add("MaximumPower", sensor::watts(input.positive("max")));
    device.add("CriticalPower", sensor::watts(input.positive("crit")));
    device.add("PowerLimit", sensor::watts(input.positive("cap")));
}

void addEnergy(Input const& input, DeviceDescription& device)
{
    device.add("Energy", sensor::wattHours(input.number("input")));
}

void addHumidity(Input const& input, DeviceDescription& device)
{
    device.add("Humidity", sensor::humidity(input.number("input")));
    device.add("MinimumHumidity", sensor::humidity(input.limit("min")));
    device.add("MaximumHumidity", sensor::humidity(input.limit("max")));
}

struct Kind
{
    char const* prefix;
    C const& (*type)();
    char const* description;
    char const* reading; ///< property of the sensor's present value
    void (*addReadings)(Input const&, DeviceDescription&);
};

constexpr Kind kKinds[] = {
    {"temp", &C::TempSensor, "Temperature sensor", "Temperature", &addTemperature},
    {"in", &C::VoltSensor, "Voltage sensor", "Voltage", &addVoltage},
    {"fan", &C::Fan, "Fan", "FanSpeed", &addFan},
    {"curr", &sensor::currentSensor, "Current sensor", "Current", &addCurrent},
    {"power", &sensor::powerSensor, "Power sensor", "Power", &addPower},
    {"energy", &sensor::energySensor, "Energy sensor", "Energy", &addEnergy},
    {"humidity", &sensor::humiditySensor, "Humidity sensor", "Humidity", &addHumidity},
};

/// What is wrong with the input, if anything.
std::optional<char const*> statusOf(Input const& input, bool reads)
{
    if (input.number("fault") == 1)
        return "The chip reports that the sensor is faulty or not connected";
    if (reads)
        return std::nullopt;
    return input.number("enable") == 0 ? "Switched off" : sensor::silence(input.text(input.reading()));
}

/// "temperature 1" for "temp1"
std::string wordsOf(Input const& input, Kind const& kind)
{
    std::string const description = text::lowered(kind.description); // "temperature sensor"
    return description.substr(0, description.find(' ')) + " " +
           input.name().substr(std::string_view(kind.prefix).size());
}

void addInput(Input const& input, Kind const& kind, DeviceSink& sink)
{
    DeviceDescription device;
    device.type = kind.type();
    device.capabilities = kind.type() | C::Hardware();
    device.description = kind.description;
    device.name = String(input.chip().part.title + " ") + input.label().value_or(wordsOf(input, kind));
    device.osLocator = String("/" + input.path(input.reading()));
    placeAt(device, "HWMON:" + input.chip().key + ":" + input.name(), "HWMON");
    placeBelow(device, input.chip().part.type, input.chip().part.location);
    kind.addReadings(input, device);
    // The first property, where there is one, is the reading itself.
    bool const reads =
        !device.properties.empty() && device.properties.front().first == std::string_view(kind.reading);
    auto const status = statusOf(input, reads);
    if (status)
        device.state = DeviceStateImp::OTHER();
    device.add("Status", status);
    device.properties.emplace_back("Chip", ValueImp(String(input.chip().name)));
    sink.add(std::move(device));
}

/// Of the file with an input's reading, the input: "temp1_input", or "power1_average" where nothing else is there.
std::optional<std::string> inputOf(Chip const& chip, std::string const& file)
{
    std::size_t const end = file.rfind('_');
    std::string_view const what = end == std::string::npos ? "" : std::string_view(file).substr(end);
    std::string const input = file.substr(0, end);
    if (what == "_input" || (what == "_average" && chip.attributes.count(input + "_input") == 0))
        return input;
    return std::nullopt;
}

void addChip(Root const& root, Chip const& chip, DeviceSink& sink)
{
    std::vector<std::string> const names = [&chip] {
        std::vector<std::string> sorted(chip.attributes.begin(), chip.attributes.end());
        std::sort(sorted.begin(), sorted.end(), text::naturalLess);
        return sorted;
    }();
    for (Kind const& kind : kKinds)
        for (std::string const& name : names)
            if (auto const input = inputOf(chip, name); input && text::indexAfter(*input, kind.prefix))
                addInput(Input(root, chip, *input), kind, sink);
}

std::set<std::string> namesIn(Root const& root, std::string const& folder)
{
    auto const names = root.list(folder);
    return {names.begin(), names.end()};
}

Chip readChip(Root const& root, std::string const& number)
{
    Chip chip;
    chip.number = number;
    chip.folder = kClass + number + "/";
    chip.attributes = namesIn(root, chip.folder);
    chip.device = root.linkName(chip.folder + "device");
    if (chip.attributes.count("name") == 0 && chip.attributes.count("device") != 0) {
        chip.folder += "device/";
        chip.attributes = namesIn(root, chip.folder);
    }
    chip.name = text::meaningful(root.text(chip.folder + "name")).value_or(number);
    return chip;
}

} // namespace

void discoverSensors(HardwareTree& tree, DeviceSink& sink)
{
    Root const& root = tree.root();
    std::vector<Chip> chips;
    std::map<std::string, std::size_t> names;
    for (std::string const& number : root.list(kClass))
        if (text::indexAfter(number, "hwmon"))
            ++names[chips.emplace_back(readChip(root, number)).name];
    std::set<std::string> keys;
    for (Chip& chip : chips) {
        MonitoringChip const monitoring{chip.name, chip.number, chip.device, names[chip.name]};
        if (isShownElsewhere(root, monitoring))
            continue;
        chip.part = monitoredPart(tree, monitoring);
        chip.key = chip.name + ":" + chip.device.value_or(chip.number);
        if (!keys.insert(chip.key).second) // two chips of one kind on one device
            chip.key += ":" + chip.number;
        addChip(root, chip, sink);
    }
}

} // namespace zel
