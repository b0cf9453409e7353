// A Root over real directories: links that try to leave it, loops, holes, and what must not be opened.

#include <zel/enumerator/root/linux/DirectoryRoot.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

using namespace zel;
namespace fs = std::filesystem;

namespace {

// What the system answers instead of its own; 0: its own.
int s_openError = 0;
decltype(statfs::f_type) s_fileSystem = 0;

} // namespace

// In the place of the C library's.
int openat(int folder, char const* path, int flags, ...)
{
    if (s_openError != 0) {
        errno = s_openError;
        return -1;
    }
    std::va_list more;
    va_start(more, flags);
    mode_t const mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return static_cast<int>(::syscall(SYS_openat, folder, path, flags, mode));
}
int fstatfs(int descriptor, struct statfs* system) noexcept
{
    long const result = ::syscall(SYS_fstatfs, descriptor, system);
    if (s_fileSystem != 0)
        system->f_type = s_fileSystem;
    return static_cast<int>(result);
}

namespace {

class RootTest : public testing::TestWithParam<DirectoryRoot::Resolution>
{
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "rootXXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_top = pattern;
        file("outside/secret", "secret\n");
        file("root/sys/devices/pci0/0000:00:1f.2/vendor", "0x8086\n");
        link("root/sys/bus/0000:00:1f.2", "../devices/pci0/0000:00:1f.2");
        link("root/sys/absolute", "/sys/devices/pci0");
    }
    void TearDown() override { fs::remove_all(m_top); }

    void file(std::string const& path, std::string const& content)
    {
        fs::create_directories((m_top / path).parent_path());
        std::ofstream(m_top / path, std::ios::binary) << content;
    }
    void link(std::string const& path, std::string const& target)
    {
        fs::create_directories((m_top / path).parent_path());
        fs::create_symlink(target, m_top / path);
    }
    DirectoryRoot open() const
    {
        return DirectoryRoot(FileDescriptor(::open((m_top / "root").c_str(), O_PATH | O_DIRECTORY)),
                             GetParam());
    }

    fs::path m_top;
};

/// No more descriptors than are open now.
class NoDescriptorLeft
{
public:
    NoDescriptorLeft()
    {
        int const next = ::open("/", O_PATH); // the lowest that is free
        ::close(next);
        if (::getrlimit(RLIMIT_NOFILE, &m_was) != 0)
            throw std::runtime_error("getrlimit");
        rlimit const none{static_cast<rlim_t>(next), m_was.rlim_max};
        if (next < 0 || ::setrlimit(RLIMIT_NOFILE, &none) != 0)
            throw std::runtime_error("setrlimit");
    }
    ~NoDescriptorLeft()
    {
        if (::setrlimit(RLIMIT_NOFILE, &m_was) != 0)
            std::abort();
    }

private:
    rlimit m_was{};
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Both, RootTest,
                         testing::Values(DirectoryRoot::Resolution::Kernel, DirectoryRoot::Resolution::Walk),
                         [](auto const& parameter) {
                             return parameter.param == DirectoryRoot::Resolution::Kernel ? "Kernel" : "Walk";
                         });

TEST_P(RootTest, ReadsThroughLinksInside)
{
    auto const root = open();
    EXPECT_FALSE(root.isLive());
    EXPECT_EQ(root.read("sys/bus/0000:00:1f.2/vendor", 100), "0x8086\n");
    EXPECT_EQ(root.read("/sys/absolute/0000:00:1f.2/vendor", 4), "0x80");
    EXPECT_EQ(root.resolve("sys/bus/0000:00:1f.2"), "sys/devices/pci0/0000:00:1f.2");
    // ".." goes up from where the link led, not from where the link stands.
    EXPECT_EQ(root.resolve("sys/absolute/../../bus"), "sys/bus");
    EXPECT_EQ(root.resolve("sys/absolute/../bus"), std::nullopt);
}

