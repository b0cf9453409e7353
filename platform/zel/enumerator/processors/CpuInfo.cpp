#include <zel/enumerator/processors/CpuInfo.h>

#include <zel/enumerator/root/Text.h>

#include <cmath>
#include <cstdlib>

namespace zel {

namespace {

using Text = std::optional<std::string>;

constexpr std::size_t kMaxProcessors = 1u << 16;

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

struct ArmName
{
    unsigned number;
    char const* name;
};

// Main ID register: implementer, and part numbers of the architecture's own designs (Arm CPU reference
// manuals).
constexpr ArmName kImplementers[] = {
    {0x41, "ARM"},    {0x42, "Broadcom"}, {0x43, "Cavium"},   {0x46, "Fujitsu"}, {0x48, "HiSilicon"},
    {0x4e, "NVIDIA"}, {0x50, "APM"},      {0x51, "Qualcomm"}, {0x53, "Samsung"}, {0x56, "Marvell"},
    {0x61, "Apple"},  {0x69, "Intel"},    {0x70, "Phytium"},  {0xc0, "Ampere"},
};
constexpr ArmName kParts[] = {
    {0xb76, "ARM1176"},     {0xc05, "Cortex-A5"},   {0xc07, "Cortex-A7"},   {0xc08, "Cortex-A8"},
    {0xc09, "Cortex-A9"},   {0xc0e, "Cortex-A17"},  {0xc0f, "Cortex-A15"},  {0xd03, "Cortex-A53"},
    {0xd04, "Cortex-A35"},  {0xd05, "Cortex-A55"},  {0xd07, "Cortex-A57"},  {0xd08, "Cortex-A72"},
    {0xd09, "Cortex-A73"},  {0xd0a, "Cortex-A75"},  {0xd0b, "Cortex-A76"},  {0xd0c, "Neoverse-N1"},
    {0xd0d, "Cortex-A77"},  {0xd40, "Neoverse-V1"}, {0xd41, "Cortex-A78"},  {0xd44, "Cortex-X1"},
    {0xd46, "Cortex-A510"}, {0xd47, "Cortex-A710"}, {0xd48, "Cortex-X2"},   {0xd49, "Neoverse-N2"},
    {0xd4a, "Neoverse-E1"}, {0xd4b, "Cortex-A78C"}, {0xd4d, "Cortex-A715"}, {0xd4e, "Cortex-X3"},
    {0xd4f, "Neoverse-V2"}, {0xd80, "Cortex-A520"}, {0xd81, "Cortex-A720"}, {0xd82, "Cortex-X4"},
};

template <std::size_t Size>
Text nameOf(ArmName const (&names)[Size], std::optional<std::int64_t> number)
{
    for (ArmName const& row : names)
        if (number == row.number)
            return row.name;
    return std::nullopt;
}

} // namespace

CpuInfo::CpuInfo(std::string content) : m_content(std::move(content))
{
    std::string_view rest = m_content;
    while (!rest.empty() && m_blocks.size() < kMaxProcessors) {
        std::size_t const end = rest.find("\n\n");
        std::string_view const block = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 2);
        // The number stands in the first line; finding it must not cost a look at the other twenty.
        std::string_view const line =
            text::firstLine(block.substr(std::min(block.find_first_not_of('\n'), block.size())));
        std::size_t const colon = line.find(':');
        auto const processor =
            colon == std::string_view::npos || text::trimmed(line.substr(0, colon)) != "processor"
                ? std::nullopt
                : text::toNumber(line.substr(colon + 1));
        if (processor && *processor >= 0 && *processor < static_cast<std::int64_t>(kMaxProcessors))
            m_blocks.emplace(static_cast<unsigned>(*processor), block);
        else if (!text::trimmed(block).empty())
            m_common = block;
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
    auto const block = m_blocks.find(processor);
    for (std::string_view rest : {block == m_blocks.end() ? std::string_view() : block->second, m_common}) {
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
    auto const current = megahertz(field(processor, "cpu MHz"));
    return current ? current : megahertz(field(processor, "clock"));
}

Text CpuInfo::model(unsigned processor) const
{
    if (Text name = text::meaningful(field(processor, "model name")))
        return name;
    if (Text const power = field(processor, "cpu")) // "POWER7 (architected), altivec supported"
        return text::meaningful(std::string_view(*power).substr(0, power->find(',')));
    Text const part = field(processor, "CPU part");
    if (!part)
        return std::nullopt;
    Text const name =
        number(field(processor, "CPU implementer")) == 0x41 ? nameOf(kParts, number(part)) : std::nullopt;
    return name ? name : Text("Processor part " + *part);
}

std::optional<std::int64_t> CpuInfo::physicalId(unsigned processor) const
{
    return number(field(processor, "physical id"));
}

std::optional<std::int64_t> CpuInfo::coreId(unsigned processor) const
{
    return number(field(processor, "core id"));
}

CpuFacts CpuInfo::facts(unsigned processor) const
{
    CpuFacts facts;
    if (m_blocks.count(processor) == 0)
        return facts;
    facts.vendor = field(processor, "vendor_id");
    facts.model = model(processor);
    facts.microcode = field(processor, "microcode");
    facts.addressSizes = field(processor, "address sizes");
    facts.family = number(field(processor, "cpu family"));
    facts.modelNumber = number(field(processor, "model"));
    facts.stepping = number(field(processor, "stepping"));
    Text flags = field(processor, "flags");
    if (flags) {
        facts.architecture = "x86";
    } else if (auto const implementer = number(field(processor, "CPU implementer"))) {
        flags = field(processor, "Features");
        facts.architecture = "ARM";
        if (auto const version = number(field(processor, "CPU architecture")))
            *facts.architecture += "v" + std::to_string(*version);
        facts.vendor = nameOf(kImplementers, implementer);
        facts.stepping = number(field(processor, "CPU revision"));
    } else if (field(processor, "cpu")) {
        facts.architecture = "PowerPC";
    }
    for (std::string_view const flag : text::split(flags ? *flags : std::string_view(), ' '))
        if (!flag.empty())
            facts.flags.emplace_back(flag);
    return facts;
}

} // namespace zel
