#include <zel/enumerator/processors/CpuInfo.h>

#include <zel/enumerator/processors/CpuNames.h>
#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace zel {

namespace {

using Text = std::optional<std::string>;

constexpr std::size_t kMaxProcessors = 1u << 16;
constexpr std::size_t kMaxCommon = 16; // SPARC and old ARM have two

std::optional<std::int64_t> number(Text const& text) { return text ? text::toNumber(*text) : std::nullopt; }

/// "2095.076", "3000.000000MHz" -> hertz
std::optional<std::uint64_t> megahertz(Text const& text)
{
    if (!text)
        return std::nullopt;
    char* end = nullptr;
    double const value = std::strtod(text->c_str(), &end);
    std::string_view const unit = end;
    if (end == text->c_str() || !(unit.empty() || unit == "MHz") || !(value > 0 && value < 1e6))
        return std::nullopt;
    return static_cast<std::uint64_t>(std::llround(value * 1e6));
}

/// The number in the line that says which processor a block is about. It stands in the first line or, behind what is
/// told of the machine as well (old ARM, MIPS), soon after; finding it must not cost a look at the other twenty.
std::optional<std::int64_t> processorOf(std::string_view block)
{
    constexpr int kLines = 4;
    for (int line = 0; line < kLines && !block.empty(); ++line) {
        std::size_t const end = std::min(block.find('\n'), block.size());
        std::string_view const text = block.substr(0, end);
        block.remove_prefix(std::min(end + 1, block.size()));
        std::size_t const colon = text.find(':');
        std::string_view const key = text::trimmed(text.substr(0, std::min(colon, text.size())));
        if (colon != std::string_view::npos && (key == "processor" || key == "cpu number"))
            return text::toNumber(text.substr(colon + 1));
    }
    return std::nullopt;
}

/// "39 bits physical, 48 bits virtual" -> 39, 48
std::optional<std::uint64_t> addressBits(std::string_view sizes, std::string_view which)
{
    constexpr std::uint64_t kMost = 128;
    for (std::string_view size : text::split(sizes, ','))
        if (size.ends_with(which)) {
            size.remove_suffix(which.size());
            auto const bits = text::toUnsigned(size);
            return bits && *bits > 0 && *bits <= kMost ? bits : std::nullopt;
        }
    return std::nullopt;
}

void addFlags(std::string_view flags, char separator, CpuFacts& facts)
{
    for (std::string_view const flag : text::split(flags, separator))
        if (!flag.empty())
            facts.flags.emplace_back(flag);
}

bool hasFlag(CpuFacts const& facts, std::string_view flag)
{
    return std::find(facts.flags.begin(), facts.flags.end(), flag) != facts.flags.end();
}

} // namespace

CpuInfo::CpuInfo(std::string content) : m_content(std::move(content))
{
    std::string_view rest = m_content;
    while (!rest.empty() && m_blocks.size() < kMaxProcessors) {
        std::size_t const end = rest.find("\n\n");
        std::string_view const block = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 2);
        std::string_view const lines = block.substr(std::min(block.find_first_not_of('\n'), block.size()));
        auto const processor = processorOf(lines);
        if (processor && *processor >= 0 && *processor < static_cast<std::int64_t>(kMaxProcessors))
            m_blocks.emplace(static_cast<unsigned>(*processor), lines);
        else if (!text::trimmed(lines).empty() && m_common.size() < kMaxCommon)
            m_common.push_back(lines);
    }
}

std::vector<unsigned> CpuInfo::processors() const
{
    std::vector<unsigned> numbers;
    for (auto const& [processor, block] : m_blocks)
        numbers.push_back(processor);
    return numbers;
}

