#include <common/evidence/Counters.h>

#include <common/evidence/Events.h>
#include <common/evidence/HwmonInputs.h>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace krel5::modules::evidence {
namespace {

constexpr char kMemory[] = "sys/devices/system/edac/mc/";
constexpr char kProcessors[] = "sys/devices/system/cpu/";
constexpr char kFunctions[] = "sys/bus/pci/devices/";
constexpr char kInterrupts[] = "proc/interrupts";
constexpr std::size_t kLargestFirmware = 1 << 22;
// A column for each processor, and with many drives and cards a row for each processor and device: 256 of them make ten
// megabytes, and the rows of errors are the last.
constexpr std::size_t kLargestInterrupts = 1 << 29;

std::string firstLine(std::optional<std::string> text)
{
    return text ? text->substr(0, text->find('\n')) : std::string();
}

std::vector<std::string_view> wordsOf(std::string_view line)
{
    std::vector<std::string_view> words;
    std::size_t at = 0;
    while ((at = line.find_first_not_of(" \t", at)) != line.npos) {
        std::size_t const end = std::min(line.find_first_of(" \t", at), line.size());
        words.push_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

template <typename Use>
void eachLine(std::string_view text, Use use)
{
    while (!text.empty()) {
        std::size_t const end = std::min(text.find('\n'), text.size());
        use(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

/// The number behind the word that begins its line.
std::optional<std::uint64_t> behind(std::string_view text, std::string_view word)
{
    std::optional<std::uint64_t> number;
    eachLine(text, [&](std::string_view line) {
        if (auto const words = wordsOf(line); words.size() == 2 && words[0] == word)
            number = wholeNumber(words[1]);
    });
    return number;
}

/// Decimal, or hexadecimal behind 0x, as drives count.
std::optional<std::uint64_t> numberIn(std::string_view text)
{
    return text.starts_with("0x") ? wholeNumber(text.substr(2), 16) : wholeNumber(text);
}

} // namespace

MachineCounters::MachineCounters(MachineFolder const& machine) : m_machine(machine)
{
    findMemory();
    findProcessors();
    findBus();
    findDrives();
    findNetwork();
    findTemperatures();
}

void MachineCounters::add(EventKey event, Gravity gravity, Kind kind, std::string part, std::string path,
                          std::string word)
{
    constexpr std::size_t kMostHeld = 640; // of the 1024 files that a process may open
    HeldFile held;
    if (path != kInterrupts && m_held < kMostHeld)
        held = m_machine.hold(path);
    if (!held && !m_machine.has(path))
        return;
    m_held += held ? 1 : 0;
    m_counters.push_back(
        {event, gravity, kind, std::move(part), std::move(path), std::move(word), std::move(held)});
}

void MachineCounters::findMemory()
{
    for (std::string const& controller : m_machine.list(kMemory)) {
        if (!isNumbered(controller, "mc"))
            continue;
        std::string const folder = kMemory + controller + "/";
        std::size_t const before = m_counters.size();
        for (std::string const& name : m_machine.list(folder)) {
            if (!isNumbered(name, "dimm") && !isNumbered(name, "rank"))
                continue;
            std::string const module = folder + name + "/";
            std::string const label = firstLine(m_machine.attribute(module + "dimm_label"));
            std::string const part = label.empty() ? controller + " " + name : label;
            add(kEventMemoryCorrected, Gravity::Corrected, Kind::Machine, part, module + "dimm_ce_count");
            add(kEventMemoryUncorrected, Gravity::Uncorrected, Kind::Machine, part, module + "dimm_ue_count");
        }
        if (m_counters.size() == before) // before Linux 4.10 modules had names, and only rows counted
            for (std::string const& name : m_machine.list(folder))
                if (isNumbered(name, "csrow"))
                    findMemoryOfRow(folder + name + "/", controller + " " + name);
        // Errors that the controller could not lay at a module's door: all, where it tells modules and rows nothing.
        std::string const those = m_counters.size() == before ? "_count" : "_noinfo_count";
        add(kEventMemoryCorrected, Gravity::Corrected, Kind::Machine, controller, folder + "ce" + those);
        add(kEventMemoryUncorrected, Gravity::Uncorrected, Kind::Machine, controller, folder + "ue" + those);
    }
    m_countsMemoryErrors = !m_counters.empty();
}

void MachineCounters::findMemoryOfRow(std::string const& folder, std::string const& name)
{
    constexpr std::string_view kEnding = "_ce_count";
    for (std::string const& file : m_machine.list(folder)) {
        if (!file.ends_with(kEnding) ||
            !isNumbered(std::string_view(file).substr(0, file.size() - kEnding.size()), "ch"))
            continue;
        std::string const channel = file.substr(0, file.size() - kEnding.size());
        std::string const label = firstLine(m_machine.attribute(folder + channel + "_dimm_label"));
        add(kEventMemoryCorrected, Gravity::Corrected, Kind::Machine,
            label.empty() ? name + " " + channel : label, folder + file);
    }
    add(kEventMemoryUncorrected, Gravity::Uncorrected, Kind::Machine, name, folder + "ue_count");
}

void MachineCounters::findProcessors()
{
    // Of arch/x86/kernel/irq.c. MCP is not among them: it counts how often the kernel looked, not what it found.
    add(kEventMachineCheck, Gravity::Uncorrected, Kind::Processor, "", kInterrupts, "MCE:");
    add(kEventMachineCheckDeferred, Gravity::Uncorrected, Kind::Processor, "", kInterrupts, "DFR:");
    add(kEventMachineCheckCorrected, Gravity::Corrected, Kind::Processor, "", kInterrupts, "THR:");
    for (std::string const& name : m_machine.list(kProcessors))
        if (isNumbered(name, "cpu"))
            for (char const* const file : {"core_throttle_count", "package_throttle_count"})
                add(kEventThrottled, Gravity::Observed, Kind::Processor, name.substr(3),
                    kProcessors + name + "/thermal_throttle/" + file);
}

void MachineCounters::findBus()
{
    for (std::string const& address : m_machine.list(kFunctions)) {
        std::string const function = kFunctions + address + "/";
        if (!m_machine.has(function + "aer_dev_correctable"))
            continue;
        add(kEventBusCorrected, Gravity::Corrected, Kind::Bus, address, function + "aer_dev_correctable",
            "TOTAL_ERR_COR");
        add(kEventBusUncorrected, Gravity::Uncorrected, Kind::Bus, address, function + "aer_dev_nonfatal",
            "TOTAL_ERR_NONFATAL");
        add(kEventBusUncorrected, Gravity::Uncorrected, Kind::Bus, address, function + "aer_dev_fatal",
            "TOTAL_ERR_FATAL");
    }
}

void MachineCounters::findDrives()
{
    // Whole drives; the class, which has their parts too, is not in every captured tree.
    std::string const drives = m_machine.has("sys/block") ? "sys/block/" : "sys/class/block/";
    for (std::string const& name : m_machine.list(drives)) {
        std::string const device = drives + name + "/device/";
        // A drive also counts a command that it does not know as an error: no verdict follows from one.
        add(kEventDriveErrors, Gravity::Observed, Kind::Drive, name, device + "ioerr_cnt");
        add(kEventDriveTimeouts, Gravity::Observed, Kind::Drive, name, device + "iotmo_cnt");
    }
}

void MachineCounters::findNetwork()
{
    for (std::string const& name : m_machine.list("sys/class/net"))
        for (char const* const file : {"rx_errors", "tx_errors"})
            add(kEventNetworkErrors, Gravity::Corrected, Kind::Network, name,
                "sys/class/net/" + name + "/statistics/" + file);
}

void MachineCounters::findTemperatures()
{
    // Registers of the processor. Chips behind a slow bus, and drives, which answer with a command, are the sensors module's.
    static constexpr std::array<std::string_view, 2> kOfProcessors{"coretemp", "k10temp"};
    for (std::string const& chip : m_machine.list("sys/class/hwmon")) {
        std::string const folder = "sys/class/hwmon/" + chip + "/";
        if (std::find(kOfProcessors.begin(), kOfProcessors.end(),
                      firstLine(m_machine.attribute(folder + "name"))) == kOfProcessors.end())
            continue;
        constexpr std::string_view kEnding = "_crit";
        for (std::string const& file : m_machine.list(folder)) {
            if (!file.starts_with("temp") || !file.ends_with(kEnding))
                continue;
            if (auto const limit = m_machine.number(folder + file); limit && *limit > 0)
                m_temperatures.emplace_back(folder + file.substr(0, file.size() - kEnding.size()),
                                            double(*limit) / 1000);
        }
    }
}

std::vector<CounterValue> MachineCounters::read() const
{
    std::vector<CounterValue> values;
    readInterrupts(values);
    for (std::size_t i = 0; i < m_counters.size(); ++i) {
        Counter const& counter = m_counters[i];
        if (counter.path == kInterrupts)
            continue;
        std::string const text =
            (counter.file ? counter.file.attribute() : m_machine.attribute(counter.path)).value_or("");
        auto const number = counter.word.empty() ? numberIn(text) : behind(text, counter.word);
        if (number)
            values.push_back({i, counter.part, *number});
    }
    return values;
}

/// One value a processor, which is the part: the head of the table names the columns.
void MachineCounters::readInterrupts(std::vector<CounterValue>& values) const
{
    auto const table = m_machine.read(kInterrupts, kLargestInterrupts);
    if (!table)
        return;
    std::vector<std::size_t> rows;
    for (std::size_t i = 0; i < m_counters.size(); ++i)
        if (m_counters[i].path == kInterrupts)
            rows.push_back(i);
    std::vector<std::string_view> head;
    eachLine(*table, [&](std::string_view line) {
        if (head.empty()) {
            head = wordsOf(line);
            return;
        }
        auto const label = line.substr(std::min(line.find_first_not_of(' '), line.size()));
        for (std::size_t const i : rows) {
            Counter const& counter = m_counters[i];
            if (!label.starts_with(counter.word))
                continue;
            auto const words = wordsOf(line);
            for (std::size_t column = 0; words[0] == counter.word && column < head.size(); ++column) {
                auto const number = column + 1 < words.size() ? wholeNumber(words[column + 1]) : std::nullopt;
                if (!number || !isNumbered(head[column], "CPU"))
                    break;
                values.push_back({i, std::string(head[column].substr(3)), *number});
            }
        }
    });
}

std::vector<HotPart> MachineCounters::hotParts() const
{
    std::vector<HotPart> hot;
    for (auto const& [sensor, limit] : m_temperatures) {
        auto const degrees = m_machine.number(sensor + "_input");
        if (!degrees || double(*degrees) / 1000 < limit)
            continue;
        std::string const label = firstLine(m_machine.attribute(sensor + "_label"));
        hot.push_back(
            {label.empty() ? sensor.substr(sensor.rfind('/') + 1) : label, double(*degrees) / 1000, limit});
    }
    return hot;
}

bool hasErrorCorrection(MachineFolder const& machine)
{
    // Structures of the firmware's table: type, length, handle, what the type says; then texts, which two zeros end.
    constexpr std::size_t kHead = 4, kUse = 5, kCorrection = 6;
    constexpr char kArray = 16, kEnd = 127, kSystemMemory = 3, kSingleBit = 5, kMultiBit = 6, kCrc = 7;
    std::string const table =
        machine.read("sys/firmware/dmi/tables/DMI", kLargestFirmware).value_or(std::string());
    std::size_t at = 0;
    while (at + kHead <= table.size() && table[at] != kEnd) {
        std::size_t const length = static_cast<unsigned char>(table[at + 1]);
        if (length < kHead || at + length > table.size())
            return false;
        if (table[at] == kArray && length > kCorrection && table[at + kUse] == kSystemMemory)
            if (char const way = table[at + kCorrection];
                way == kSingleBit || way == kMultiBit || way == kCrc)
                return true;
        std::size_t const texts = table.find(std::string(2, '\0'), at + length);
        if (texts == table.npos)
            return false;
        at = texts + 2;
    }
    return false;
}

} // namespace krel5::modules::evidence
