#include <zel/enumerator/processors/CpuTopology.h>

#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <tuple>

namespace zel {

namespace {

constexpr char kFolder[] = "sys/devices/system/cpu";

std::string folderOf(unsigned processor) { return std::string(kFolder) + "/cpu" + std::to_string(processor); }

bool contains(Processors const& ascending, unsigned processor)
{
    return std::binary_search(ascending.begin(), ascending.end(), processor);
}

void keepOnly(Processors& ascending, Processors const& known)
{
    std::erase_if(ascending, [&known](unsigned processor) { return !contains(known, processor); });
}

/// A set of processors from the first readable of several attributes, each a list or, by its name, a mask.
/// Holds `self` in any case, and only processors that are `known`.
std::optional<Processors> processorSet(Root const& root, std::initializer_list<std::string> attributes,
                                       unsigned self, Processors const& known)
{
    for (std::string const& attribute : attributes) {
        auto const content = root.read(attribute, 1u << 16);
        if (!content)
            continue;
        auto processors = attribute.ends_with("_list") ? text::toList(*content) : text::toMask(*content);
        if (!processors)
            continue;
        std::sort(processors->begin(), processors->end());
        keepOnly(*processors, known);
        if (contains(*processors, self))
            return processors;
    }
    return std::nullopt;
}

Processors onlineProcessors(Root const& root, CpuInfo const& info)
{
    Processors present;
    for (std::string const& name : root.list(kFolder))
        if (auto const number = text::indexAfter(name, "cpu"))
            present.push_back(*number);
    if (present.empty())
        return info.processors();
    std::sort(present.begin(), present.end());
    auto const line = root.read(std::string(kFolder) + "/online", 1u << 16);
    if (auto const online = line ? text::toList(*line) : std::nullopt; online && !online->empty())
        keepOnly(present, *online);
    return present;
}

/// What groups processors into packages: the firmware's id, else the lowest processor of the package.
struct PackageKey
{
    bool isId;
    std::int64_t number;
    auto operator<=>(PackageKey const&) const = default;
};

class Reader
{
public:
    Reader(Root const& root, CpuInfo const& info)
        : m_root(root), m_info(info), m_online(onlineProcessors(root, info))
    {}

    std::vector<CpuPackage> read()
    {
        for (unsigned const processor : m_online)
            addProcessor(processor);
        addKinds();
        bool const idsKnown = std::all_of(m_packages.begin(), m_packages.end(),
                                          [](CpuPackage const& p) { return p.id.has_value(); });
        for (std::size_t i = 0; i < m_packages.size(); ++i)
            m_packages[i].number =
                static_cast<unsigned>(idsKnown ? *m_packages[i].id : static_cast<std::int64_t>(i));
        return std::move(m_packages);
    }

private:
    void addProcessor(unsigned processor)
    {
        std::string const topology = folderOf(processor) + "/topology/";
        auto const siblings = processorSet(
            m_root,
            {topology + "thread_siblings_list", topology + "core_cpus_list", topology + "thread_siblings"},
            processor, m_online);
        CpuPackage& package = packageOf(processor, topology);
        package.threads.push_back(processor);
        if (siblings && siblings->front() == processor)
            package.cores.push_back({*siblings, m_root.number(topology + "core_id")});
        else if (!siblings)
            addCoreById(processor, topology, package);
        addCaches(processor, package);
    }

    CpuPackage& packageOf(unsigned processor, std::string const& topology)
    {
        auto id = m_root.number(topology + "physical_package_id");
        if (!id)
            id = m_info.physicalId(processor);
        PackageKey key{true, id.value_or(-1)};
        if (!id || *id < 0 || *id > 0x7FFFFFFF) { // -1: the firmware does not number them
            id.reset();
            auto const members =
                processorSet(m_root, {topology + "core_siblings_list", topology + "package_cpus_list"},
                             processor, m_online);
            key = {false, members ? static_cast<std::int64_t>(members->front()) : -1};
        }
        auto const [found, isNew] = m_packageIndex.emplace(key, m_packages.size());
        if (isNew)
            m_packages.emplace_back().id = id;
        return m_packages[found->second];
    }

