// Pages that the hardware gives up while they are tested: with real SIGBUS signals, by accesses behind the end of
// a file and by what a process may send to itself.

#include <memory/CheckRegion.h>
#include <memory/Events.h>
#include <memory/RealMemory.h>
#include <memory/linux/BusErrors.h>
#include <memory/linux/LockedMemory.h>
#include <modules/RecordingHost.h>
#include <modules/memory/Coverage.h>

#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace krel5::modules::memory::test {
namespace {

using modules::test::RecordingHost;
using modules::test::valueOf;

// Slices of three threads end inside of pages. One page that is replaced while another thread uses it, too, is
// no race: the kernel does it. The thread sanitizer takes mmap for a write by this thread.
#if defined(__SANITIZE_THREAD__)
constexpr auto kThreads = {1u};
#else
constexpr auto kThreads = {1u, 3u};
#endif

/// Pages of memory; any of them can be made one that raises SIGBUS.
class Region
{
public:
    explicit Region(std::size_t pages) : m_bytes(pages * pageSize())
    {
        m_file = memfd_create("empty", MFD_CLOEXEC);
        m_begin = static_cast<char*>(
            mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    }
    ~Region()
    {
        munmap(m_begin, m_bytes);
        close(m_file);
    }
    Region(Region const&) = delete;
    Region& operator=(Region const&) = delete;

    void breakPage(std::size_t page)
    {
        void* const mapped =
            mmap(at(page), pageSize(), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, m_file, 0);
        ASSERT_EQ(mapped, at(page));
    }
    char* at(std::size_t page) const { return m_begin + page * pageSize(); }
    std::uint64_t* words() const { return reinterpret_cast<std::uint64_t*>(m_begin); }
    std::size_t bytes() const { return m_bytes; }
    std::size_t wordCount() const { return m_bytes / sizeof(std::uint64_t); }

private:
    std::size_t m_bytes;
    int m_file;
    char* m_begin;
};

std::string hexadecimal(std::uint64_t number)
{
    char text[32];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
    return text;
}

TEST(BrokenPages, AreFaultsAndTheRestIsTestedOn)
{
    for (auto const algorithm : kAllAlgorithms) {
        for (unsigned const threads : kThreads) {
            Region region(40);
            region.breakPage(0);
            region.breakPage(13);
            region.breakPage(39);
            BrokenPages pages(pageSize());
            BusErrors const guard(region.words(), region.bytes(), pages);
            RecordingHost host;
            EXPECT_EQ(checkRegion(host, algorithm, RealMemory(region.words(), bestLineFlush()),
                                  region.words(), region.wordCount(), threads, 5, pages),
                      Outcome::Fail);
            ASSERT_EQ(host.m_faults.size(), 3u)
                << "and no wrong reads: " << host.m_faults.back().m_eventKey.text();
            std::set<std::string> offsets;
            for (Fault const& fault : host.m_faults) {
                EXPECT_EQ(fault.m_eventKey, kEventBrokenPage);
                EXPECT_EQ(valueOf(fault, "PageBytes"), std::to_string(pageSize()));
                offsets.insert(valueOf(fault, "Offset"));
            }
            EXPECT_EQ(offsets, (std::set<std::string>{"0x0", hexadecimal(13 * pageSize()),
                                                      hexadecimal(39 * pageSize())}));
            EXPECT_EQ(host.m_progress.back(), 100);
        }
    }
}

TEST(BrokenPages, AreFaultsWhereEveryAccessIsFlushed)
{
    Region region(4);
    region.breakPage(2);
    BrokenPages pages(pageSize());
    BusErrors const guard(region.words(), region.bytes(), pages);
    RecordingHost host;
    EXPECT_EQ(checkRegion(host, Algorithm::Quick, UncachedMemory(region.words()), region.words(),
                          region.wordCount(), 1, 5, pages),
              Outcome::Fail);
    ASSERT_EQ(host.m_faults.size(), 1u);
    EXPECT_EQ(valueOf(host.m_faults[0], "Offset"), hexadecimal(2 * pageSize()));
}

/// A page breaks after the first pass has filled it.
struct BreaksWhenFilled : RealMemory
{
    Region* m_region;
    bool* m_isBroken;
    void settle() const
    {
        if (!std::exchange(*m_isBroken, true))
            m_region->breakPage(2);
    }
};

TEST(BrokenPages, AreOneFaultEachHoweverMuchIsReadThere)
{
    for (auto const algorithm : kAllAlgorithms) {
        Region region(4);
        BrokenPages pages(pageSize());
        BusErrors const guard(region.words(), region.bytes(), pages);
        RecordingHost host;
        bool isBroken = false;
        EXPECT_EQ(
            checkRegion(host, algorithm,
                        BreaksWhenFilled{RealMemory(region.words(), LineFlush::None), &region, &isBroken},
                        region.words(), region.wordCount(), 1, 5, pages),
            Outcome::Fail);
        ASSERT_EQ(host.m_faults.size(), 1u) << "the empty page in its place reads wrong everywhere";
        EXPECT_EQ(host.m_faults[0].m_eventKey, kEventBrokenPage);
        EXPECT_EQ(valueOf(host.m_faults[0], "Offset"), hexadecimal(2 * pageSize()));
    }
}

/// A word that is stuck beside a page that breaks.
struct StuckBesideBroken : RealMemory
{
    std::size_t m_stuck;
    Word read(std::size_t index) const noexcept { return index == m_stuck ? 1 : RealMemory::read(index); }
};

TEST(BrokenPages, HideNoFaultsOfOthers)
{
    Region region(4);
    region.breakPage(1);
    BrokenPages pages(pageSize());
    BusErrors const guard(region.words(), region.bytes(), pages);
    RecordingHost host;
    std::size_t const stuck = 2 * pageSize() / sizeof(std::uint64_t);
    EXPECT_EQ(checkRegion(host, Algorithm::Patterns,
                          StuckBesideBroken{RealMemory(region.words(), LineFlush::None), stuck},
                          region.words(), region.wordCount(), 1, 5, pages),
              Outcome::Fail);
    std::set<std::string> offsets;
    for (Fault const& fault : host.m_faults)
        if (fault.m_eventKey == kEventFault)
            offsets.insert(valueOf(fault, "Offset"));
    EXPECT_EQ(offsets, std::set<std::string>{hexadecimal(2 * pageSize())});
}

TEST(BrokenPages, AreToldInPartAndEndTheRunWhenThereAreTooMany)
{
    Region region(BrokenPages::kMost + 200);
    for (std::size_t page = 0; page < BrokenPages::kMost + 100; ++page)
        region.breakPage(page);
    BrokenPages pages(pageSize());
    BusErrors const guard(region.words(), region.bytes(), pages);
    RecordingHost host;
    EXPECT_EQ(checkRegion(host, Algorithm::Quick, RealMemory(region.words(), LineFlush::None), region.words(),
                          region.wordCount(), 1, 5, pages),
              Outcome::Fail);
    std::size_t const kept = FaultLog::kKeptPerPass;
    ASSERT_EQ(host.m_faults.size(), kept + 2);
    EXPECT_EQ(host.m_faults[kept].m_eventKey, kEventMoreFaults);
    EXPECT_EQ(valueOf(host.m_faults[kept], "Total"), std::to_string(BrokenPages::kMost));
    EXPECT_EQ(valueOf(host.m_faults[kept], "Reported"), std::to_string(kept));
    EXPECT_EQ(host.m_faults[kept + 1].m_eventKey, kEventManyPages);
    EXPECT_LT(host.m_progress.back(), 100);
}

TEST(BrokenPages, AreAllWhenThereAreMoreThanCanBeKept)
{
    BrokenPages pages(4096);
    for (std::size_t page = 0; page < BrokenPages::kMost; ++page)
        pages.add(page * 4096, std::nullopt);
    std::size_t const next = BrokenPages::kMost * 4096;
    EXPECT_FALSE(pages.isFull() || pages.contains(next));
    EXPECT_EQ(pages.take().size(), BrokenPages::kMost);
    pages.add(next, std::nullopt);
    EXPECT_TRUE(pages.isFull() && pages.contains(next) && pages.contains(2 * next));
    EXPECT_TRUE(pages.take().empty());
    EXPECT_EQ(pages.total(), BrokenPages::kMost);
}

/// What the kernel sends for a memory error; a process may send itself any signal with any code.
void sendBusError(void* address, int code, short shift)
{
    siginfo_t info{};
    info.si_signo = SIGBUS;
    info.si_code = code;
    info.si_addr = address;
    info.si_addr_lsb = shift;
    ASSERT_EQ(syscall(SYS_rt_tgsigqueueinfo, getpid(), gettid(), SIGBUS, &info), 0);
}

TEST(BusErrors, OfALargePageTakeAllOfIt)
{
    Region region(16);
    auto const aligned = reinterpret_cast<std::uintptr_t>(region.at(7)) & ~(4 * pageSize() - 1);
    auto const first = (aligned - reinterpret_cast<std::uintptr_t>(region.words())) / pageSize();
    short shift = 2;
    while (std::size_t{1} << shift < 4 * pageSize())
        ++shift;
    for (int const code : {BUS_MCEERR_AR, BUS_MCEERR_AO}) {
        std::memset(region.words(), 0x55, region.bytes());
        BrokenPages pages(pageSize());
        BusErrors const guard(region.words(), region.bytes(), pages);
        sendBusError(region.at(7) + 24, code, shift);
        for (std::size_t page = 0; page < 16; ++page) {
            bool const lost = page >= first && page < first + 4;
            EXPECT_EQ(pages.contains(page * pageSize() + 100), lost) << page;
            EXPECT_EQ(*region.at(page), lost && code == BUS_MCEERR_AR ? 0 : 0x55) << page;
        }
        sendBusError(region.at(15), code, 63); // no page is that large
        EXPECT_TRUE(pages.contains(15 * pageSize()));
        EXPECT_FALSE(pages.contains(14 * pageSize()));
    }
}

TEST(BusErrors, FoundAheadOfAnyAccessAreFaultsAndChangeNothing)
{
    Region region(4);
    std::memset(region.words(), 0x55, region.bytes());
    BrokenPages pages(pageSize());
    BusErrors const guard(region.words(), region.bytes(), pages);
    sendBusError(region.at(2), BUS_MCEERR_AO, 12);
    ASSERT_EQ(pages.total(), 1u);
    EXPECT_EQ(*region.at(2), 0x55) << "the access that meets it brings the other signal";
    auto const physical = physicalAddress(region.at(2));
    auto const taken = pages.take();
    ASSERT_EQ(taken.size(), 1u);
    EXPECT_EQ(taken[0].m_offset, 2 * pageSize());
    EXPECT_EQ(taken[0].m_physicalAddress, physical);
    EXPECT_TRUE(pages.take().empty());
    EXPECT_EQ(pages.total(), 1u);
}

TEST(BusErrors, OfOtherMemoryReachTheHandlerBeforeAndOursStays)
{
    static int s_calls = 0;
    Region region(4);
    auto* const before = signal(SIGBUS, [](int) { ++s_calls; });
    {
        BrokenPages pages(pageSize());
        BusErrors const guard(region.words(), 2 * pageSize(), pages);
        sendBusError(region.at(2), BUS_MCEERR_AO, 12);
        EXPECT_EQ(s_calls, 1);
        sendBusError(region.at(1), BUS_MCEERR_AO, 12);
        EXPECT_EQ(s_calls, 1);
        EXPECT_EQ(pages.total(), 1u);
    }
    signal(SIGBUS, before);
}

TEST(BusErrorsDeathTest, OfOtherKindsGoWhereTheyWent)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    Region region(4);
    region.breakPage(2);
    auto const within = [&region](auto const& act) {
        BrokenPages pages(pageSize());
        BusErrors const guard(region.words(), 2 * pageSize(), pages);
        act();
    };
    auto const exits = [](int) { _exit(42); };
    auto const exitsWithAddress = [](int, siginfo_t* info, void*) { _exit(info->si_addr ? 43 : 44); };
    auto const behindTheRegion = [&region] { *static_cast<char volatile*>(region.at(2)) = 1; };
    EXPECT_EXIT(signal(SIGBUS, exits); within(behindTheRegion), testing::ExitedWithCode(42), "");
    EXPECT_EXIT(struct sigaction action = {}; action.sa_flags = SA_SIGINFO;
                action.sa_sigaction = exitsWithAddress; sigaction(SIGBUS, &action, nullptr);
                within(behindTheRegion), testing::ExitedWithCode(43), "");
    EXPECT_EXIT(signal(SIGBUS, SIG_DFL); within(behindTheRegion), testing::KilledBySignal(SIGBUS), "");
    EXPECT_EXIT(signal(SIGBUS, exits); within([] { raise(SIGBUS); }), testing::ExitedWithCode(42), "")
        << "another process sent it";
    EXPECT_EXIT(signal(SIGBUS, exits); within([&region] { sendBusError(region.at(1), SI_USER, 12); }),
                                       testing::ExitedWithCode(42), "")
        << "whatever address it names";
    EXPECT_EXIT(signal(SIGBUS, exits); within([] {}); behindTheRegion(), testing::ExitedWithCode(42), "")
        << "afterwards";
}

TEST(LockedMemory, FrameOfAPageIsToldAlsoWhenThePageIsPoisoned)
{
    constexpr std::uint64_t kPresent = std::uint64_t{1} << 63, kSwapped = std::uint64_t{1} << 62;
    EXPECT_EQ(frameNumber(kPresent | std::uint64_t{1} << 61 | 0x12345), 0x12345u);
    EXPECT_EQ(frameNumber(kSwapped | 0x12345 << 5 | 29), 0x12345u);
    EXPECT_EQ(frameNumber(kPresent), std::nullopt) << "not told to this process";
    EXPECT_EQ(frameNumber(kSwapped), std::nullopt);
    EXPECT_EQ(frameNumber(0x12345), std::nullopt) << "nothing there";
}

} // namespace
} // namespace krel5::modules::memory::test
