// Which files tell of which device, and how each is read. Units of the kernel's files: Documentation/hwmon/sysfs-interface,
// Documentation/ABI/testing/sysfs-class-power, Documentation/admin-guide/iostats.rst, Documentation/driver-api/edac.rst.
#include <sensors/Part.h>

#include <zel/enumerator/root/Text.h>
#include <zel/model/devices/DeviceImp.h>
#include <zel/model/values/DiscreteMeasurement.h>
#include <zel/model/values/NonDiscreteMeasurement.h>
#include <zel/model/values/ValueImp.h>

#include <algorithm>
#include <charconv>
#include <cstring>

namespace krel5::modules::sensors {

namespace {

using Id = ReadingId;
using Clock = std::chrono::steady_clock;
using Number = std::optional<double>;
using C = zel::CapabilityImp;

void note(Readings& readings, std::string const& path, char const* why)
{
    if (readings.failure.empty())
        readings.failure = "/" + path + ": " + why;
}

/// What must be there: when it is not, the part does not answer.
Number required(PassFiles& pass, std::string const& path, Readings& readings)
{
    auto const answer = pass.files().read(path);
    if (!answer)
        note(readings, path, strerrordesc_np(answer.error));
    Number const number = answer ? numberIn(answer.content) : std::nullopt;
    if (answer && !number)
        note(readings, path, "no number");
    return number;
}

Number optional(PassFiles& pass, std::string const& path)
{
    auto const answer = pass.files().read(path);
    return answer ? numberIn(answer.content) : std::nullopt;
}

Number scaled(Number number, double factor) { return number ? Number(*number * factor) : std::nullopt; }

/// Nothing, and a note, for what no such sensor measures.
Number within(Number number, double least, double most, std::string const& path, Readings& readings)
{
    if (!number || (*number >= least && *number <= most))
        return number;
    note(readings, path, "out of range");
    return std::nullopt;
}

Number share(Number part, Number whole)
{
    return part && whole && *whole > 0 ? Number(std::clamp(*part / *whole * 100, 0.0, 100.0)) : std::nullopt;
}

Number numberAt(std::vector<std::string> const& words, std::size_t column)
{
    return column < words.size() ? numberIn(words[column]) : std::nullopt;
}

// ---- monitoring chips, thermal zones

struct InputKind
{
    char const* type; ///< of the device
    Id id;
    double factor, least, most; ///< to the base unit, in which the ends are
};

// The ends are those behind which the enumerator believes no sensor either.
constexpr InputKind kInputs[] = {
    {"TempSensor", Id::Temperature, 1e-3, -200, 1000},
    {"ThermalZone", Id::Temperature, 1e-3, -200, 1000},
    {"Fan", Id::FanSpeed, 1, 0, 1e6},
    {"VoltSensor", Id::Voltage, 1e-3, -1e5, 1e5},
    {"CurrentSensor", Id::Current, 1e-3, -1e4, 1e4},
    {"PowerSensor", Id::Power, 1e-6, 0, 1e6},
    {"EnergySensor", Id::Energy, 1 / 3.6e9, 0, 1e12},
    {"HumiditySensor", Id::Humidity, 1e-3, 0, 100},
};

template <std::size_t kind>
void readInput(Part const& part, PassFiles& pass, Counters&, Readings& readings)
{
    constexpr InputKind const& input = kInputs[kind];
    Number const number = scaled(required(pass, part.path, readings), input.factor);
    readings.add(input.id, within(number, input.least, input.most, part.path, readings));
}

using Reader = void (*)(Part const&, PassFiles&, Counters&, Readings&);
constexpr Reader kInputReaders[] = {&readInput<0>, &readInput<1>, &readInput<2>, &readInput<3>,
                                    &readInput<4>, &readInput<5>, &readInput<6>, &readInput<7>};
static_assert(std::size(kInputReaders) == std::size(kInputs));

// ---- batteries and supplies

void readSupply(Part const& part, PassFiles& pass, Counters&, Readings& readings)
{
    auto const file = [&](char const* name) { return optional(pass, part.path + name); };
    if (pass.files().read(part.path + "type").error != 0)
        return note(readings, part.path + "type", "not there");
    Number power = scaled(file("power_now"), 1e-6), current = scaled(file("current_now"), 1e-6);
    if (part.countsInEnergy && !power)
        std::swap(power, current); // drivers before Linux 2.6.36
    Number const full = file("energy_full") ? file("energy_full") : file("charge_full");
    Number const now = file("energy_now") ? file("energy_now") : file("charge_now");
    Number const design =
        file("energy_full_design") ? file("energy_full_design") : file("charge_full_design");
    Number const level = file("capacity");
    Number const temperature = scaled(file("temp"), 0.1);
    Number const online = file("online");
    readings.add(Id::Online, online ? Number(*online != 0) : online);
    readings.add(Id::Charge, level && *level >= 0 && *level <= 100 ? level : share(now, full));
    readings.add(Id::Health, share(full, design));
    readings.add(Id::Voltage, scaled(file("voltage_now"), 1e-6));
    readings.add(Id::Current, current);
    readings.add(Id::Power, power);
    readings.add(Id::Temperature,
                 temperature && *temperature > -200 && *temperature < 1000 ? temperature : Number());
}

// ---- system, processors, memory

/// The number that the text begins with, whatever the language of the process.
Number decimalAt(std::string_view text)
{
    double value = 0;
    auto const [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    return error == std::errc() && value >= 0 ? Number(value) : std::nullopt;
}

/// "some avg10=1.25 avg60=..." : the share of the last ten seconds in which something waited, in percent.
Number pressure(PassFiles& pass, char const* what)
{
    std::string const content = pass.shared(std::string("proc/pressure/") + what).content;
    std::size_t const at = content.find("some avg10=");
    if (at == std::string::npos)
        return std::nullopt;
    Number const value = decimalAt(std::string_view(content).substr(at + std::strlen("some avg10=")));
    return value && *value <= 100 ? value : std::nullopt;
}

void readSystem(Part const&, PassFiles& pass, Counters&, Readings& readings)
{
    auto const& answer = pass.shared("proc/loadavg");
    Number const load = decimalAt(answer.content);
    if (!load || *load > 1e9)
        note(readings, "proc/loadavg", answer ? "no number" : strerrordesc_np(answer.error));
    else
        readings.add(Id::LoadAverage, load);
    readings.add(Id::ProcessorPressure, pressure(pass, "cpu"));
    readings.add(Id::DrivePressure, pressure(pass, "io"));
}

/// Ticks that the processor worked, and all, of a row of /proc/stat: user nice system idle iowait irq softirq steal.
std::optional<std::pair<double, double>> ticksOf(std::vector<std::string> const& row)
{
    constexpr std::size_t kIdle = 4, kWaits = 5, kLast = 8;
    double busy = 0, all = 0;
    for (std::size_t i = 1; i < row.size() && i <= kLast; ++i) {
        Number const ticks = numberIn(row[i]);
        if (!ticks)
            return std::nullopt;
        all += *ticks;
        busy += i == kIdle || i == kWaits ? 0 : *ticks;
    }
    return all > 0 ? std::optional(std::pair(busy, all)) : std::nullopt;
}

void readProcessor(Part const& part, PassFiles& pass, Counters& before, Readings& readings)
{
    double busy = 0, all = 0, kilohertz = 0, clocks = 0;
    for (unsigned const number : part.processors) {
        if (auto const ticks = ticksOf(pass.row("proc/stat", 0, "cpu" + std::to_string(number)))) {
            busy += ticks->first;
            all += ticks->second;
        }
        std::string const folder = "sys/devices/system/cpu/cpu" + std::to_string(number) + "/cpufreq/";
        if (Number const clock = optional(pass, folder + "scaling_cur_freq"); clock && *clock > 0) {
            kilohertz += *clock;
            ++clocks;
        }
    }
    if (all == 0)
        note(readings, "proc/stat", "tells nothing of the processor");
    auto const rates = before.ratesTo({busy, all}, Clock::now());
    if (!rates.empty())
        readings.add(Id::ProcessorLoad, share(rates[0], rates[1]));
    readings.add(Id::CurrentClock, clocks > 0 ? Number(kilohertz / clocks * 1000) : Number());
    Number throttled;
    for (std::string const& path : part.counters)
        if (Number const count = optional(pass, path))
            throttled = throttled.value_or(0) + *count;
    readings.add(Id::ThrottleCount, throttled);
}

Number sumOf(Part const& part, PassFiles& pass, std::string_view ending)
{
    Number sum;
    for (std::string const& path : part.counters)
        if (path.find(ending, path.rfind('/')) != std::string::npos)
            if (Number const count = optional(pass, path))
                sum = sum.value_or(0) + *count;
    return sum;
}

void readErrorCounters(Part const& part, PassFiles& pass, Counters&, Readings& readings)
{
    readings.add(Id::CorrectedErrors, sumOf(part, pass, "ce_count"));
    readings.add(Id::UncorrectedErrors, sumOf(part, pass, "ue_count"));
    if (readings.values.empty() && !part.counters.empty())
        note(readings, part.counters.front(), "no number");
}

void readMemory(Part const& part, PassFiles& pass, Counters& before, Readings& readings)
{
    auto const kibibytes = [&pass](char const* row) { return numberAt(pass.row("proc/meminfo", 0, row), 1); };
    Number const total = kibibytes("MemTotal:"), available = kibibytes("MemAvailable:");
    Number const swap = kibibytes("SwapTotal:"), swapFree = kibibytes("SwapFree:");
    if (!available)
        note(readings, "proc/meminfo", "does not tell what is available");
    readings.add(Id::AvailableMemory, scaled(available, 1024));
    if (total && available)
        readings.add(Id::MemoryUse, share(*total - *available, total));
    if (swap && swapFree)
        readings.add(Id::SwapUse, share(*swap - *swapFree, swap));
    readings.add(Id::MemoryPressure, pressure(pass, "memory"));
    readErrorCounters(part, pass, before, readings);
}

// ---- drives, arrays, network cards

void readTraffic(Part const& part, PassFiles& pass, Counters& before, Readings& readings)
{
    constexpr double kSectorBits = 512 * 8; // of diskstats, whatever the drive's
    auto const& row = pass.row("proc/diskstats", 2, part.path);
    Number const read = numberAt(row, 5), written = numberAt(row, 9), busy = numberAt(row, 12);
    if (!read || !written || !busy)
        return note(readings, "proc/diskstats", "tells nothing of the drive");
    auto const rates = before.ratesTo({*read, *written, *busy}, Clock::now());
    if (rates.empty())
        return;
    readings.add(Id::ReadRate, rates[0] * kSectorBits);
    readings.add(Id::WriteRate, rates[1] * kSectorBits);
    readings.add(Id::BusyShare, std::min(100.0, rates[2] / 10)); // milliseconds a second
}

/// Of an eMMC: each step is a tenth of the life, 0x0B is beyond it; the worse of two kinds of cells.
Number wearOf(PassFiles& pass, std::string const& folder)
{
    constexpr double kStep = 10, kSteps = 11;
    auto const answer = pass.files().read(folder + "life_time");
    if (!answer)
        return std::nullopt;
    std::string_view const line = zel::text::firstLine(answer.content);
    Number worst;
    for (std::string_view const word : zel::text::split(line, ' '))
        if (Number const step = numberIn(word); step && *step > 0 && *step <= kSteps)
            worst = std::max(worst.value_or(0), std::min(100.0, *step * kStep));
    return worst;
}

void readDrive(Part const& part, PassFiles& pass, Counters& before, Readings& readings)
{
    std::string const folder = "sys/block/" + part.path + "/device/";
    readTraffic(part, pass, before, readings);
    readings.add(Id::Wear, wearOf(pass, folder));
    readings.add(Id::CommandErrors, optional(pass, folder + "ioerr_cnt"));
    readings.add(Id::CommandTimeouts, optional(pass, folder + "iotmo_cnt"));
}

void readArray(Part const& part, PassFiles& pass, Counters& before, Readings& readings)
{
    std::string const folder = "sys/block/" + part.path + "/md/";
    readTraffic(part, pass, before, readings);
    readings.add(Id::MissingMembers, optional(pass, folder + "degraded"));
    readings.add(Id::MismatchCount, optional(pass, folder + "mismatch_cnt"));
}

void readNetwork(Part const& part, PassFiles& pass, Counters& before, Readings& readings)
{
    std::string const folder = "sys/class/net/" + part.path + "/statistics/";
    Number const received = required(pass, folder + "rx_bytes", readings);
    Number const sent = required(pass, folder + "tx_bytes", readings);
    if (received && sent)
        if (auto const rates = before.ratesTo({*received, *sent}, Clock::now()); !rates.empty()) {
            readings.add(Id::ReceiveRate, rates[0] * 8);
            readings.add(Id::TransmitRate, rates[1] * 8);
        }
    readings.add(Id::ReceiveErrors, optional(pass, folder + "rx_errors"));
    readings.add(Id::TransmitErrors, optional(pass, folder + "tx_errors"));
}

// ---- from devices to parts

/// Of a property that is a number or a measurement, in its base unit.
Number valueOf(zel::ValueImp const& value)
{
    if (value.type() == zel::DataTypeImp::NONDISCRETEMEASUREMENT())
        return value.nonDiscreteMeasurement().value(zel::UnitMagnitude::BASEUNIT());
    if (value.type() == zel::DataTypeImp::DISCRETEMEASUREMENT())
        return static_cast<double>(value.discreteMeasurement().value());
    if (value.type() == zel::DataTypeImp::PERCENT())
        return value.doubleValue();
    return std::nullopt;
}

/// Both ends of a range that is none are no limits.
void dropEmptyRanges(std::vector<Limit>& limits)
{
    auto const find = [&limits](std::string const& key) {
        return std::find_if(limits.begin(), limits.end(),
                            [&key](Limit const& limit) { return limit.key == key; });
    };
    for (char const* what : {"Temperature", "Voltage", "FanSpeed", "Current", "Humidity"}) {
        auto const least = find(std::string("Minimum") + what), most = find(std::string("Maximum") + what);
        if (least == limits.end() || most == limits.end() || least->value < most->value)
            continue;
        std::string const low = least->key, high = most->key;
        std::erase_if(limits, [&](Limit const& limit) { return limit.key == low || limit.key == high; });
    }
}

void takeLimits(zel::DeviceImp const& device, Part& part)
{
    for (std::size_t i = 0; i < device.propertyCount(); ++i) {
        zel::PropertyImp const& property = device.getProperty(i);
        std::string const key = property.key().toUtf8();
        bool const isLimit =
            key.starts_with("Minimum") || key.starts_with("Maximum") || key.starts_with("Critical");
        if (Number const value = isLimit ? valueOf(property.value()) : std::nullopt)
            part.limits.push_back({key, *value});
    }
    dropEmptyRanges(part.limits);
}

std::string below(zel::DeviceImp const& device, std::string_view folder)
{
    std::string const path = device.osLocator().toUtf8();
    return path.starts_with(folder) ? path.substr(folder.size()) : "";
}

constexpr char kControllers[] = "sys/devices/system/edac/mc/mc";
constexpr int kMost = 32; // memory controllers, and modules of one

/// The counters of a folder of a memory controller, "ce_count", "dimm_ce_count", "ch0_ce_count" ...
void addCounters(MachineFiles const& files, std::string const& folder, char const* prefix, Part& part)
{
    for (char const* name : {"ce_count", "ue_count"})
        if (std::string const path = folder + "/" + prefix + name; files.isThere(path))
            part.counters.push_back(path);
}

/// Modules of the firmware's table are counted where a label of the controller's driver names them.
void addModuleCounters(zel::DeviceImp const& device, MachineFiles const& files, Part& part)
{
    std::string const locator = zel::text::lowered(device.osLocator().toUtf8());
    for (int controller = 0; controller < kMost; ++controller)
        for (int module = 0; module < kMost; ++module) {
            std::string const folder =
                kControllers + std::to_string(controller) + "/dimm" + std::to_string(module);
            auto const label = files.read(folder + "/dimm_label");
            std::string const name = zel::text::lowered(zel::text::firstLine(label.content));
            if (label && (name == locator || name.ends_with(" " + locator)))
                addCounters(files, folder, "dimm_", part);
        }
}

bool prepareInput(zel::DeviceImp const& device, Part& part)
{
    for (std::size_t i = 0; i < std::size(kInputs); ++i)
        if (device.deviceType() == C(zel::String(kInputs[i].type))) {
            part.path =
                below(device, "/") + (std::string_view(kInputs[i].type) == "ThermalZone" ? "/temp" : "");
            part.lane = part.path.substr(0, part.path.rfind('/'));
            part.read = kInputReaders[i];
            return part.path.starts_with("sys/");
        }
    return false;
}

bool prepareProcessor(zel::DeviceImp const& device, MachineFiles const& files, Part& part)
{
    zel::PropertyImp const* const numbers = device.property("LogicalProcessors");
    if (!numbers || numbers->value().type() != zel::DataTypeImp::UINT32ARRAY())
        return false;
    part.processors = numbers->value().uint32Array();
    std::string const folder = "sys/devices/system/cpu/cpu";
    for (unsigned const number : part.processors)
        if (std::string const path =
                folder + std::to_string(number) + "/thermal_throttle/core_throttle_count";
            files.isThere(path))
            part.counters.push_back(path);
    part.read = &readProcessor;
    return true;
}

bool prepareMemory(zel::DeviceImp const& device, MachineFiles const& files, Part& part)
{
    if (device.deviceType() == C::Memory()) {
        for (int number = 0; number < kMost; ++number)
            addCounters(files, kControllers + std::to_string(number), "", part);
        part.read = &readMemory;
        return device.hwLocator() == "Memory";
    }
    part.read = &readErrorCounters;
    if (device.deviceType() == C::MemoryChip()) {
        if (device.property("CorrectedErrors"))
            addModuleCounters(device, files, part);
    } else if (device.deviceType() == C(zel::String("MemoryErrorCounter"))) {
        std::string const path = below(device, "/");
        addCounters(files, path, "dimm_", part);
        addCounters(files, path, "", part);
    }
    return !part.counters.empty();
}

bool prepareSupply(zel::DeviceImp const& device, MachineFiles const& files, Part& part)
{
    part.path = below(device, "/") + "/";
    part.lane = part.path;
    part.read = &readSupply;
    part.countsInEnergy = files.isThere(part.path + "energy_now") || files.isThere(part.path + "energy_full");
    return part.path.starts_with("sys/");
}

bool prepareNamed(std::string name, Reader reader, Part& part)
{
    std::replace(name.begin(), name.end(), '/', '!'); // as the kernel writes it in /sys
    part.path = std::move(name);
    part.read = reader;
    return !part.path.empty() && part.path.find("..") == std::string::npos;
}

bool prepare(zel::DeviceImp const& device, MachineFiles const& files, Part& part)
{
    C const& type = device.deviceType();
    if (prepareInput(device, part))
        return true;
    if (type == C::Battery() || type == C::PowerSupply())
        return prepareSupply(device, files, part);
    if (type == C::CPU())
        return prepareProcessor(device, files, part);
    if (type == C::System())
        return part.read = &readSystem, true;
    if (type == C::RAID())
        return prepareNamed(below(device, "/dev/"), &readArray, part);
    if (device.deviceCapabilities().intersects(C::HardDrive()) && type != C::DrivePartition())
        return prepareNamed(below(device, "/dev/"), &readDrive, part);
    if (type == C::NetworkCard()) {
        part.lane = "network";
        return prepareNamed(device.osLocator().toUtf8(), &readNetwork, part);
    }
    return prepareMemory(device, files, part);
}

} // namespace

std::unique_ptr<Part> partOf(zel::DeviceImp const& device, MachineFiles const& files)
{
    auto part = std::make_unique<Part>();
    part->guid = device.guid().toUtf8();
    part->name = device.name().toUtf8();
    if (!prepare(device, files, *part))
        return nullptr;
    takeLimits(device, *part);
    return part;
}

} // namespace krel5::modules::sensors
