// How much memory there is to take, from written trees of /proc and /sys; and that it is looked at again while
// the region is being locked.

#include <memory/Events.h>
#include <memory/MemoryTest.h>
#include <memory/linux/KernelText.h>
#include <memory/linux/LockedMemory.h>
#include <memory/linux/MachineMemory.h>
#include <modules/RecordingHost.h>

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sched.h>

namespace krel5::modules::memory::test {
namespace {

using modules::test::RecordingHost;
using modules::test::valueOf;

constexpr std::uint64_t kMebibyte = 1 << 20;

struct Tree
{
    Tree()
    {
        std::string pattern = testing::TempDir() + "memoryXXXXXX";
        m_root = std::string(mkdtemp(pattern.data())) + "/";
    }
    ~Tree() { std::filesystem::remove_all(m_root); }
    void write(std::string const& path, std::string const& text) const
    {
        std::filesystem::create_directories(std::filesystem::path(m_root + path).parent_path());
        std::ofstream(m_root + path) << text;
    }
    std::string m_root;
};

constexpr char const* kSecondMounted =
    "25 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
    "31 25 0:26 / /no - cgroup2 cgroup2 rw\n" // neither this line nor the next has all its fields
    "31 25 0:26 / /no rw - cgroup2 cgroup2\n"
    "31 25 0:26 / /sys/fs/cgroup rw,nosuid shared:4 master:1 - cgroup2 cgroup2 rw,nsdelegate\n";

constexpr char const* kBothMounted =
    "31 23 0:28 / /sys/fs/cgroup rw,relatime - tmpfs tmpfs rw,mode=755\n"
    "32 31 0:29 / /sys/fs/cgroup/cpu rw,relatime - cgroup cgroup rw,cpu\n"
    "35 31 0:32 / /sys/fs/cgroup/memory rw,relatime shared:9 - cgroup cgroup rw,memory\n"
    "41 31 0:38 / /sys/fs/cgroup/unified rw,relatime - cgroup2 cgroup2 rw\n";

TEST(KernelText, NumberEndsWithTheTextAtTheLatest)
{
    std::string_view const text = " \t12345";
    EXPECT_EQ(leadingNumber(text), 12345u);
    EXPECT_EQ(leadingNumber(text.substr(0, 5)), 123u);
    EXPECT_EQ(leadingNumber("max"), std::nullopt);
    EXPECT_EQ(leadingNumber(""), std::nullopt);
}

TEST(AvailableMemory, IsTheTightestOfSystemAndControlGroups)
{
    struct Case
    {
        char const* m_meminfo;
        char const* m_group;
        char const* m_limit;
        char const* m_used;
        char const* m_parentLimit;
        std::uint64_t m_expected;
    };
    Case const cases[] = {
        {"MemTotal: 9 kB\nMemAvailable:    1000 kB\n", "0::/a/b\n", "max", "4096", "max", 1024000},
        {"MemAvailable: 1000 kB\n", "0::/a/b\n", "8192\n", "4096\n", "max", 4096},
        {"MemAvailable: 1000 kB\n", "0::/a/b\n", "8192\n", "9000\n", "max", 0},
        {"MemAvailable: 1000 kB\n", "0::/a/b\n", "900000\n", "0\n", "5000\n", 4500},
        {"MemAvailable: 1000 kB\n", "0::/\n", "8192\n", "4096\n", "max", 1024000},
        {"MemAvailable: 1000 kB\n", "1:name=x:/a\n", "8192\n", "4096\n", "5000", 1024000},
        {"MemAvailable: lots\n", "0::/a/b\n", "8192\n", "4096\n", "max", 0},
        {"MemAvailable: 99999999999999999999 kB\n", "", "", "", "", 0},
        {"MemAvailable: 18446744073709551615 kB\n", "", "", "", "", 0},
        {"MemAvailable: 18014398509481983 kB\n", "", "", "", "", 18446744073709550592u},
        {"", "0::/a/b\n", "8192\n", "4096\n", "max", 0},
    };
    for (auto const& one : cases) {
        Tree const tree;
        tree.write("proc/meminfo", one.m_meminfo);
        tree.write("proc/self/cgroup", one.m_group);
        tree.write("proc/self/mountinfo", kSecondMounted);
        tree.write("sys/fs/cgroup/a/b/memory.max", one.m_limit);
        tree.write("sys/fs/cgroup/a/b/memory.current", one.m_used);
        tree.write("sys/fs/cgroup/a/memory.max", one.m_parentLimit);
        tree.write("sys/fs/cgroup/a/memory.current", "500");
        EXPECT_EQ(availableMemory(tree.m_root), one.m_expected) << one.m_meminfo << one.m_limit;
    }
    EXPECT_EQ(availableMemory("/nowhere/at/all/"), 0u);
    EXPECT_EQ(totalMemory("/nowhere/at/all/"), 0u);
    Tree const tree;
    tree.write("proc/meminfo", "MemTotal:       65536000 kB\nMemFree: 1 kB\nMemAvailable: 1000 kB\n");
    EXPECT_EQ(totalMemory(tree.m_root), std::uint64_t{65536000} * 1024);
}

/// Groups of version 1 beside an empty version 2, as many systems mount them.
struct HybridTree : Tree
{
    explicit HybridTree(std::string const& group = "/a/b", std::string const& mounts = kBothMounted)
    {
        write("proc/meminfo", "MemAvailable: 1000000 kB\n");
        write("proc/self/cgroup", "8:pids:/\n4:cpu,memory:" + group + "\n3:name=memory:/no\n0::/elsewhere\n");
        write("proc/self/mountinfo", mounts);
        limit("", "9223372036854771712", "700000");
        limit("/a", "500000", "100000");
        limit("/a/b", "600000", "50000");
    }
    void limit(std::string const& group, std::string const& bytes, std::string const& used) const
    {
        write(kTop + group + "/memory.limit_in_bytes", bytes + "\n");
        write(kTop + group + "/memory.usage_in_bytes", used + "\n");
    }
    std::string const kTop = "sys/fs/cgroup/memory";
};

TEST(AvailableMemory, VersionOneGroupsLimitItUpToTheRoot)
{
    HybridTree const tree;
    EXPECT_EQ(availableMemory(tree.m_root), 400000u) << "the group above is tighter";
    tree.write(tree.kTop + "/a/memory.use_hierarchy", "0\n");
    EXPECT_EQ(availableMemory(tree.m_root), 550000u) << "and does not count what those below it take";
    tree.write(tree.kTop + "/a/memory.use_hierarchy", "1\n");
    tree.limit("/a/b", "60000", "50000");
    EXPECT_EQ(availableMemory(tree.m_root), 10000u);
    tree.write(tree.kTop + "/a/b/memory.stat",
               "inactive_file 1\ntotal_cache 9000\ntotal_inactive_file 8000\n");
    EXPECT_EQ(availableMemory(tree.m_root), 18000u) << "cached files are dropped first";
    tree.limit("", "703000", "700000");
    EXPECT_EQ(availableMemory(tree.m_root), 3000u) << "the top of the hierarchy has a limit, too";
}

TEST(AvailableMemory, VersionTwoGroupsLimitItWhereBothAreMounted)
{
    HybridTree const tree;
    tree.write("sys/fs/cgroup/unified/elsewhere/memory.max", "30000");
    tree.write("sys/fs/cgroup/unified/elsewhere/memory.current", "29000");
    tree.write("sys/fs/cgroup/unified/elsewhere/memory.stat", "anon 5\ninactive_file 20000\n");
    EXPECT_EQ(availableMemory(tree.m_root), 21000u);
}

TEST(AvailableMemory, AContainerSeesItsOwnGroupAsTheTop)
{
    std::string const mounted = "35 31 0:32 /a /sys/fs/cgroup/memory ro - cgroup cgroup rw,memory\n";
    struct Case
    {
        char const* m_group;
        std::uint64_t m_expected;
    };
    // What is mounted at the top are the files of "/a"; the tree's "/a/b" then is the group "/a/a/b".
    for (auto const& one : {Case{"/a", 700}, Case{"/a/a/b", 700}, Case{"/ab", 700}, Case{"/../a/b", 700},
                            Case{"/a/../a/b", 700}}) {
        HybridTree const tree(one.m_group, mounted);
        tree.limit("", "1000", "300");
        EXPECT_EQ(availableMemory(tree.m_root), one.m_expected) << one.m_group;
    }
    HybridTree const tree("/a/a/b", mounted);
    tree.limit("/a/b", "100", "40");
    EXPECT_EQ(availableMemory(tree.m_root), 60u) << "a group inside of the container";
    HybridTree const unmounted("/a/b", "");
    EXPECT_EQ(availableMemory(unmounted.m_root), 1024000000u) << "nothing there that could be read";
}

TEST(LockedMemory, IsGivenUpWhenTheRestDoesNotFitAnyMore)
{
    constexpr std::uint64_t kSize = 100 * kMebibyte, kFloor = 64 * kMebibyte;
    struct Case
    {
        std::uint64_t m_takenByOthers; ///< with each look at what is available
        LockError m_error;
    };
    for (auto const& [taken, error] :
         {Case{32 * kMebibyte, LockError::None}, Case{32 * kMebibyte + 1, LockError::NoMemory},
          Case{40 * kMebibyte, LockError::NoMemory}, Case{300 * kMebibyte, LockError::NoMemory}}) {
        std::uint64_t left = kSize + kFloor;
        auto const shrinking = [&left, step = taken] {
            auto const now = left;
            left -= std::min(left, step);
            return now;
        };
        auto const made = LockedMemory::make(kSize, [] { return false; }, {shrinking, kFloor});
        EXPECT_EQ(made.m_error, error) << taken;
        EXPECT_EQ(made.m_memory != nullptr, error == LockError::None);
    }
}

TEST(MemoryRun, TakesTheLastMebibyteThatIsNotLeftToTheSystem)
{
    struct Case
    {
        std::uint64_t m_available, m_asked;
        Outcome m_outcome;
        EventKey m_said;
    };
    for (auto const& one :
         {Case{130, 2, Outcome::Pass, kEventRegion}, Case{130, 3, Outcome::BadParameters, kEventParameters},
          Case{128, 1, Outcome::BadParameters, kEventParameters},
          Case{128, 0, Outcome::CannotRun, kEventNoMemory}}) {
        Tree const tree;
        tree.write("proc/meminfo", "MemAvailable: " + std::to_string(one.m_available * 1024) + " kB\n");
        MemorySettings settings;
        settings.m_mebibytes = one.m_asked;
        settings.m_root = tree.m_root;
        RecordingHost host;
        EXPECT_EQ(runMemoryTest(host, Algorithm::Random, settings), one.m_outcome) << one.m_asked;
        auto const& said = one.m_outcome == Outcome::Pass ? host.m_notes : host.m_problems;
        ASSERT_FALSE(said.empty());
        EXPECT_EQ(said[0].m_eventKey, one.m_said);
    }
}

TEST(MachineMemory, CountsTheProcessorsThatMayBeUsed)
{
    cpu_set_t before, one;
    ASSERT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
    CPU_ZERO(&one);
    for (std::size_t core = 0; CPU_COUNT(&one) == 0; ++core)
        if (CPU_ISSET(core, &before))
            CPU_SET(core, &one);
    ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    EXPECT_EQ(usableProcessors(), 1u);
    ASSERT_EQ(sched_setaffinity(0, sizeof before, &before), 0);
    EXPECT_EQ(usableProcessors(), static_cast<unsigned>(CPU_COUNT(&before)));
}

/// Another run takes memory while this one is locking its own. Ends the test as soon as the region is there.
struct HostBesideAnother : RecordingHost
{
    HybridTree m_tree;
    bool m_isBeside;
    int m_polls = 0;
    explicit HostBesideAnother(bool isBeside) : m_isBeside(isBeside) {}
    bool stopRequested() override
    {
        if (++m_polls == 3 && m_isBeside)
            m_tree.limit("/a/b", std::to_string(400 * kMebibyte), std::to_string(250 * kMebibyte));
        return !m_notes.empty();
    }
};

TEST(MemoryRun, ThatIsRunningOutOfMemoryEndsBeforeItIsKilled)
{
    for (bool const beside : {true, false}) {
        HostBesideAnother host(beside);
        for (auto const* const group : {"", "/a", "/a/b"})
            host.m_tree.limit(group, std::to_string(400 * kMebibyte), std::to_string(100 * kMebibyte));
        MemorySettings settings;
        settings.m_mebibytes = 160;
        settings.m_root = host.m_tree.m_root;
        ASSERT_EQ(runMemoryTest(host, Algorithm::Quick, settings),
                  beside ? Outcome::CannotRun : Outcome::Stopped);
        ASSERT_EQ(host.m_problems.size(), beside ? 1u : 0u);
        if (beside) {
            EXPECT_EQ(host.m_problems[0].m_eventKey, kEventNoMemory);
            EXPECT_EQ(valueOf(host.m_problems[0], "Reason"),
                      "other programs took memory while the region was being locked: 150 MiB are available, "
                      "128 MiB are still to be locked, and 64 MiB have to be left");
        }
    }
}

} // namespace
} // namespace krel5::modules::memory::test
