#include <zel/foundation/Exception.h>
#include <zel/foundation/FileSystem.h>

#include <foundation/ChildProcess.h>
#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using test::TemporaryFolder;
using zel::FileSystem;

TEST(FileSystem, takesNamesApart)
{
    struct
    {
        char const *path, *base, *folder;
    } const cases[] = {
        {"C:\\dir\\MyMod.exe", "MyMod", "."},
        {"/dir/MyMod.exe", "MyMod", "/dir"},
        {"MyMod", "MyMod", "."},
        {"./a.b/MyMod", "MyMod", "./a.b"},
        {"/my.mod.w4x", "my.mod", "/"},
        {"/home/.profile", ".profile", "/home"},
        {"/dir/", "", "/dir"},
        {"a.b", "a", "."},
        {"", "", "."},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(FileSystem::extractBaseFileName(c.path), zel::String(c.base)) << c.path;
        EXPECT_EQ(FileSystem::folderOf(c.path), c.folder) << c.path;
    }
}

TEST(FileSystem, readsWholeFilesWithinTheirLimit)
{
    TemporaryFolder const folder;
    std::string const bytes("a\0\n\xFF", 4);
    std::string const path = folder.write("file", bytes);
    errno = EIO; // of something else, before
    EXPECT_EQ(FileSystem::readFile(path).content, bytes);
    EXPECT_EQ(FileSystem::readFile(path, 4).content, bytes);
    EXPECT_EQ(FileSystem::readFile(path, 3).errorNumber, EFBIG);
    EXPECT_EQ(FileSystem::readFile(folder.write("large", std::string(300000, 'x'))).content->size(), 300000u);
    EXPECT_TRUE(FileSystem::readFile(folder.path("none")).absent());
    EXPECT_EQ(FileSystem::readFile(folder.path()).errorNumber, EISDIR);
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(FileSystem::readFile(folder.path("fifo")).errorNumber, EINVAL);
    EXPECT_EQ(FileSystem::readFile(folder.path("fifo")).reason(), "is no regular file");
    try {
        FileSystem::writeFileAtomically(folder.path("fifo"), "text");
        ADD_FAILURE() << "it was replaced";
    } catch (zel::SystemException const& error) {
        EXPECT_EQ(error.errorNumber(), ENOTSUP);
        EXPECT_TRUE(error.getMessage().contains("is no regular file"));
    }
    EXPECT_EQ(FileSystem::readFile(folder.path("fifo")).errorNumber, EINVAL) << "it is still there";
    std::filesystem::create_symlink("loop", folder.path("loop"));
    EXPECT_EQ(FileSystem::readFile(folder.path("loop")).reason(),
              zel::String("Too many levels of symbolic links"));
    auto const first = test::runInChild([&] {
        ::close(STDIN_FILENO);
        ::_exit(FileSystem::readFile(path).content == bytes && ::fcntl(STDIN_FILENO, F_GETFD) == -1 ? 5 : 1);
    });
    EXPECT_EQ(first.status, 5) << "a file with the number 0 is closed like any other";
    EXPECT_FALSE(FileSystem::readFile("/proc/self/stat").content->empty()); // a file that says its size is 0
}

// A file that another user could have written, or can at any time.
TEST(FileSystem, namesWhoElseMayWriteAFile)
{
    using Writers = FileSystem::Writers;
    constexpr unsigned kNobody = 65534;
    struct
    {
        mode_t mode;
        bool isForeign, isLink;
        char const *shared, *besideProgram; // the reason against it; null: none
    } const cases[] = {
        {0644, false, false, nullptr, nullptr},
        {0600, false, true, "is a symbolic link", nullptr},
        {0646, false, false, "may be written by everybody", "may be written by everybody"},
        {0600, true, false, "belongs to user 65534, who is neither root nor the caller",
         "belongs to user 65534, who is neither root nor the caller"},
    };
    for (auto const& c : cases) {
        if (c.isForeign && ::geteuid() != 0)
            continue;
        TemporaryFolder const folder;
        std::string path = folder.write("file", "text");
        ASSERT_EQ(::chmod(path.c_str(), c.mode), 0);
        if (c.isForeign) {
            ASSERT_EQ(::chown(path.c_str(), kNobody, kNobody), 0);
        }
        if (c.isLink) {
            std::filesystem::create_symlink("file", folder.path("link"));
            path = folder.path("link");
        }
        for (auto const& [writers, reason] :
             {std::pair(Writers::CallerOrRoot, c.shared), std::pair(Writers::AsProgram, c.besideProgram)}) {
            auto const read = FileSystem::readFile(path, 100, writers);
            EXPECT_EQ(read.content.has_value(), !reason) << std::oct << c.mode;
            EXPECT_EQ(read.reason(), zel::String(reason ? reason : "")) << std::oct << c.mode;
            EXPECT_FALSE(read.absent());
        }
        EXPECT_EQ(FileSystem::readFile(path).content, "text") << "nobody asked";
    }
}

