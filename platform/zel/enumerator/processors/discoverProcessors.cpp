// Processor packages with their cores, threads and caches.
// Reads /proc/cpuinfo and, in /sys/devices/system/cpu, online, cpu*/topology, cpu*/cache, cpu*/cpufreq;
// the firmware's table for what it knows of sockets; and what CpuConditions.cpp names.

#include <zel/enumerator/processors/discover.h>

#include <zel/enumerator/firmware/SmbiosTables.h>
#include <zel/enumerator/processors/CpuConditions.h>
#include <zel/enumerator/processors/CpuInfo.h>
#include <zel/enumerator/processors/CpuTopology.h>
#include <zel/enumerator/processors/FirmwareProcessors.h>
#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <numeric>

namespace zel {

namespace {

using C = CapabilityImp;

constexpr std::size_t kCpuInfoLimit = 32u << 20; // about 1.5 KiB a logical processor

struct FlagCapability
{
    char const* flag;
    C const& (*capability)();
};

// Names of the flags: arch/x86/include/asm/cpufeatures.h ("pni" is SSE3).
constexpr FlagCapability kFlagCapabilities[] = {
    {"mmx", &C::MMX},          {"sse", &C::SSE},     {"sse2", &C::SSE2},      {"pni", &C::SSE3},
    {"ssse3", &C::SSSE3},      {"pse36", &C::PSE36}, {"3dnow", &C::AMD3DNOW}, {"3dnowext", &C::AMD3DNOWEXT},
    {"mmxext", &C::AMDSSEMMX},
};

C capabilitiesOf(CpuFacts const& facts, CpuPackage const& package)
{
    C capabilities = C::CPU() | C::Hardware();
    for (FlagCapability const& row : kFlagCapabilities)
        if (std::find(facts.flags.begin(), facts.flags.end(), row.flag) != facts.flags.end())
            capabilities |= row.capability();
    if (package.cores.size() > 1)
        capabilities |= C::MultiCore();
    if (!package.cores.empty() && package.threads.size() > package.cores.size())
        capabilities |= C::HT();
    return capabilities;
}

std::optional<ValueImp> flagsOf(CpuFacts const& facts)
{
    if (facts.flags.empty())
        return std::nullopt;
    return ValueImp(std::vector<String>(facts.flags.begin(), facts.flags.end()));
}

ValueImp numbersOf(Processors const& processors)
{
    return ValueImp(std::vector<std::uint32_t>(processors.begin(), processors.end()));
}

String processorNames(Processors const& processors) { return String("cpu" + text::listText(processors)); }

std::optional<std::int32_t> idOf(std::optional<std::int64_t> id)
{
    return id && *id >= -1 && *id <= 0x7FFFFFFF ? std::optional(static_cast<std::int32_t>(*id))
                                                : std::nullopt;
}

using Tally = std::vector<std::pair<std::string, unsigned>>;

/// How many cores of a package are of each kind, in the order of the first of each.
template <typename KindOf>
Tally tally(CpuPackage const& package, KindOf kindOf)
{
    Tally kinds;
    for (CpuCore const& core : package.cores) {
        std::optional<std::string> const kind = kindOf(core);
        auto const known = std::find_if(kinds.begin(), kinds.end(),
                                        [&kind](auto const& entry) { return entry.first == kind; });
        if (known != kinds.end())
            ++known->second;
        else if (kind)
            kinds.emplace_back(*kind, 1u);
    }
    return kinds;
}

/// "6 x Performance core, 8 x Efficient core"; nothing where all are of one kind.
std::optional<std::string> kindsText(Tally const& kinds)
{
    std::string text;
    for (auto const& [kind, count] : kinds)
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " x " + kind;
    return kinds.size() > 1 ? std::optional(text) : std::nullopt;
}

/// Describes one package after the other.
class Describer
{
public:
    Describer(Root const& root, CpuInfo const& info, DeviceSink& sink)
        : m_root(root), m_info(info), m_sink(sink)
    {}

