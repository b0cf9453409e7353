// Compare-and-swap, string instructions, accesses across lines and pages, loads from stores that are still on
// their way: each once by the instruction and once byte by byte.

#include <cpu/kernels/Comparison.h>

namespace krel5::modules::cpu {
#if defined(__x86_64__)
namespace {

using Word = std::uint64_t;

// ---- compare-and-swap: what is in memory is expected, or differs from it by one bit

struct alignas(16) Pair
{
    Word m_low, m_high;
};

Pair inMemory(Operands const& in, unsigned bits) noexcept
{
    Pair found{laneOf<Word>(in.m_a, 0), laneOf<Word>(in.m_a, 1)};
    Word const choice = laneOf<Word>(in.m_c, 0);
    if ((choice & 1) != 0) {
        auto const at = static_cast<unsigned>((choice >> 8) % bits);
        (at < 64 ? found.m_low : found.m_high) ^= Word(1) << at % 64;
    }
    return found;
}

/// What stands in memory afterwards, what was found, and whether it was the expected.
void tell(Bytes& out, Pair const& memory, Pair const& found, bool equal) noexcept
{
    setLane(out, 0, memory.m_low);
    setLane(out, 1, memory.m_high);
    setLane(out, 2, found.m_low);
    setLane(out, 3, found.m_high);
    setLane(out, 4, Word(equal));
}

template <unsigned kBits>
void softSwap(Operands const& in, Bytes& out) noexcept
{
    Pair const expected{laneOf<Word>(in.m_a, 0), laneOf<Word>(in.m_a, 1)}, found = inMemory(in, kBits);
    bool const equal = found.m_low == expected.m_low && (kBits == 64 || found.m_high == expected.m_high);
    Pair const fresh{laneOf<Word>(in.m_b, 0), kBits == 64 ? found.m_high : laneOf<Word>(in.m_b, 1)};
    tell(out, equal ? fresh : found, {found.m_low, kBits == 64 ? expected.m_high : found.m_high}, equal);
}

void swap8(Operands const& in, Bytes& out) noexcept
{
    Pair memory = inMemory(in, 64);
    Word low = laneOf<Word>(in.m_a, 0);
    std::uint8_t equal = 0;
    asm volatile("lock cmpxchg %[fresh], %[memory]\n\tsete %[equal]"
                 : [memory] "+m"(memory.m_low), "+a"(low), [equal] "=r"(equal)
                 : [fresh] "r"(laneOf<Word>(in.m_b, 0))
                 : "cc", "memory");
    tell(out, memory, {low, laneOf<Word>(in.m_a, 1)}, equal != 0);
}

/// In halves of 32 bits each.
void swapTwoHalves(Operands const& in, Bytes& out) noexcept
{
    Pair memory = inMemory(in, 64);
    Word const expected = laneOf<Word>(in.m_a, 0), fresh = laneOf<Word>(in.m_b, 0);
    auto low = static_cast<std::uint32_t>(expected), high = static_cast<std::uint32_t>(expected >> 32);
    std::uint8_t equal = 0;
    asm volatile("lock cmpxchg8b %[memory]\n\tsete %[equal]"
                 : [memory] "+m"(memory.m_low), "+a"(low), "+d"(high), [equal] "=r"(equal)
                 : "b"(static_cast<std::uint32_t>(fresh)), "c"(static_cast<std::uint32_t>(fresh >> 32))
                 : "cc", "memory");
    tell(out, memory, {Word(high) << 32 | low, laneOf<Word>(in.m_a, 1)}, equal != 0);
}

void swap16(Operands const& in, Bytes& out) noexcept
{
    Pair memory = inMemory(in, 128);
    Word low = laneOf<Word>(in.m_a, 0), high = laneOf<Word>(in.m_a, 1);
    std::uint8_t equal = 0;
    asm volatile("lock cmpxchg16b %[memory]\n\tsete %[equal]"
                 : [memory] "+m"(memory), "+a"(low), "+d"(high), [equal] "=r"(equal)
                 : "b"(laneOf<Word>(in.m_b, 0)), "c"(laneOf<Word>(in.m_b, 1))
                 : "cc", "memory");
    tell(out, memory, {low, high}, equal != 0);
}

// ---- an area with a page's end in its middle

constexpr unsigned kPage = 4096;

struct alignas(kPage) Area
{
    std::array<std::uint8_t, 2 * kPage> m_bytes;
};

/// Where an access reads and writes; the kernel may write `m_written` bytes from `m_to` on, and no others.
struct Access
{
    unsigned m_from, m_to, m_bytes, m_written;
    Word m_choice;
};

using Accessor = void (*)(std::uint8_t* area, Access const&) noexcept;
/// Chooses the places; may write what is searched for.
using Chooser = Access (*)(Area&, Word choice) noexcept;

void spoilByte(Area& area, unsigned at, unsigned bit) noexcept
{
    area.m_bytes[at] = static_cast<std::uint8_t>(area.m_bytes[at] ^ 1u << bit % 8);
}

constexpr unsigned kAccessSets = 32;

/// The area is compared as a whole: what was written, where, and nothing beside it.
template <Accessor kUnit, Accessor kSoftware, Chooser kChoose>
Answer access(std::uint64_t seed, LaneFault const* fault) noexcept
{
    using Kind = LaneFault::Kind;
    auto const has = [&](Kind kind) { return fault != nullptr && fault->m_kind == kind; };
    OperandSequence random(seed ^ 0xACCE55);
    Area area, right;
    Answer answer;
    for (unsigned set = 0; set < kAccessSets; ++set) {
        for (unsigned i = 0; i < sizeof area; i += 8) {
            Word const word = random.next();
            std::memcpy(area.m_bytes.data() + i, &word, 8);
        }
        Access const of = kChoose(area, random.next());
        unsigned const lane = fault != nullptr ? fault->m_lane : 0;
        unsigned const source = of.m_from + lane % of.m_bytes, result = of.m_to + lane % of.m_written;
        right = area;
        kSoftware(right.m_bytes.data(), of);
        if (has(Kind::Operand))
            spoilByte(area, source, set);
        kUnit(area.m_bytes.data(), of);
        bool const overwritten = source >= of.m_to && source < of.m_to + of.m_written;
        if (has(Kind::Operand) && !overwritten)
            spoilByte(area, source, set); // only what was made of it counts
        if (has(Kind::Bit))
            spoilByte(area, result, set);
        if (has(Kind::Lane))
            area.m_bytes[result] = area.m_bytes[of.m_to + (lane + 1) % of.m_written];
        answer.m_words[0] += area.m_bytes == right.m_bytes;
    }
    return answer;
}

// ---- string instructions

/// One side near a page's end, up to 700 bytes; in one of two the areas overlap, either way around.
Access strings(Area&, Word choice) noexcept
{
    unsigned const bytes = 8 * (1 + static_cast<unsigned>(choice >> 8) % 87);
    unsigned const from = kPage - static_cast<unsigned>(choice >> 24) % 700;
    unsigned const apart = static_cast<unsigned>(choice >> 40) % 61;
    unsigned to = from + 2000;
    if ((choice & 1) != 0)
        to = (choice & 2) != 0 ? from + apart : from - apart;
    return {from, to, bytes, bytes, choice >> 48};
}

void moveUp(std::uint8_t* area, Access const& of) noexcept
{
    auto const* from = area + of.m_from;
    auto* to = area + of.m_to;
    Word count = of.m_bytes;
    asm volatile("rep movsb" : "+S"(from), "+D"(to), "+c"(count) : : "memory");
}
void moveWordsUp(std::uint8_t* area, Access const& of) noexcept
{
    auto const* from = area + of.m_from;
    auto* to = area + of.m_to;
    Word count = of.m_bytes / 8;
    asm volatile("rep movsq" : "+S"(from), "+D"(to), "+c"(count) : : "memory");
}
template <unsigned kUnit>
void softMoveUp(std::uint8_t* area, Access const& of) noexcept
{
    for (unsigned i = 0; i < of.m_bytes; i += kUnit) {
        std::array<std::uint8_t, kUnit> unit;
        for (unsigned k = 0; k < kUnit; ++k)
            unit[k] = area[of.m_from + i + k];
        for (unsigned k = 0; k < kUnit; ++k)
            area[of.m_to + i + k] = unit[k];
    }
}

// The direction is turned back in the same statement: the rest of the program relies on it.
void moveDown(std::uint8_t* area, Access const& of) noexcept
{
    auto const* from = area + of.m_from + of.m_bytes - 1;
    auto* to = area + of.m_to + of.m_bytes - 1;
    Word count = of.m_bytes;
    asm volatile("std\n\trep movsb\n\tcld" : "+S"(from), "+D"(to), "+c"(count) : : "memory", "cc");
}
void moveWordsDown(std::uint8_t* area, Access const& of) noexcept
{
    auto const* from = area + of.m_from + of.m_bytes - 8;
    auto* to = area + of.m_to + of.m_bytes - 8;
    Word count = of.m_bytes / 8;
    asm volatile("std\n\trep movsq\n\tcld" : "+S"(from), "+D"(to), "+c"(count) : : "memory", "cc");
}
template <unsigned kUnit>
void softMoveDown(std::uint8_t* area, Access const& of) noexcept
{
    for (unsigned i = of.m_bytes; i > 0; i -= kUnit)
        softMoveUp<kUnit>(area, {of.m_from + i - kUnit, of.m_to + i - kUnit, kUnit, kUnit, 0});
}

/// The operand is the eight bytes at the source.
void fill(std::uint8_t* area, Access const& of) noexcept
{
    Word value;
    std::memcpy(&value, area + of.m_from, 8);
    auto* to = area + of.m_to;
    Word words = of.m_written / 8 - 1;
    asm volatile("rep stosq" : "+D"(to), "+c"(words) : "a"(value) : "memory");
    Word bytes = 8;
    asm volatile("rep stosb" : "+D"(to), "+c"(bytes) : "a"(value) : "memory");
}
void softFill(std::uint8_t* area, Access const& of) noexcept
{
    for (unsigned i = 0; i < of.m_written; ++i)
        area[of.m_to + i] = area[of.m_from + (i < of.m_written - 8 ? i % 8 : 0)];
}
Access fills(Area& area, Word choice) noexcept
{
    Access of = strings(area, choice & ~Word(1));
    of.m_to = kPage + of.m_from % 64; // behind the value
    of.m_from = 8;
    of.m_written = of.m_bytes + 8;
    of.m_bytes = 8;
    return of;
}

/// Two equal runs of bytes but for one place; the answer goes to the start of the area.
Access searches(Area& area, Word choice) noexcept
{
    Access of = strings(area, choice & ~Word(1));
    unsigned const other = of.m_from - 2000, bytes = of.m_bytes + 20;
    unsigned const differs = 17 + static_cast<unsigned>(choice >> 50) % (bytes - 17);
    for (unsigned i = 0; i < bytes; ++i) {
        if (area.m_bytes[of.m_from + i] == 0)
            area.m_bytes[of.m_from + i] = 1; // no other zero before the one that is looked for
        area.m_bytes[other + i] = area.m_bytes[of.m_from + i];
    }
    area.m_bytes[other + differs] = 0;
    return {other, 8, bytes, 8, choice};
}
void search(std::uint8_t* area, Access const& of) noexcept
{
    auto const *first = area + of.m_from, *second = area + of.m_from + 2000, *zero = area + of.m_from;
    Word same = of.m_bytes, rest = of.m_bytes;
    // Flags as neither search leaves them if it looks at no byte.
    asm volatile("cmp %%ecx, %%ecx\n\trepe cmpsb" : "+S"(first), "+D"(second), "+c"(same) : : "memory", "cc");
    asm volatile("test %%edi, %%edi\n\trepne scasb" : "+D"(zero), "+c"(rest) : "a"(0) : "memory", "cc");
    Word const places = (of.m_bytes - same) | (of.m_bytes - rest) << 32;
    std::memcpy(area + of.m_to, &places, 8);
}
void softSearch(std::uint8_t* area, Access const& of) noexcept
{
    Word differs = 0, zero = 0;
    while (area[of.m_from + differs] == area[of.m_from + 2000 + differs])
        ++differs;
    while (area[of.m_from + zero] != 0)
        ++zero;
    Word const places = (differs + 1) | (zero + 1) << 32;
    std::memcpy(area + of.m_to, &places, 8);
}

// ---- across lines and pages

/// From across the page's end or a line's, to across another one.
template <unsigned kBytes>
Access crossing(Area&, Word choice) noexcept
{
    unsigned const inside = 1 + static_cast<unsigned>(choice >> 8) % (kBytes - 1);
    unsigned const other = 1 + static_cast<unsigned>(choice >> 16) % (kBytes - 1);
    unsigned const line = 64 * (1 + static_cast<unsigned>(choice >> 24) % 60);
    bool const reads = (choice & 1) != 0; // which of the two crosses the page
    unsigned const page = kPage - inside, lines = line - other + ((choice & 2) != 0 ? kPage : 0);
    return {reads ? page : lines, reads ? lines : page, kBytes, kBytes, choice};
}

template <unsigned kBytes>
void softCopy(std::uint8_t* area, Access const& of) noexcept
{
    softMoveUp<kBytes>(area, of);
}

#define KREL5_COPY(NAME, CODE)                                                                               \
    void NAME(std::uint8_t* area, Access const& of) noexcept                                                 \
    {                                                                                                        \
        asm volatile(CODE                                                                                    \
                     :                                                                                       \
                     : [from] "r"(area + of.m_from), [to] "r"(area + of.m_to)                                \
                     : "memory", "rax", KREL5_VECTOR_REGISTERS);                                             \
    }
KREL5_COPY(copy2, "movzwl (%[from]), %%eax\n\tmovw %%ax, (%[to])")
KREL5_COPY(copy4, "movl (%[from]), %%eax\n\tmovl %%eax, (%[to])")
KREL5_COPY(copy8, "movq (%[from]), %%rax\n\tmovq %%rax, (%[to])")
KREL5_COPY(copy16, "movdqu (%[from]), %%xmm0\n\tmovdqu %%xmm0, (%[to])")
KREL5_COPY(copy32, "vmovdqu (%[from]), %%ymm0\n\tvmovdqu %%ymm0, (%[to])\n\tvzeroupper")
KREL5_COPY(copy64, "vmovdqu64 (%[from]), %%zmm0\n\tvmovdqu64 %%zmm0, (%[to])\n\tvzeroupper")

// ---- loads right behind the stores that they read from; the place may lie across a line or the page

Access forwarding(Area&, Word choice) noexcept
{
    unsigned const scratch = kPage - static_cast<unsigned>(choice >> 8) % 80;
    return {64, scratch, 16, 48, choice};
}

/// A wide store, narrow loads from within it; then two narrow stores and a wide load; then stores that overlap, and a
/// load of a part of each. What was loaded is stored beside it.
void forward(std::uint8_t* area, Access const& of) noexcept
{
    asm volatile(
        "movq (%[from]), %%rax\n\tmovq 8(%[from]), %%rcx\n\t"
        "movq %%rax, (%[to])\n\tmovzbl 5(%[to]), %%edx\n\tmovzwl 3(%[to]), %%r8d\n\t"
        "movl 2(%[to]), %%r9d\n\tshlq $32, %%r9\n\tshll $16, %%r8d\n\torq %%r8, %%r9\n\t"
        "orq %%rdx, %%r9\n\tmovq %%r9, 16(%[to])\n\t"
        "movl %%eax, (%[to])\n\tmovl %%ecx, 4(%[to])\n\tmovq (%[to]), %%r8\n\t"
        "movq %%r8, 24(%[to])\n\t"
        "movq %%rax, (%[to])\n\tmovl %%ecx, 2(%[to])\n\tmovb %%cl, 7(%[to])\n\tmovq %%rcx, 8(%[to])\n\t"
        "movq 1(%[to]), %%r8\n\tmovq %%r8, 32(%[to])\n\t"
        "movdqu (%[to]), %%xmm0\n\tpsrldq $3, %%xmm0\n\tmovq %%xmm0, 40(%[to])"
        :
        : [from] "r"(area + of.m_from), [to] "r"(area + of.m_to)
        : "memory", "cc", "rax", "rcx", "rdx", "r8", "r9", "xmm0");
}
void softForward(std::uint8_t* area, Access const& of) noexcept
{
    auto const* const a = area + of.m_from;
    auto* const to = area + of.m_to;
    auto const* const c = a + 8;
    std::array<std::uint8_t, 8> const narrow{a[5], 0, a[3], a[4], a[2], a[3], a[4], a[5]};
    std::array<std::uint8_t, 8> const joined{a[0], a[1], a[2], a[3], c[0], c[1], c[2], c[3]};
    std::array<std::uint8_t, 16> const stored{a[0], a[1], c[0], c[1], c[2], c[3], a[6], c[0],
                                              c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7]};
    for (unsigned i = 0; i < 16; ++i)
        to[i] = stored[i];
    for (unsigned i = 0; i < 8; ++i) {
        to[16 + i] = narrow[i];
        to[24 + i] = joined[i];
        to[32 + i] = stored[1 + i];
        to[40 + i] = stored[3 + i];
    }
}

template <Accessor kUnit, Accessor kSoftware, Chooser kChoose>
constexpr LaneKernel entry(char const* name, CpuFeature feature) noexcept
{
    return {{name,
             "the same byte by byte, without the instruction; 32 operand sets",
             feature,
             [](std::uint64_t seed) noexcept { return access<kUnit, kSoftware, kChoose>(seed, nullptr); },
             {{kAccessSets}}},
            access<kUnit, kSoftware, kChoose>,
            false};
}

constexpr Shape kSwap{8, 8, 40};

constexpr LaneKernel kKernels[] = {
    compared<swap8, softSwap<64>, kSwap>("cmpxchg", CpuFeature::None),
    compared<swapTwoHalves, softSwap<64>, kSwap>("cmpxchg8b", CpuFeature::None),
    compared<swap16, softSwap<128>, kSwap>("cmpxchg16b", CpuFeature::CompareExchange16),
    entry<moveUp, softMoveUp<1>, strings>("movsb", CpuFeature::None),
    entry<moveWordsUp, softMoveUp<8>, strings>("movsq", CpuFeature::None),
    entry<moveDown, softMoveDown<1>, strings>("movsbdown", CpuFeature::None),
    entry<moveWordsDown, softMoveDown<8>, strings>("movsqdown", CpuFeature::None),
    entry<fill, softFill, fills>("stos", CpuFeature::None),
    entry<search, softSearch, searches>("cmpsscas", CpuFeature::None),
    entry<copy2, softCopy<2>, crossing<2>>("crossing2", CpuFeature::None),
    entry<copy4, softCopy<4>, crossing<4>>("crossing4", CpuFeature::None),
    entry<copy8, softCopy<8>, crossing<8>>("crossing8", CpuFeature::None),
    entry<copy16, softCopy<16>, crossing<16>>("crossing16", CpuFeature::None),
    entry<copy32, softCopy<32>, crossing<32>>("crossing32", CpuFeature::Avx2Fma),
    entry<copy64, softCopy<64>, crossing<64>>("crossing64", CpuFeature::Avx512),
    entry<forward, softForward, forwarding>("storeforwarding", CpuFeature::None),
};

} // namespace

LaneTable accessKernels() noexcept { return kKernels; }
#else
LaneTable accessKernels() noexcept { return {}; }
#endif

} // namespace krel5::modules::cpu
