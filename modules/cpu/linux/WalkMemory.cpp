#include <cpu/kernels/WalkMemory.h>

#include <array>

#include <sys/mman.h>
#include <unistd.h>

namespace krel5::modules::cpu {
namespace {

class Region
{
public:
    Region() noexcept
    {
        for (std::size_t bytes = kWalkBytes; bytes > sizeof m_little; bytes /= 2) {
            void* const at = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            if (at == MAP_FAILED)
                continue;
            (void)madvise(at, bytes, MADV_NOHUGEPAGE); // a system without large pages refuses
            m_words = {static_cast<std::uint64_t*>(at), bytes / sizeof(std::uint64_t)};
            return;
        }
    }
    ~Region()
    {
        if (m_words.data() != m_little.data())
            (void)munmap(m_words.data(), m_words.size_bytes());
    }
    Region(Region const&) = delete;
    Region& operator=(Region const&) = delete;
    std::span<std::uint64_t> words() const noexcept { return m_words; }

private:
    alignas(64) std::array<std::uint64_t, (64 << 10) / sizeof(std::uint64_t)> m_little{};
    std::span<std::uint64_t> m_words = m_little;
};

std::size_t told(int name, std::size_t usual) noexcept
{
    long const bytes = sysconf(name);
    return bytes > 0 ? static_cast<std::size_t>(bytes) : usual;
}

} // namespace

std::span<std::uint64_t> walkMemory() noexcept
{
    thread_local Region t_region;
    return t_region.words();
}

CacheSizes cacheSizes() noexcept
{
    static CacheSizes const s_sizes{told(_SC_LEVEL1_DCACHE_SIZE, 32 << 10),
                                    told(_SC_LEVEL2_CACHE_SIZE, 512 << 10)};
    return s_sizes;
}

} // namespace krel5::modules::cpu