    /// `socket`: where the firmware says that the package sits; null when it does not.
    void add(CpuPackage const& package, SmbiosProcessor const* socket)
    {
        m_label = "CPU " + std::to_string(package.number);
        m_location = location::cpu(static_cast<int>(package.number)).text.toUtf8();
        // Cores of one package may differ; the package has the lowest and the highest.
        std::vector<Clocks> clocks;
        for (CpuCore const& core : package.cores)
            clocks.push_back(clocksOf(core.threads.front()));
        if (clocks.empty())
            clocks.push_back(clocksOf(package.threads.front()));
        addPackage(package, socket, together(clocks));
        for (std::size_t i = 0; i < package.cores.size(); ++i)
            addCore(package.cores[i], clocks[i]);
        for (unsigned const thread : package.threads)
            addThread(thread, package);
        for (CpuCache const& cache : package.caches)
            addCache(cache, package);
    }

private:
    struct Clocks
    {
        measure::Count minimum, maximum; ///< hertz
    };

    /// A clock in cpufreq, which counts in kHz.
    measure::Count clock(unsigned processor, char const* attribute) const
    {
        auto const kilohertz =
            m_root.number("sys/devices/system/cpu/cpu" + std::to_string(processor) + "/cpufreq/" + attribute);
        return kilohertz && *kilohertz > 0 ? measure::scaled(static_cast<std::uint64_t>(*kilohertz), 1000)
                                           : std::nullopt;
    }

    Clocks clocksOf(unsigned processor) const
    {
        return {clock(processor, "cpuinfo_min_freq"), clock(processor, "cpuinfo_max_freq")};
    }

    static Clocks together(std::vector<Clocks> const& all)
    {
        Clocks result;
        for (Clocks const& one : all) {
            if (one.minimum && (!result.minimum || *one.minimum < *result.minimum))
                result.minimum = one.minimum;
            if (one.maximum && (!result.maximum || *one.maximum > *result.maximum))
                result.maximum = one.maximum;
        }
        return result;
    }

    static void addClocks(Clocks const& clocks, DeviceDescription& device)
    {
        device.add("MinimumClock", measure::hertz(clocks.minimum));
        device.add("MaximumClock", measure::hertz(clocks.maximum));
    }

    DeviceDescription part(C const& type, std::string const& name, char const* description,
                           std::string const& location) const
    {
        DeviceDescription device;
        device.type = type;
        device.capabilities = type | C::Hardware();
        device.name = String(m_label + " " + name);
        device.description = description;
        placeAt(device, m_location + ":" + location, "CPU");
        placeBelow(device, C::CPU(), String(m_location));
        return device;
    }

    void addPackage(CpuPackage const& package, SmbiosProcessor const* socket, Clocks const& clocks)
    {
        CpuFacts facts = m_info.facts(package.threads.front());
        auto const models =
            tally(package, [this](CpuCore const& core) { return m_info.model(core.threads.front()); });
        if (models.size() > 1) { // each kind is a design of its own, as in an ARM chip
            facts.model.reset();
            for (auto const& [model, count] : models)
                facts.model = facts.model ? *facts.model + " + " + model : model;
        }
        DeviceDescription device;
        device.type = C::CPU();
        device.capabilities = capabilitiesOf(facts, package);
        device.name = String(facts.model.value_or(m_label));
        device.description = "Processor";
        device.osLocator = processorNames(package.threads);
        placeAt(device, location::cpu(static_cast<int>(package.number)));
        placeBelowSystem(device);
        device.add("Manufacturer", facts.vendor);
        device.add("Model", facts.model);
        device.add("Architecture", facts.architecture);
        device.add("CpuFamily", narrow(facts.family));
        device.add("CpuModel", narrow(facts.modelNumber));
        device.add("Stepping", facts.stepping);
        device.add("Microcode", facts.microcode);
        device.add("PhysicalAddressWidth", measure::bits(facts.physicalAddressBits));
        device.add("VirtualAddressWidth", measure::bits(facts.virtualAddressBits));
        device.add("PackageId", idOf(package.id));
        if (!package.cores.empty())
            device.properties.emplace_back("CoreCount",
                                           ValueImp(static_cast<unsigned>(package.cores.size())));
        auto kinds = tally(package, [](CpuCore const& core) {
            return core.kind ? std::optional<std::string>(core.kind) : std::nullopt;
        });
        device.add("CoreKinds", kindsText(kinds.size() > 1 ? kinds : models));
        device.properties.emplace_back("ThreadCount",
                                       ValueImp(static_cast<unsigned>(package.threads.size())));
        device.properties.emplace_back("LogicalProcessors", numbersOf(package.threads));
        addClocks(clocks, device);
        if (socket)
            FirmwareProcessors::addFacts(*socket, device);
        device.add("Flags", flagsOf(facts));
        device.add("ThrottleCount", packageThrottleCount(m_root, package.threads));
        if (auto lines = vulnerabilities(m_root); !lines.empty())
            device.properties.emplace_back("Vulnerabilities", ValueImp(std::move(lines)));
        m_sink.add(std::move(device));
    }

