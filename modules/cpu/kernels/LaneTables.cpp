#include <cpu/LaneKernels.h>

namespace krel5::modules::cpu {
namespace {

struct Row
{
    UnitClass m_class;
    LaneTable (*m_kernels)() noexcept;
};

constexpr Row kTables[] = {
    {UnitClass::Vector, laneKernels},       {UnitClass::Vector, unitKernels},
    {UnitClass::Vector, conversionKernels}, {UnitClass::Vector, shuffleKernels},
    {UnitClass::Vector, narrowKernels},     {UnitClass::Integer, bitKernels},
    {UnitClass::Integer, accessKernels},    {UnitClass::Integer, walkKernels},
};

} // namespace

std::vector<LaneKernel> allLaneKernels()
{
    std::vector<LaneKernel> all;
    for (Row const& row : kTables)
        all.insert(all.end(), row.m_kernels().begin(), row.m_kernels().end());
    return all;
}

std::vector<Kernel> withLaneKernels(KernelTable own, UnitClass unitClass)
{
    std::vector<Kernel> all(own.begin(), own.end());
    for (Row const& row : kTables)
        for (LaneKernel const& lane : row.m_kernels())
            if (row.m_class == unitClass)
                all.push_back(lane.m_kernel);
    return all;
}

} // namespace krel5::modules::cpu
