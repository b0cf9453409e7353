// Which faults each kernel catches, shown by putting them in: one core of two calculates with the fault, and the
// report must name that core and no other. Prints the table.

#include <modules/ReportLog.h>
#include <modules/cpu/PaperCores.h>

#include <cpu/LaneKernels.h>

#include <gtest/gtest.h>

#include <cfenv>
#include <iostream>
#include <map>
#include <set>
#include <string>

namespace krel5::modules::cpu {
namespace {

using Kind = LaneFault::Kind;

/// What a kernel without an operand of its own in each lane can see. A theorem that holds for all operands sees no wrong
/// one, equal lanes no exchange, exact arithmetic no rounding.
struct Sees
{
    std::string m_kinds;            ///< letters of the columns
    std::vector<unsigned> m_places; ///< lanes, or how many values go by before the one that is wrong
    unsigned m_operand;             ///< the same for the operand
    bool m_most = false;            ///< more than half of the places, not all
};

std::vector<unsigned> const kFirst{0}, kLanes{0, 1, 15};
// A quarter of all numbers ends in zero where the right ones do: these kernels miss a quarter of all wrong steps.
Sees const kLucasLehmer{
    "bo", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 100, 200, 300, 400}, 0, true};

// By the name without its instruction set.
std::map<std::string, Sees> const kSees = {
    {"crc32", {"bo", kFirst, 0}},
    {"crc32residue", {"b", kFirst, 0}},
    {"sha256", {"b", kFirst, 0}},
    {"muldiv128", {"b", kFirst, 0}},
    {"fermat64", {"bo", kFirst, 0}},
    {"lucaslehmer521", kLucasLehmer},
    {"lucaslehmer1279", kLucasLehmer},
    {"bitcounts", {"bo", kFirst, 0}},
    {"lfsr16", {"b", kFirst, 0}},
    {"branches", {"bo", kFirst, 0}},
    {"primes", {"bo", kFirst, 0}},
    {"ieee754double", {"bro", kFirst, 0}},
    {"ieee754float", {"bro", kFirst, 0}},
    {"doubleinteger", {"bro", kFirst, 1}},
    {"floatinteger", {"bro", kFirst, 1}},
    {"rounding", {"bo", kFirst, 0}},
    // The first terms are so small that what is wrong with them is rounded away by the sums that follow.
    {"exactsums", {"bo", {1000}, 0}},
    {"pascal", {"bo", kFirst, 0}},
    {"x87", {"bro", kFirst, 0}},
    {"mix", {"lbo", kLanes, 1}},
    {"lehmer", {"bo", kLanes, 0}},
    {"turn", {"lbo", kLanes, 0}},
    {"double", {"bo", kLanes, 1}},
    {"fused", {"bo", kLanes, 0}},
    {"crc32c", {"bo", kFirst, 0}},
    {"aes128", {"lbo", kLanes, 0}},
};

struct Column
{
    char m_letter;
    char const* m_name;
    Kind m_kind;
};
constexpr Column kColumns[] = {{'l', "lane", Kind::Lane},
                               {'b', "bit", Kind::Bit},
                               {'r', "rounding", Kind::Rounding},
                               {'o', "operand", Kind::Operand}};

Kernel const* s_kernel = nullptr;
LaneKernel const* s_lane = nullptr; // null: a kernel that takes its faults from the thread it runs in
LaneFault s_fault{};

Answer upwards(std::uint64_t seed) noexcept
{
    int const before = std::fegetround();
    std::fesetround(FE_UPWARD);
    Answer const answer = s_kernel->m_run(seed);
    std::fesetround(before);
    return answer;
}

Answer faultyOnCoreFive(std::uint64_t seed) noexcept
{
    if (t_core != 5)
        return s_kernel->m_run(seed);
    if (s_lane != nullptr)
        return s_lane->m_run(seed, &s_fault);
    if (s_fault.m_kind == Kind::Rounding)
        return upwards(seed);
    Injection const injected(s_fault);
    return s_kernel->m_run(seed);
}

/// Whether the report has one fault, this kernel's on core five.
bool isCaught(LaneFault const& fault)
{
    s_fault = fault;
    Kernel kernel = *s_kernel;
    kernel.m_run = faultyOnCoreFive;
    ReportLog host;
    PaperCores cores({2, 5});
    return runCoreTest(host, {&kernel, 1}, cores, onePass(false)) == Outcome::Fail &&
           host.m_faults.size() == 1 &&
           host.m_faults[0].starts_with("CpuWrongAnswer Core=5 Kernel=" + std::string(kernel.m_name) + " ");
}

std::vector<unsigned> places(Sees const& sees, Kind kind)
{
    if (kind == Kind::Rounding)
        return {0};
    return kind == Kind::Operand && s_lane == nullptr ? std::vector<unsigned>{sees.m_operand} : sees.m_places;
}

void showRow(Sees const& sees)
{
    std::cout << s_kernel->m_name << ":";
    if (!hasFeature(s_kernel->m_feature)) {
        std::cout << " the processor has no unit for it\n";
        return;
    }
    for (Column const& column : kColumns) {
        if (sees.m_kinds.find(column.m_letter) == std::string::npos)
            continue;
        std::size_t caught = 0;
        auto const all = places(sees, column.m_kind);
        for (unsigned const place : all)
            caught += isCaught({column.m_kind, place});
        EXPECT_TRUE(caught == all.size() || (sees.m_most && 2 * caught > all.size()))
            << s_kernel->m_name << " " << column.m_name << " " << caught;
        std::cout << " " << column.m_name << " " << caught << "/" << all.size();
    }
    std::cout << "\n";
}

std::string withoutSet(std::string name)
{
    for (std::string const set : {"vector128", "avx2", "avx512"})
        if (name.starts_with(set))
            return name.substr(set.size());
    return name;
}

TEST(EveryKernel, seesItsFaultsAndNamesTheCore)
{
    std::set<std::string> shown;
    for (LaneKernel const& lane : allLaneKernels()) {
        s_lane = &lane;
        s_kernel = &lane.m_kernel;
        showRow({lane.m_rounds ? "lbro" : "lbo", kLanes, 0});
        shown.insert(lane.m_kernel.m_name);
    }
    s_lane = nullptr;
    for (KernelTable const table : {integerKernels(), floatingPointKernels(), vectorKernels()})
        for (Kernel const& kernel : table) {
            if (shown.contains(kernel.m_name))
                continue;
            auto const sees = kSees.find(withoutSet(kernel.m_name));
            ASSERT_NE(sees, kSees.end()) << kernel.m_name << ": no row says what it sees";
            s_kernel = &kernel;
            showRow(sees->second);
        }
}

} // namespace
} // namespace krel5::modules::cpu