    void addCore(CpuCore const& core, Clocks const& clocks)
    {
        unsigned const first = core.threads.front();
        DeviceDescription device = part(C::CPUCore(), "core " + std::to_string(first), "Processor core",
                                        "CORE:" + std::to_string(first));
        device.osLocator = processorNames(core.threads);
        device.add("Model", m_info.model(first)); // of each: cores of one package may differ
        device.add("CoreId", idOf(core.id));
        device.add("CoreKind", core.kind ? std::optional(core.kind) : std::nullopt);
        device.add("ThrottleCount", coreThrottleCount(m_root, core.threads));
        device.properties.emplace_back("ThreadCount", ValueImp(static_cast<unsigned>(core.threads.size())));
        device.properties.emplace_back("LogicalProcessors", numbersOf(core.threads));
        addClocks(clocks, device);
        m_sink.add(std::move(device));
    }

    void addThread(unsigned thread, CpuPackage const& package)
    {
        DeviceDescription device = part(C::CPUThread(), "thread " + std::to_string(thread),
                                        "Logical processor", "THREAD:" + std::to_string(thread));
        device.osLocator = processorNames({thread});
        for (CpuCore const& core : package.cores)
            if (std::find(core.threads.begin(), core.threads.end(), thread) != core.threads.end())
                placeBelow(device, C::CPUCore(),
                           String(m_location + ":CORE:" + std::to_string(core.threads.front())));
        device.properties.emplace_back("LogicalProcessor", ValueImp(thread));
        // cpuinfo's clocks are there already; cpufreq may measure for milliseconds when it is asked.
        auto const hertz = measure::hertz(m_info.hertz(thread));
        device.add("CurrentClock", hertz ? hertz : measure::hertz(clock(thread, "scaling_cur_freq")));
        m_sink.add(std::move(device));
    }

    void addCache(CpuCache const& cache, CpuPackage const& package)
    {
        std::string const kind = cache.type == "Data" ? "d" : cache.type == "Instruction" ? "i" : "";
        std::string const level = "L" + std::to_string(cache.level);
        std::string const first = std::to_string(cache.sharedBy.front());
        std::string const word = kind == "d" ? " data" : kind == "i" ? " instruction" : "";
        DeviceDescription device = part(C::CPUCache(), level + word + " cache " + first, "Processor cache",
                                        level + kind + ":" + first);
        device.osLocator = processorNames(cache.sharedBy);
        for (CpuCore const& core : package.cores)
            if (std::includes(core.threads.begin(), core.threads.end(), cache.sharedBy.begin(),
                              cache.sharedBy.end()))
                placeBelow(device, C::CPUCore(),
                           String(m_location + ":CORE:" + std::to_string(core.threads.front())));
        device.properties.emplace_back("CacheLevel", ValueImp(cache.level));
        device.properties.emplace_back("CacheType", ValueImp(String(cache.type)));
        device.add("Size", measure::bytes(cache.bytes));
        device.add("CacheLineSize", measure::bytes(cache.lineSize));
        device.add("CacheWays", narrow(cache.ways));
        device.add("CacheSets", narrow(cache.sets));
        device.properties.emplace_back("LogicalProcessors", numbersOf(cache.sharedBy));
        m_sink.add(std::move(device));
    }

    Root const& m_root;
    CpuInfo const& m_info;
    DeviceSink& m_sink;
    std::string m_label;    ///< "CPU 0", of the package being described
    std::string m_location; ///< "CPU:0"
};

} // namespace

void discoverProcessors(Root const& root, DeviceSink& sink)
{
    CpuInfo const info(root.read("proc/cpuinfo", kCpuInfoLimit).value_or(""));
    Describer describer(root, info, sink);
    auto const packages = readCpuTopology(root, info);
    FirmwareProcessors const firmware(readSmbios(root));
    std::vector<std::size_t> order(packages.size()); // by number, as firmware counts sockets
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(), [&packages](std::size_t left, std::size_t right) {
        return packages[left].number < packages[right].number;
    });
    for (std::size_t place = 0; place < order.size(); ++place)
        describer.add(packages[order[place]], firmware.ofPackage(place, packages.size()));
    firmware.addOthers(packages.size(), sink);
}

} // namespace zel