TEST_P(RootTest, LinksNeverLeadOut)
{
    link("root/up", "../../../../../../../../../../outside/secret");
    link("root/upOne", "../outside/secret");
    link("root/absolute", (m_top / "outside/secret").string());
    link("root/folder", "../outside");
    link("root/etc", "/etc");
    link("root/chain", "upOne");
    auto const root = open();
    for (char const* path : {"up", "upOne", "absolute", "folder/secret", "chain", "../outside/secret",
                             "sys/../../outside/secret", "etc/passwd"})
        EXPECT_EQ(root.read(path, 100), std::nullopt) << path;
    EXPECT_TRUE(root.list("folder").empty());
    EXPECT_TRUE(root.list("etc").empty());
    EXPECT_FALSE(root.exists("up"));
    // Upwards beyond the root is the root, as for a process whose root it is.
    EXPECT_EQ(root.resolve("../../sys"), "sys");
    EXPECT_EQ(root.resolve(""), "");
    EXPECT_EQ(root.resolve("sys/.."), "");
}

TEST_P(RootTest, LoopsLeadNowhere)
{
    link("root/a", "b");
    link("root/b", "a");
    link("root/self", "self/x");
    file("root/deep/end", "here");
    std::string last = "deep/end";
    for (int i = 1; i <= 41; ++i) {
        link("root/hop" + std::to_string(i), last);
        last = "hop" + std::to_string(i);
    }
    auto const root = open();
    EXPECT_FALSE(root.exists("a"));
    EXPECT_FALSE(root.exists("self"));
    EXPECT_EQ(root.read("hop40", 10), "here");
    EXPECT_EQ(root.read("hop41", 10), std::nullopt);
}

TEST_P(RootTest, OnlyRegularFilesAreRead)
{
    ASSERT_EQ(::mkfifo((m_top / "root/fifo").c_str(), 0600), 0);
    link("root/toFifo", "fifo");
    link("root/dangling", "nothing/e1000e");
    file("root/empty", "");
    file("root/noRights", "x");
    fs::permissions(m_top / "root/noRights", fs::perms::none);
    auto const root = open();
    for (char const* path : {"fifo", "toFifo", "sys", "dangling", "missing", "missing/below", "empty/below"})
        EXPECT_EQ(root.read(path, 100), std::nullopt) << path;
    EXPECT_EQ(root.read("empty", 100), "");
    EXPECT_EQ(root.text("empty"), std::nullopt);
    if (::geteuid() != 0) {
        EXPECT_EQ(root.read("noRights", 100), std::nullopt);
    }
    EXPECT_TRUE(root.list("empty").empty());
    EXPECT_EQ(root.read(std::string("empty\0x", 7), 100), std::nullopt);
}