    /// Without lists of siblings: processors of a package with the same numbers of die, cluster and core share
    /// a core. A core's number alone is not unique where there are dies or clusters.
    void addCoreById(unsigned processor, std::string const& topology, CpuPackage& package)
    {
        auto core = m_root.number(topology + "core_id");
        if (!core || *core < 0)
            core = m_info.coreId(processor);
        if (!core || *core < 0)
            return;
        std::array const key{static_cast<std::int64_t>(&package - m_packages.data()),
                             m_root.number(topology + "die_id").value_or(-1),
                             m_root.number(topology + "cluster_id").value_or(-1), *core};
        auto const [found, isNew] = m_coreIndex.emplace(key, package.cores.size());
        if (isNew)
            package.cores.push_back({{processor}, core});
        else
            package.cores[found->second].threads.push_back(processor);
    }

    void addCaches(unsigned processor, CpuPackage& package)
    {
        std::string const folder = folderOf(processor) + "/cache";
        for (std::string const& name : m_root.list(folder)) {
            if (!text::indexAfter(name, "index"))
                continue;
            std::string const index = folder + "/" + name + "/";
            auto const sharedBy = processorSet(m_root, {index + "shared_cpu_list", index + "shared_cpu_map"},
                                               processor, m_online);
            if (sharedBy && sharedBy->front() != processor)
                continue; // told by the first of those that share it
            auto const level = m_root.number(index + "level");
            auto const type = m_root.text(index + "type");
            if (!level || *level < 1 || *level > 9 || !type)
                continue;
            if (!m_caches.emplace(*level, *type, processor).second)
                continue;
            CpuCache cache;
            cache.level = static_cast<unsigned>(*level);
            cache.type = *type;
            cache.sharedBy = sharedBy.value_or(Processors{processor});
            auto const size = m_root.text(index + "size");
            cache.bytes = size ? text::toByteCount(*size) : std::nullopt;
            auto const line = m_root.number(index + "coherency_line_size");
            cache.lineSize =
                line && *line > 0 ? std::optional(static_cast<std::uint64_t>(*line)) : std::nullopt;
            cache.ways = m_root.number(index + "ways_of_associativity");
            cache.sets = m_root.number(index + "number_of_sets");
            package.caches.push_back(std::move(cache));
        }
    }

    /// A hybrid processor has a counter unit for each kind of its cores.
    void addKinds()
    {
        for (auto const& [unit, kind] :
             {std::pair{"cpu_core", "Performance core"}, std::pair{"cpu_atom", "Efficient core"},
              std::pair{"cpu_lowpower", "Low-power efficient core"}}) {
            auto const line = m_root.read(std::string("sys/devices/") + unit + "/cpus", 1u << 16);
            auto const processors = line ? text::toList(*line) : std::nullopt;
            if (!processors)
                continue;
            for (CpuPackage& package : m_packages)
                for (CpuCore& core : package.cores)
                    if (std::find(processors->begin(), processors->end(), core.threads.front()) !=
                        processors->end())
                        core.kind = kind;
        }
    }

    Root const& m_root;
    CpuInfo const& m_info;
    Processors m_online;
    std::vector<CpuPackage> m_packages;
    std::map<PackageKey, std::size_t> m_packageIndex;
    std::map<std::array<std::int64_t, 4>, std::size_t> m_coreIndex; ///< by package, die, cluster, core
    std::set<std::tuple<std::int64_t, std::string, unsigned>> m_caches;
};

} // namespace

std::vector<CpuPackage> readCpuTopology(Root const& root, CpuInfo const& info)
{
    return Reader(root, info).read();
}

} // namespace zel
