// A Root over real directories: links that try to leave it, loops, holes, and what must not be opened.

#include <zel/enumerator/linux/DirectoryRoot.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

using namespace zel;
namespace fs = std::filesystem;

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
