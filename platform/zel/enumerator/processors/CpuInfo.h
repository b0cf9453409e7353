#pragma once
// /proc/cpuinfo, whose keys and layout differ from one processor family to the next.

#include <zel/foundation/Export.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel {

/// Facts that are known about one logical processor; what its family does not tell is absent.
struct CpuFacts
{
    std::optional<std::string> vendor, model, microcode, architecture;
    std::optional<std::string> stepping; ///< "5"; "r1p2" of ARM
    std::optional<std::int64_t> family, modelNumber;
    std::optional<std::uint64_t> physicalAddressBits, virtualAddressBits;
    std::vector<std::string> flags; ///< "flags" of x86, "Features" of ARM
};

class ZEL_EXPORT CpuInfo
{
public:
    explicit CpuInfo(std::string content);

    /// Numbers of the logical processors listed, ascending.
    std::vector<unsigned> processors() const;
    /// Facts of one processor, with those of the file's common part; empty facts for one that is not listed.
    CpuFacts facts(unsigned processor) const;
    // Single facts, for asking about every processor.
    std::optional<std::string> model(unsigned processor) const;
    /// Current clock; the nominal one where the kernel tells only that.
    std::optional<std::uint64_t> hertz(unsigned processor) const;
    std::optional<std::int64_t> physicalId(unsigned processor) const;
    std::optional<std::int64_t> coreId(unsigned processor) const;

private:
    std::optional<std::string> field(unsigned processor, std::string_view key) const;
    std::optional<std::string> armModel(unsigned processor) const;
    std::optional<std::string> riscvModel(unsigned processor) const;
    std::optional<std::string> s390Model(unsigned processor) const;
    void addX86(unsigned processor, CpuFacts& facts) const;
    void addArm(unsigned processor, CpuFacts& facts) const;
    void addRiscv(unsigned processor, CpuFacts& facts) const;
    void addOther(unsigned processor, CpuFacts& facts) const;

    std::string m_content;
    std::map<unsigned, std::string_view> m_blocks; ///< by logical processor; into m_content
    std::vector<std::string_view> m_common;        ///< blocks without a number (POWER, s390, old ARM)
};

} // namespace zel