TEST_P(RootTest, NothingButRegularFilesIsOpened)
{
    ASSERT_EQ(::mkfifo((m_top / "root/fifo").c_str(), 0600), 0);
    link("root/toFifo", "fifo");
    file("root/regular", "x");
    std::vector<std::string> special{"fifo", "toFifo"};
    if (::mknod((m_top / "root/zero").c_str(), S_IFCHR | 0666, makedev(1, 5)) == 0) // as administrator
        special.push_back("zero");
    FileDescriptor const notes(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    for (std::string const& name : special)
        ASSERT_GE(::inotify_add_watch(notes.number(), (m_top / "root" / name).c_str(), IN_OPEN), 0);
    auto const root = open();
    for (std::string const& name : special)
        EXPECT_EQ(root.read(name, 100), std::nullopt) << name;
    char event[sizeof(inotify_event) + NAME_MAX + 1];
    EXPECT_EQ(::read(notes.number(), event, sizeof event), -1) << "one was opened";
    ASSERT_GE(::inotify_add_watch(notes.number(), (m_top / "root/regular").c_str(), IN_OPEN), 0);
    EXPECT_EQ(root.read("regular", 100), "x");
    EXPECT_GT(::read(notes.number(), event, sizeof event), 0) << "the watch sees what is opened";
}

TEST_P(RootTest, EndlessFilesStayBounded)
{
    file("root/endless", std::string(5000, 'x'));
    fs::resize_file(m_top / "root/endless", std::uintmax_t{1} << 40); // the rest of it a hole
    auto const root = open();
    EXPECT_EQ(root.read("endless", 1u << 20)->size(), 1u << 20);
    EXPECT_EQ(root.text("endless")->size(), 4096u);
}

TEST_P(RootTest, DirectoriesThatMayNotBeReadAreNamed)
{
    file("root/sys/block/sda/size", "1\n");
    file("root/sys/class/net/eth0/address", "x\n");
    file("root/proc/secret", "x\n");
    link("root/sys/class/block", "../block");
    link("root/sys/card", "class/net/eth0");
    // As somebody whom the modes bind, and who may reach the folder.
    struct Nobody
    {
        bool const was = ::geteuid() == 0;
        Nobody()
        {
            if (was && ::seteuid(65534) != 0)
                throw std::runtime_error("seteuid");
        }
        ~Nobody()
        {
            if (was && ::seteuid(0) != 0)
                std::abort();
        }
    };
    fs::permissions(m_top, fs::perms(0755));
    fs::permissions(m_top / "root/proc/secret", fs::perms::none);
    fs::permissions(m_top / "root/sys/block", fs::perms::none);
    fs::permissions(m_top / "root/sys/class/net", fs::perms(0444)); // listed, not entered
    auto const root = open();
    auto const closed = open();
    std::vector<std::string> refused, ofClosed;
    {
        Nobody const nobody;
        EXPECT_EQ(root.read("proc/secret", 9), std::nullopt);
        EXPECT_TRUE(root.list("missing").empty());
        EXPECT_TRUE(root.refused().empty()) << "a file that may not be read is no hole in the machine";
        EXPECT_TRUE(root.list("sys/class/block").empty());
        EXPECT_EQ(root.list("sys/class/net"), std::vector<std::string>{"eth0"});
        EXPECT_EQ(root.resolve("sys/card"), std::nullopt);
        EXPECT_EQ(root.read("sys/card/address", 9), std::nullopt);
        refused = root.refused();
    }
    EXPECT_EQ(refused, (std::vector<std::string>{"sys/block", "sys/class/net"}));
    fs::permissions(m_top / "root", fs::perms::none);
    {
        Nobody const nobody;
        EXPECT_TRUE(closed.list("sys/class/net").empty());
        ofClosed = closed.refused();
    }
    EXPECT_EQ(ofClosed, std::vector<std::string>{""});
    for (char const* path : {"root", "root/sys/block", "root/sys/class/net"})
        fs::permissions(m_top / path, fs::perms(0755));
}

TEST_P(RootTest, WhatCouldNotBeLookedAtIsToldOnceForEachReason)
{
    auto const root = open();
    EXPECT_FALSE(root.exists("missing") || root.read("sys", 9) || !root.list("sys/absolute/x").empty());
    EXPECT_TRUE(root.failures().empty()) << "nothing there is no failure";
    std::string const attribute = "sys/bus/0000:00:1f.2/vendor";
    {
        NoDescriptorLeft const none;
        EXPECT_TRUE(root.list("sys").empty());
        EXPECT_EQ(root.failures().size(), 1u) << "list";
        EXPECT_EQ(root.read(attribute, 9), std::nullopt);
        EXPECT_EQ(root.resolve(attribute), std::nullopt);
    }
    ASSERT_EQ(root.failures().size(), 1u);
    EXPECT_EQ(root.failures()[0].toString(), "Too many open files (3 times, first at /sys)");
    EXPECT_EQ(root.read(attribute, 9), "0x8086\n");
}

TEST(Root, AnIoErrorIsAFailure)
{
    auto const root = Root::open("/");
    EXPECT_EQ(root->read("proc/self/mem", 9), std::nullopt) << "nothing is mapped at 0";
    ASSERT_EQ(root->failures().size(), 1u);
    EXPECT_EQ(root->failures()[0].toString(), "Input/output error (at /proc/self/mem)");
}

TEST(Root, AnIoErrorOfAnAttributeIsNone)
{
    auto const root = Root::open("/");
    s_fileSystem = SYSFS_MAGIC;
    EXPECT_EQ(root->read("proc/self/mem", 9), std::nullopt);
    s_fileSystem = 0;
    EXPECT_TRUE(root->failures().empty()) << "its driver is there, and answered";
}

TEST(Root, OnlyWhatKeepsFromLookingIsAFailure)
{
    for (auto const& [error, isFailure] : std::vector<std::pair<int, bool>>{{EMFILE, true},
                                                                            {ENFILE, true},
                                                                            {ENOMEM, true},
                                                                            {EIO, true},
                                                                            {ENOENT, false},
                                                                            {EACCES, false},
                                                                            {ENOTDIR, false},
                                                                            {ELOOP, false},
                                                                            {ENXIO, false}}) {
        auto const root = Root::open("/");
        s_openError = error;
        EXPECT_EQ(root->read("proc/version", 9), std::nullopt);
        EXPECT_TRUE(root->list("proc").empty());
        s_openError = 0;
        std::string const reason = std::strerror(error);
        ASSERT_EQ(root->failures().size(), isFailure ? 1u : 0u) << reason;
        for (RootFailure const& failure : root->failures())
            EXPECT_EQ(failure.toString(), reason + " (2 times, first at /proc/version)");
    }
}

TEST(Root, FilesOfProcComeInPieces)
{
    // Each read gives less than a page: as many whole entries as fit.
    EXPECT_GT(Root::open("/")->read("proc/self/smaps", 1u << 20).value_or("").size(), 8192u);
}

TEST_P(RootTest, LinkNamesNeedNoTarget)
{
    link("root/driver", "../../bus/pci/drivers/e1000e");
    link("root/slash", "a/b/");
    link("root/dots", "sys/bus/..");
    link("root/toDriver", "driver");
    auto const root = open();
    EXPECT_EQ(root.linkName("driver"), "e1000e");
    EXPECT_EQ(root.linkName("slash"), "b");
    EXPECT_EQ(root.linkName("dots"), "sys");
    EXPECT_EQ(root.linkName("toDriver"), "driver");
    EXPECT_EQ(root.linkName("sys"), std::nullopt);
    EXPECT_EQ(root.linkName("missing"), std::nullopt);
}

TEST_P(RootTest, ContentAndLists)
{
    std::string const large(100'000, 'x');
    file("root/large", large);
    for (char const* name : {"cpu10", "cpu2", "cpu1", "online"})
        file(std::string("root/cpu/") + name, "");
    file("root/line", "  first line \nsecond\n");
    file("root/number", "0x10\n");
    auto const root = open();
    EXPECT_EQ(root.read("large", 1u << 20), large);
    EXPECT_EQ(root.read("large", 5000)->size(), 5000u);
    EXPECT_EQ(root.list("cpu"), (std::vector<std::string>{"cpu1", "cpu2", "cpu10", "online"}));
    EXPECT_EQ(root.text("line"), "first line");
    EXPECT_EQ(root.number("number"), 16);
    EXPECT_EQ(root.number("line"), std::nullopt);
    EXPECT_EQ(root.hexadecimal("number"), 16u);
}

TEST(Root, OpensDirectoriesOnly)
{
    EXPECT_EQ(Root::open("/nonexistent/folder"), nullptr);
    EXPECT_EQ(Root::open("/dev/null"), nullptr);
    EXPECT_TRUE(Root::open("/")->isLive());
    EXPECT_TRUE(Root::open("//.")->isLive());
}

TEST(Root, HowFullAFileSystemIsIsAskedOfTheLiveMachineAlone)
{
    auto const live = Root::open("/");
    auto const usage = live->usage("/", "");
    ASSERT_TRUE(usage);
    EXPECT_GT(usage->size, 0u);
    EXPECT_LE(usage->used + usage->available, usage->size);
    EXPECT_FALSE(live->usage("/", "255:255")) << "another device than was asked for";
    EXPECT_FALSE(live->usage("/proc/self/status", "")) << "no folder";
    EXPECT_FALSE(live->usage("/nothing/here", ""));
    EXPECT_FALSE(Root::open("/proc")->usage("/", ""));
    EXPECT_FALSE(live->networkFirmware("lo")) << "has no driver to ask";
    EXPECT_FALSE(live->networkFirmware("")) << "no interface";
    EXPECT_FALSE(live->networkFirmware(std::string(16, 'e'))) << "longer than a name can be";
}
