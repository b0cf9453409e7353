// From one place in memory to the next by what stands there, in an order from the seed, until the walk has come
// around: through what fits into a cache, through what was thrown out of all caches, and from page to page.

#include <cpu/LaneKernels.h>
#include <cpu/kernels/WalkMemory.h>

#include <algorithm>
#include <bit>
#include <utility>

namespace krel5::modules::cpu {
#if defined(__x86_64__)
namespace {

constexpr std::size_t kLineBytes = 64, kPageBytes = 4096;
constexpr std::size_t kMemoryBytes = 1 << 20; // of the walk that finds nothing in a cache

enum class Path { First, Second, Third, Memory, Pages };

std::size_t footprint(Path path) noexcept
{
    switch (path) {
    case Path::First:
        return cacheSizes().m_first / 2;
    case Path::Second:
        return cacheSizes().m_second / 2;
    case Path::Third:
        return std::min<std::size_t>(cacheSizes().m_second * 2, 4 << 20);
    case Path::Memory:
        return kMemoryBytes;
    case Path::Pages:
        break;
    }
    return kWalkBytes;
}

/// The places of a walk: as many as a power of two, a line or a page apart.
class Places
{
public:
    explicit Places(Path path) noexcept : m_words(walkMemory()), m_pages(path == Path::Pages)
    {
        std::size_t const bytes = std::min(footprint(path), m_words.size_bytes());
        m_count = std::bit_floor(std::max<std::size_t>(bytes / (m_pages ? kPageBytes : kLineBytes), 2));
    }
    std::size_t count() const noexcept { return m_count; }
    /// Two words: the next place, and what proves that these are the words of this place.
    std::uint64_t* at(std::size_t index) const noexcept
    {
        // In other lines of each page: in the same one, all would fall into the same few sets of the cache.
        std::size_t const byte = m_pages ? index * kPageBytes + index % (kPageBytes / kLineBytes) * kLineBytes
                                         : index * kLineBytes;
        return m_words.data() + byte / sizeof(std::uint64_t);
    }

private:
    std::span<std::uint64_t> m_words;
    bool m_pages;
    std::size_t m_count;
};

std::uint64_t proof(std::uint64_t seed, std::uint64_t index, std::uint64_t next) noexcept
{
    std::uint64_t const mixed =
        (index * 0x9E3779B97F4A7C15u ^ std::rotl(next, 29) ^ seed) * 0xBF58476D1CE4E5B9u;
    return mixed ^ mixed >> 31;
}

/// One cycle through all places (Sattolo, "An algorithm to generate a random cyclic permutation", 1986).
void lay(Places const& places, std::uint64_t seed) noexcept
{
    OperandSequence random(seed ^ 0x3A1C);
    for (std::size_t i = 0; i < places.count(); ++i)
        *places.at(i) = i;
    for (std::size_t i = places.count() - 1; i > 0; --i)
        std::swap(*places.at(i), *places.at(static_cast<std::size_t>((Uint128(random.next()) * i) >> 64)));
    for (std::size_t i = 0; i < places.count(); ++i)
        places.at(i)[1] = proof(seed, i, *places.at(i));
}

void throwOut(Places const& places) noexcept
{
    for (std::size_t i = 0; i < places.count(); ++i)
        asm volatile("clflush (%0)" : : "r"(places.at(i)) : "memory");
    asm volatile("mfence" : : : "memory");
}

/// Words that were wrong, then one if every place was met once and the walk ended where it began.
Answer follow(Places const& places, std::uint64_t seed, LaneFault const* fault) noexcept
{
    using Kind = LaneFault::Kind;
    std::size_t const count = places.count(), wrongStep = count / 2;
    Answer answer;
    std::uint64_t index = 0, sum = 0;
    for (std::size_t step = 0; step < count; ++step) {
        bool const wrong = fault != nullptr && step == wrongStep;
        std::uint64_t const from = wrong && fault->m_kind == Kind::Lane ? index ^ 1u : index;
        std::uint64_t next = places.at(from)[0];
        std::uint64_t const given = places.at(from)[1];
        if (wrong && fault->m_kind == Kind::Bit)
            next ^= std::uint64_t(1) << fault->m_lane;
        answer.m_words[0] += given != proof(seed, index, next);
        if (wrong && fault->m_kind == Kind::Operand)
            next ^= 1u;
        sum += index;
        index = next & (count - 1);
    }
    answer.m_words[1] = index == 0 && sum == count * (count - 1) / 2;
    return answer;
}

template <Path kPath>
Answer walk(std::uint64_t seed, LaneFault const* fault) noexcept
{
    Places const places(kPath);
    lay(places, seed);
    if (kPath == Path::Memory)
        throwOut(places);
    return follow(places, seed, fault);
}

template <Path kPath>
constexpr LaneKernel entry(char const* name) noexcept
{
    return {{name,
             "a permutation of one cycle comes around; every place proves what it holds",
             CpuFeature::None,
             [](std::uint64_t seed) noexcept { return walk<kPath>(seed, nullptr); },
             {{0, 1}}},
            walk<kPath>,
            false};
}

constexpr LaneKernel kKernels[] = {
    entry<Path::First>("walkfirstcache"), entry<Path::Second>("walksecondcache"),
    entry<Path::Third>("walkthirdcache"), entry<Path::Memory>("walkmemory"),
    entry<Path::Pages>("walkpages"),
};

} // namespace

LaneTable walkKernels() noexcept { return kKernels; }
#else
LaneTable walkKernels() noexcept { return {}; }
#endif

} // namespace krel5::modules::cpu