Text CpuInfo::field(unsigned processor, std::string_view key) const
{
    auto const own = m_blocks.find(processor);
    for (std::size_t i = 0; i <= m_common.size(); ++i) {
        // Its own block first, then the common ones, the last first.
        std::string_view rest = i > 0                   ? m_common[m_common.size() - i]
                                : own == m_blocks.end() ? std::string_view()
                                                        : own->second;
        while (!rest.empty()) {
            std::size_t const end = std::min(rest.find('\n'), rest.size());
            std::string_view const line = rest.substr(0, end);
            rest.remove_prefix(std::min(end + 1, rest.size()));
            std::size_t const colon = line.find(':');
            if (colon == std::string_view::npos || text::trimmed(line.substr(0, colon)) != key)
                continue;
            std::string_view const value = text::trimmed(line.substr(colon + 1));
            return value.empty() ? std::nullopt : Text(value);
        }
    }
    return std::nullopt;
}

std::optional<std::uint64_t> CpuInfo::hertz(unsigned processor) const
{
    for (char const* key : {"cpu MHz", "clock", "CPU MHz", "cpu MHz dynamic"})
        if (auto const told = megahertz(field(processor, key)))
            return told;
    Text const ticks = field(processor, "Cpu" + std::to_string(processor) + "ClkTck"); // SPARC: hexadecimal
    auto const hertz = ticks ? text::toHexadecimal(*ticks) : std::nullopt;
    return hertz && *hertz > 0 ? hertz : std::nullopt;
}

Text CpuInfo::armModel(unsigned processor) const
{
    Text const part = field(processor, "CPU part");
    auto const implementer = number(field(processor, "CPU implementer"));
    if (!part || !implementer)
        return std::nullopt;
    auto const code = number(part);
    Text const name = code ? cpunames::armPart(*implementer, *code) : std::nullopt;
    return name ? name
                : Text(cpunames::armImplementer(*implementer).value_or("Processor") + " part " + *part);
}

Text CpuInfo::riscvModel(unsigned processor) const
{
    Text const isa = field(processor, "isa");
    if (Text const design = isa ? field(processor, "uarch") : std::nullopt)
        return cpunames::riscvDesign(*design);
    auto const vendor = isa ? number(field(processor, "mvendorid")) : std::nullopt;
    Text const name = vendor ? cpunames::riscvVendor(*vendor) : std::nullopt;
    return isa ? Text((name ? *name + " " : "") + "RISC-V " + isa->substr(0, isa->find('_'))) : std::nullopt;
}

/// "processor 0: version = FF,  identification = 0133E8,  machine = 2964"
Text CpuInfo::s390Model(unsigned processor) const
{
    constexpr std::string_view kMachine = "machine = ";
    Text const line = field(processor, "processor " + std::to_string(processor));
    std::size_t const at = line ? line->find(kMachine) : std::string::npos;
    if (at == std::string::npos)
        return std::nullopt;
    std::string const machine = line->substr(at + kMachine.size(), 4);
    Text const name = cpunames::s390Machine(machine);
    return name ? name : Text("IBM machine type " + machine);
}

Text CpuInfo::model(unsigned processor) const
{
    Text const told = text::meaningful(field(processor, "model name"));
    if (told && !told->starts_with("ARM") && !told->starts_with("AArch64")) // those name no design
        return told;
    if (Text const arm = armModel(processor))
        return arm;
    if (Text const cpu = field(processor, "cpu")) // "POWER7 (architected), altivec supported"
        return text::meaningful(std::string_view(*cpu).substr(0, cpu->find(',')));
    for (auto const read : {&CpuInfo::riscvModel, &CpuInfo::s390Model})
        if (Text const name = (this->*read)(processor))
            return name;
    for (char const* key : {"Model Name", "cpu model", "Processor"}) // LoongArch, MIPS, old ARM
        if (Text const name = text::meaningful(field(processor, key)))
            return name;
    Text const vendor = field(processor, "vendor_id"), family = field(processor, "cpu family");
    if (vendor && family)
        return *vendor + " family " + *family + " model " + field(processor, "model").value_or("?");
    return told;
}

std::optional<std::int64_t> CpuInfo::physicalId(unsigned processor) const
{
    auto const id = number(field(processor, "physical id"));
    return id ? id : number(field(processor, "package")); // LoongArch
}

