#include <cpu/CpuAffinity.h>

#include <cerrno>
#include <memory>
#include <sched.h>
#include <unistd.h>

namespace krel5::modules::cpu {
namespace {

struct FreeCpuSet
{
    void operator()(cpu_set_t* set) const noexcept { CPU_FREE(set); }
};
using CpuSet = std::unique_ptr<cpu_set_t, FreeCpuSet>;

// The kernel refuses a set smaller than its own with EINVAL; its own limit is 8192 processors.
constexpr unsigned kMostCpus = 1u << 16;

class SystemAffinity : public CpuAffinity
{
public:
    std::vector<unsigned> usable() override
    {
        std::vector<unsigned> cores;
        for (unsigned count = 1024; count <= kMostCpus; count *= 2) {
            CpuSet const set(CPU_ALLOC(count));
            std::size_t const size = CPU_ALLOC_SIZE(count);
            if (!set)
                return cores;
            if (sched_getaffinity(0, size, set.get()) != 0) {
                if (errno == EINVAL)
                    continue;
                return cores;
            }
            for (unsigned core = 0; core < count; ++core)
                if (CPU_ISSET_S(core, size, set.get()))
                    cores.push_back(core);
            return cores;
        }
        return cores;
    }

    std::size_t online() override
    {
        long const count = ::sysconf(_SC_NPROCESSORS_ONLN);
        return count > 0 ? static_cast<std::size_t>(count) : 0;
    }

    int pin(unsigned core) override
    {
        CpuSet const set(CPU_ALLOC(core + 1));
        std::size_t const size = CPU_ALLOC_SIZE(core + 1);
        if (!set)
            return ENOMEM;
        CPU_ZERO_S(size, set.get());
        CPU_SET_S(core, size, set.get());
        return sched_setaffinity(0, size, set.get()) == 0 ? 0 : errno;
    }
};

} // namespace

CpuAffinity& systemAffinity()
{
    static SystemAffinity s_affinity;
    return s_affinity;
}

} // namespace krel5::modules::cpu