TEST(FileSystem, trustsWhatBelongsToRootOrTheCaller)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs two users";
    TemporaryFolder const folder;
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    std::string const paths[] = {folder.write("own", "text"), folder.write("of root", "text")};
    ASSERT_EQ(::chown(paths[0].c_str(), 65534, 65534), 0);
    for (std::string const& path : paths) {
        ASSERT_EQ(::chmod(path.c_str(), 0644), 0);
        auto const outcome = test::runInChild([&] {
            ::_exit(::seteuid(65534) == 0 &&
                            FileSystem::readFile(path, 100, FileSystem::Writers::CallerOrRoot).content ==
                                "text"
                        ? 5
                        : 1);
        });
        EXPECT_EQ(outcome.status, 5) << path;
    }
}

TEST(FileSystem, knowsWhatIsThereAndSinceWhen)
{
    TemporaryFolder const folder;
    std::string const path = folder.write("file", "");
    timespec const leapDay[] = {{1709164800, 0}, {1709251199, 0}}; // the last second of 2024-02-29
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), leapDay, 0), 0);
    EXPECT_EQ(FileSystem::modificationDate(path), zel::String("2024-02-29"));
    EXPECT_EQ(FileSystem::modificationDate(folder.path("none")), zel::String());
    EXPECT_TRUE(FileSystem::exists(path));
    EXPECT_FALSE(FileSystem::exists(folder.path("none")));
    std::filesystem::create_symlink("none", folder.path("link"));
    EXPECT_TRUE(FileSystem::exists(folder.path("link"))) << "the link itself";
}

TEST(FileSystem, replacesFilesWholeOrNotAtAll)
{
    TemporaryFolder const folder;
    std::string const path = folder.write("file", "old");
    std::string const other = folder.write("other", "other");
    FileSystem::writeFileAtomically(path, "new");
    EXPECT_EQ(folder.read("file"), "new");
    std::filesystem::create_symlink(other, folder.path("link"));
    FileSystem::writeFileAtomically(folder.path("link"), "own");
    EXPECT_EQ(folder.read("link"), "own");
    EXPECT_EQ(folder.read("other"), "other"); // a link is replaced, not followed
    EXPECT_EQ(folder.entryCount(), 3u);
}

TEST(FileSystem, passesOverNamesOfTemporariesThatAreTaken)
{
    TemporaryFolder const folder;
    std::string const begin = "file." + std::to_string(::getpid()) + "-";
    for (int i = 0; i < 50; ++i)
        folder.write(begin + std::to_string(i) + ".tmp", "another's");
    FileSystem::writeFileAtomically(folder.path("file"), "new");
    EXPECT_EQ(folder.read("file"), "new");
    EXPECT_EQ(folder.entryCount(), 51u);
    EXPECT_EQ(folder.read(begin + "49.tmp"), "another's");
}

TEST(FileSystem, aWriteThatFailsNamesThePathAndLeavesNothing)
{
    TemporaryFolder const folder;
    std::filesystem::create_directories(folder.path("in the way/full"));
    std::string const paths[] = {folder.path("in the way"), folder.path("none/file"), "/proc/nowhere"};
    for (std::string const& path : paths) {
        try {
            FileSystem::writeFileAtomically(path, "text");
            ADD_FAILURE() << path;
        } catch (zel::SystemException const& exception) {
            EXPECT_TRUE(exception.getMessage().startsWith(zel::String(path) + ": ")) << exception.what();
        }
    }
    EXPECT_EQ(folder.entryCount(), 1u);
}

TEST(FileSystem, aFullDiskOrAProtectedFileKeepsTheOldText)
{
    TemporaryFolder const folder;
    std::string const path = folder.write("file", "old");
    auto const attempt = [&path] {
        try {
            FileSystem::writeFileAtomically(path, std::string(100000, 'x'));
        } catch (zel::SystemException const& exception) {
            ::_exit(exception.errorNumber());
        }
    };
    auto const limited = test::runInChild([&] {
        ::signal(SIGXFSZ, SIG_IGN);
        rlimit const limit{1000, 1000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        attempt();
    });
    EXPECT_EQ(limited.status, EFBIG);
    std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
    ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
    auto const unprivileged = test::runInChild([&] {
        if (::geteuid() == 0 && ::seteuid(65534) != 0)
            ::_exit(EACCES); // no second user in this container
        attempt();
    });
    EXPECT_EQ(unprivileged.status, EACCES);
    EXPECT_EQ(folder.read("file"), "old");
    EXPECT_EQ(folder.entryCount(), 1u);
}
