#include <foundation/ProcessEnd.h>
#include <modules/ReportLog.h>

#include <common/ChildProcess.h>
#include <storage/Drive.h>
#include <storage/MountTable.h>
#include <storage/ReadTest.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace krel5::modules::storage {
namespace {

namespace fs = std::filesystem;

/// A folder of its own, removed at the end.
struct Folder
{
    fs::path m_path;
    Folder()
    {
        std::string pattern = (fs::temp_directory_path() / "storage-test-XXXXXX").string();
        m_path = ::mkdtemp(pattern.data());
    }
    ~Folder() { fs::remove_all(m_path); }
    bool empty() const { return fs::is_empty(m_path); }
};

constexpr std::uint64_t kSize = 3 << 20;

ScratchProgress goOn()
{
    return [](std::uint64_t) { return true; };
}

TEST(Content, tellsDamageAndDisplacement)
{
    SeededContent const content(42);
    std::vector<std::byte> block(std::size_t(1) << 20);
    content.fill(1 << 20, block);
    EXPECT_EQ(content.firstWrong(1 << 20, block), block.size());
    EXPECT_NE(content.firstWrong(2 << 20, block), block.size()) << "the right bytes of the wrong place";
    EXPECT_NE(SeededContent(43).firstWrong(1 << 20, block), block.size());
    for (std::size_t place :
         {std::size_t(0), std::size_t(7), std::size_t(4096), std::size_t(70001), block.size() - 1}) {
        std::vector<std::byte> damaged = block;
        damaged[place] ^= std::byte(1);
        EXPECT_EQ(content.firstWrong(1 << 20, damaged), place);
    }
}

TEST(ScratchFile, hasNoNameAndReadsBackWhatWasWritten)
{
    Folder const folder;
    SeededContent const content(7);
    {
        bool namelessWhileWritten = true;
        OpenedSource const scratch =
            makeScratchFile(folder.m_path.string(), kSize, content,
                            [&](std::uint64_t) { return namelessWhileWritten = folder.empty(); });
        EXPECT_TRUE(namelessWhileWritten);
        ASSERT_EQ(scratch.m_error, 0) << scratch.m_place;
        EXPECT_EQ(scratch.m_place, folder.m_path.string());
        EXPECT_TRUE(folder.empty());
        ReportLog host;
        ReadPlan plan;
        plan.m_order = ReadPlan::Order::Surface;
        plan.m_check = &content;
        ReadSummary const summary = runReadTest(host, *scratch.m_source, plan);
        EXPECT_EQ(summary.m_outcome, Outcome::Pass);
        EXPECT_EQ(summary.m_bytes, kSize);

        SeededContent const other(8);
        plan.m_check = &other;
        ReportLog wrong;
        EXPECT_EQ(runReadTest(wrong, *scratch.m_source, plan).m_outcome, Outcome::Fail);
        EXPECT_EQ(wrong.m_faults.front(), "StorageContentWrong Lba=0 Offset=0");
    }
    EXPECT_TRUE(folder.empty());
}

TEST(ScratchFile, isRefusedWithTheReason)
{
    Folder const folder;
    SeededContent const content(7);
    EXPECT_EQ(
        makeScratchFile(folder.m_path.string(), kSize, content, [](std::uint64_t) { return false; }).m_error,
        ECANCELED);
    OpenedSource const full =
        makeScratchFile(folder.m_path.string(), std::uint64_t(1) << 60, content, goOn());
    EXPECT_EQ(full.m_error, ENOSPC);
    EXPECT_EQ(full.m_wanted, std::uint64_t(1) << 61);
    EXPECT_GT(full.m_free, 0u);
    EXPECT_FALSE(full.m_driveFailed);
    EXPECT_EQ(makeScratchFile("/nowhere/at/all", kSize, content, goOn()).m_error, ENOENT);
    EXPECT_TRUE(folder.empty());
}

TEST(Drive, isABlockDeviceOrNothing)
{
    Folder const folder;
    EXPECT_EQ(openDrive((folder.m_path / "none").string()).m_error, ENOENT);
    EXPECT_EQ(openDrive("/dev/null").m_error, ENOTBLK);
    std::string const pipe = (folder.m_path / "pipe").string();
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(openDrive(pipe).m_error, ENOTBLK); // and does not wait for a writer
    EXPECT_TRUE(scratchDirectories("/dev/null").empty());
}

TEST(MountTable, findsTheWritableFileSystemsOfADevice)
{
    auto const mounts = parseMountInfo("27 1 8:1 / / rw,relatime shared:1 master:2 - ext4 /dev/sda1 rw\n"
                                       "28 27 8:2 / /boot ro,relatime - vfat /dev/sda2 rw\n"
                                       "29 27 8:3 / /frozen rw - ext4 /dev/sda3 ro,errors=panic\n"
                                       "30 27 8:4 / /my\\040disk\\134x rw - ext4 /dev/sda4 rw\n"
                                       "31 27 8:1 /home /home rw - ext4 /dev/sda1 rw\n"
                                       "32 27 8:1 / / rw - ext4 /dev/sda1 rw\n"
                                       "33 27 253:0 / /other rw - ext4 /dev/vda rw");
    EXPECT_EQ(mounts.size(), 7u);
    using Directories = std::vector<std::string>;
    EXPECT_EQ(writableMounts(mounts, {{8, 0}, {8, 1}, {8, 2}, {8, 3}, {8, 4}}),
              (Directories{"/", "/my disk\\x", "/home"}));
    EXPECT_EQ(writableMounts(mounts, {{8, 16}}), Directories{});
}

TEST(MountTable, skipsWhatIsNotALineOfIt)
{
    for (char const* line :
         {"", " ", "-", "27 1 8:1 / /", "27 1 8 / / rw - ext4 x rw", "27 1 8:x / / rw - ext4 x rw",
          "27 1 8:1 / / rw ext4 x rw", "27 1 8:1 / / rw - ext4", "27 1 8:1 / / rw - ext4 x", "a - b - c",
          "1 1 8:1 - ext4 x rw y", "27 1 8: / / rw - ext4 x rw", "27 1 :1 / / rw - ext4 x rw",
          "27 1 99999999999:1 / / rw - e x rw"})
        EXPECT_TRUE(parseMountInfo(line).empty()) << line;
    for (auto const& [written, directory] :
         {std::pair{"/a\\04", "/a\\04"}, std::pair{"/a\\040", "/a "}, std::pair{"/a\\400", "/a\\400"},
          std::pair{"/a\\09\\377b", "/a\\09\377b"}})
        EXPECT_EQ(parseMountInfo("1 1 8:1 / " + std::string(written) + " rw - e x rw").at(0).m_directory,
                  directory);
}

bool never() { return false; }

TEST(ChildProcess, isBoundedInTimeAndSize)
{
    auto const shell = [](char const* script, ChildLimits limits = {}) {
        return runChild({"/bin/sh", "-c", script}, limits, never);
    };
    ChildResult const plain = shell("echo out; echo err >&2; cat; exit 5");
    EXPECT_EQ(plain.m_end, ChildResult::End::Exited);
    EXPECT_EQ(plain.m_status, 5);
    EXPECT_EQ(plain.m_output, "out\n");
    EXPECT_EQ(shell("echo $LC_ALL:$HOME").m_output, "C:\n");

    ChildResult const killed = shell("kill -TERM $$");
    EXPECT_EQ(killed.m_end, ChildResult::End::Signalled);
    EXPECT_EQ(killed.m_status, SIGTERM);

    EXPECT_EQ(shell("while :; do echo y; done", {600, 100000}).m_end, ChildResult::End::TooMuchOutput);
    EXPECT_EQ(shell("sleep 600 & exec sleep 600", {0.05, 1000}).m_end, ChildResult::End::TimedOut);
    EXPECT_EQ(runChild({"/bin/sh", "-c", "exec sleep 600"}, {}, [] { return true; }).m_end,
              ChildResult::End::Stopped);
}

TEST(ChildProcess, thatDoesNotDieIsLeftAndNamed)
{
    ChildLimits limits;
    limits.m_bytes = 0; // over it as soon as the shell has said that it no longer minds
    limits.m_secondsToDie = 0.05;
    limits.m_killSignal = SIGTERM;
    ChildResult const child =
        runChild({"/bin/sh", "-c", "trap '' TERM; echo $$; exec sleep 600"}, limits, never);
    EXPECT_EQ(child.m_end, ChildResult::End::TooMuchOutput);
    EXPECT_EQ(std::to_string(child.m_leftBehind) + "\n", child.m_output);
    ASSERT_GT(child.m_leftBehind, 0);
    auto const id = static_cast<pid_t>(child.m_leftBehind);
    EXPECT_EQ(::kill(id, SIGKILL), 0);
    EXPECT_EQ(::waitpid(id, nullptr, 0), id);
}

TEST(ChildProcess, isOverWhenItEndsWhoeverHoldsItsOutputOpen)
{
    // Both sleepers hold the pipe; the second has left the group when the shell goes on.
    ChildResult const child = runChild({"/bin/sh", "-c",
                                        "sleep 600 & echo $!; setsid sleep 601 & echo $!;"
                                        "until [ \"$(cut -d' ' -f6 /proc/$!/stat)\" = $! ]; do :; done;"
                                        "head -c 60000 /dev/zero; exit 3"},
                                       {}, never);
    ASSERT_EQ(child.m_end, ChildResult::End::Exited);
    EXPECT_EQ(child.m_status, 3);
    std::istringstream printed(child.m_output);
    long inGroup = 0, escaped = 0;
    ASSERT_TRUE(printed >> inGroup >> escaped);
    EXPECT_EQ(child.m_output.size() - static_cast<std::size_t>(printed.tellg()) - 1, 60000u);
    EXPECT_TRUE(test::ends(inGroup));
    EXPECT_EQ(::kill(static_cast<pid_t>(escaped), SIGKILL), 0) << "it was not the runner's to end";
}

// As in the process of a host that does so. The kernel reaps its children, and their ids become other processes'.
TEST(ChildProcess, isLostAtOnceWhereChildrenAreIgnored)
{
    auto const before = ::signal(SIGCHLD, SIG_IGN);
    ChildResult const child = runChild({"/bin/sh", "-c", "echo out; exit 0"}, {}, never);
    ::signal(SIGCHLD, before);
    EXPECT_EQ(child.m_end, ChildResult::End::Lost);
    EXPECT_EQ(child.m_output, "out\n");
}

TEST(ChildProcess, diesWithAParentThatIsKilled)
{
    Folder const folder;
    std::string const note = folder.m_path / "id";
    pid_t const parent = ::fork();
    ASSERT_GE(parent, 0);
    if (parent == 0) {
        runChild(
            {"/bin/sh", "-c", "echo $$ > " + note + ".new; mv " + note + ".new " + note + "; exec sleep 600"},
            {}, never);
        ::_exit(1);
    }
    while (!fs::exists(note))
        ::usleep(1000);
    long id = 0;
    ASSERT_TRUE(std::ifstream(note) >> id);
    EXPECT_EQ(::kill(parent, SIGKILL), 0);
    EXPECT_EQ(::waitpid(parent, nullptr, 0), parent);
    EXPECT_TRUE(test::ends(id));
}

TEST(ChildProcess, keepsNoFileOfItsParentOpen)
{
    int const ours = ::fcntl(STDERR_FILENO, F_DUPFD, 4); // unlike most, without O_CLOEXEC
    int const input = ::dup(STDIN_FILENO);
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ASSERT_EQ(::write(ends[1], "secret", 6), 6);
    ::dup2(ends[0], STDIN_FILENO);
    ::close(ends[1]);
    EXPECT_EQ(
        runChild({"/bin/sh", "-c", "cat; [ /proc/self/fd/2 -ef /dev/null ] || echo loud; ls /proc/self/fd"},
                 {}, never)
            .m_output,
        "0\n1\n2\n3\n")
        << "the last is that of ls";
    ::dup2(input, STDIN_FILENO);
    for (int const end : {ours, input, ends[0]})
        ::close(end);
}

/// As many files as the process may have, but so many.
class FilesTaken
{
public:
    explicit FilesTaken(std::size_t left)
    {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        rlimit const few{64, m_before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
        for (int file = ::dup(STDERR_FILENO); file != -1; file = ::dup(STDERR_FILENO))
            m_files.push_back(file);
        for (; left > 0; --left, m_files.pop_back())
            ::close(m_files.back());
    }
    ~FilesTaken()
    {
        for (int const file : m_files)
            ::close(file);
        ::setrlimit(RLIMIT_NOFILE, &m_before);
    }

private:
    rlimit m_before{};
    std::vector<int> m_files;
};

TEST(ChildProcess, isNotStartedWhereFilesAreMissing)
{
    for (std::size_t const left : {0u, 1u, 2u, 3u, 4u, 8u}) {
        FilesTaken const taken(left);
        ChildResult const result = runChild({"/bin/sh", "-c", "exit 5"}, {}, never);
        EXPECT_EQ(result.m_end, left == 8 ? ChildResult::End::Exited : ChildResult::End::NotStarted) << left;
        EXPECT_EQ(result.m_status, left == 8 ? 5 : EMFILE) << left;
    }
}

TEST(ChildProcess, needsAProgramOfAnAbsolutePath)
{
    for (std::vector<std::string> const& words :
         {std::vector<std::string>{}, {""}, {"sh"}, {"/nowhere/program"}, {"/dev/null"}}) {
        ChildResult const result = runChild(words, {}, never);
        EXPECT_EQ(result.m_end, ChildResult::End::NotStarted);
        EXPECT_NE(result.m_status, 0);
    }
    EXPECT_EQ(findProgram("no such program"), "");
    EXPECT_EQ(findProgram("."), "");
    EXPECT_EQ(findProgram("sh").front(), '/');
}

} // namespace
} // namespace krel5::modules::storage