std::optional<std::int64_t> CpuInfo::coreId(unsigned processor) const
{
    auto const id = number(field(processor, "core id"));
    return id ? id : number(field(processor, "core"));
}

void CpuInfo::addX86(unsigned processor, CpuFacts& facts) const
{
    addFlags(*field(processor, "flags"), ' ', facts);
    facts.architecture = hasFlag(facts, "lm") ? "x86-64" : "x86"; // long mode
    facts.stepping = field(processor, "stepping");
}

void CpuInfo::addArm(unsigned processor, CpuFacts& facts) const
{
    addFlags(field(processor, "Features").value_or(""), ' ', facts);
    Text const version = field(processor, "CPU architecture");
    facts.architecture = !version ? "ARM" : "ARMv" + (*version == "AArch64" ? "8" : *version);
    if (auto const implementer = number(field(processor, "CPU implementer")))
        facts.vendor = cpunames::armImplementer(*implementer);
    auto const variant = number(field(processor, "CPU variant"));
    auto const revision = number(field(processor, "CPU revision"));
    if (variant && revision)
        facts.stepping = "r" + std::to_string(*variant) + "p" + std::to_string(*revision);
}

void CpuInfo::addRiscv(unsigned processor, CpuFacts& facts) const
{
    Text const isa = field(processor, "isa");
    addFlags(*isa, '_', facts);
    facts.architecture = isa->starts_with("rv32") ? "RISC-V 32-bit" : "RISC-V 64-bit";
    auto const vendor = number(field(processor, "mvendorid"));
    facts.vendor = vendor ? cpunames::riscvVendor(*vendor) : std::nullopt;
}

void CpuInfo::addOther(unsigned processor, CpuFacts& facts) const
{
    Text const isa = field(processor, "ISA"), type = field(processor, "type");
    if (facts.vendor == "IBM/S390") {
        facts.vendor = "IBM";
        facts.architecture = "s390x";
    } else if (isa && isa->starts_with("loongarch")) {
        facts.vendor = "Loongson";
        facts.architecture =
            isa->find("loongarch64") != std::string::npos ? "LoongArch 64-bit" : "LoongArch 32-bit";
    } else if (type && type->starts_with("sun4")) {
        facts.architecture = "SPARC";
    } else if (field(processor, "cpu model")) {
        facts.architecture = "MIPS";
    } else if (field(processor, "cpu")) {
        facts.architecture = "PowerPC";
        if (facts.model && facts.model->starts_with("POWER"))
            facts.vendor = "IBM";
        if (Text const revision = field(processor, "revision")) // "2.1 (pvr 003f 0201)"
            facts.stepping = revision->substr(0, revision->find(' '));
    }
    for (char const* key : {"features", "Features"})
        if (Text const flags = field(processor, key); flags && facts.flags.empty())
            addFlags(*flags, ' ', facts);
}

CpuFacts CpuInfo::facts(unsigned processor) const
{
    CpuFacts facts;
    if (!m_blocks.empty() && m_blocks.count(processor) == 0)
        return facts;
    facts.vendor = field(processor, "vendor_id");
    facts.model = model(processor);
    facts.microcode = field(processor, "microcode");
    for (char const* key : {"address sizes", "Address Sizes"}) // x86, LoongArch
        if (Text const sizes = field(processor, key)) {
            facts.physicalAddressBits = addressBits(*sizes, " bits physical");
            facts.virtualAddressBits = addressBits(*sizes, " bits virtual");
        }
    facts.family = number(field(processor, "cpu family"));
    facts.modelNumber = number(field(processor, "model"));
    if (field(processor, "flags"))
        addX86(processor, facts);
    else if (field(processor, "CPU implementer"))
        addArm(processor, facts);
    else if (field(processor, "isa"))
        addRiscv(processor, facts);
    else
        addOther(processor, facts);
    return facts;
}

} // namespace zel
