// The login area: who may believe it, and what may stand in its way.
#include <ipc/Link.h>

#include <foundation/ChildProcess.h>
#include <foundation/TemporaryFolder.h>
#include <zel/ipc/linux/LoginArea.h>
#include <zel/ipc/linux/Socket.h>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace zel;
using namespace zel::test;
namespace fs = std::filesystem;

namespace {

constexpr uid_t kNobody = 65534;
// No process has it: the largest that Linux gives is one less than 2^22.
constexpr std::int64_t kNoEngine = 4'194'400;
constexpr char kAside[] = "/dev/shm/krel5-test-aside";

std::string pathOf(std::int64_t engine) { return "/dev/shm" + LoginArea::nameOf(engine); }

std::string contentOf(std::string const& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Puts the file there, and holds it as an engine that lives does: others that start meanwhile clean up.
FileDescriptor hold(std::string const& path, std::string const& content)
{
    std::string const making = "/dev/shm/krel5-test-" + std::to_string(::getpid());
    FileDescriptor file = FileDescriptor::open(making.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    std::size_t written = 0;
    EXPECT_EQ(0, ::flock(file.number(), LOCK_EX));
    EXPECT_EQ(0, writeAll(file.number(), content.data(), content.size(), written));
    fs::rename(making, path);
    return file;
}

std::string newSocketFolder()
{
    std::string folder = std::string(::geteuid() == 0 ? "/run" : "/tmp") + "/krel5-engine-XXXXXX";
    EXPECT_NE(nullptr, ::mkdtemp(folder.data()));
    return folder;
}

void makeOld(std::string const& folder)
{
    timespec const hourAgo[2] = {{::time(nullptr) - 3600, 0}, {::time(nullptr) - 3600, 0}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, folder.c_str(), hourAgo, 0));
}

/// An engine cleans up once nobody says anything; its end waits for that.
void letAnEngineCleanUp()
{
    std::string const left = newSocketFolder();
    makeOld(left);
    Engine const next;
    auto const until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (fs::exists(left) && std::chrono::steady_clock::now() < until)
        ::usleep(1000);
    EXPECT_FALSE(fs::exists(left));
}

std::string failureFor(std::int64_t engine)
{
    Module module(engine);
    EXPECT_EQ(module.isIn, module.client.failure().empty());
    return module.client.failure().toUtf8();
}

} // namespace

TEST(Login, isForThisUserAloneAndLeavesNothingBehind)
{
    std::string socket;
    {
        Engine engine;
        struct stat area, folder;
        ASSERT_EQ(0, ::stat(pathOf(::getpid()).c_str(), &area));
        EXPECT_EQ(0600u, area.st_mode & 07777);
        socket = LoginArea::read(LoginArea::nameOf(::getpid())).socketPath;
        ASSERT_EQ(0, ::stat(fs::path(socket).parent_path().c_str(), &folder));
        EXPECT_EQ(0700u, folder.st_mode & 07777);
        EXPECT_EQ("", failureFor(::getpid()));
    }
    EXPECT_FALSE(fs::exists(pathOf(::getpid())));
    EXPECT_FALSE(fs::exists(fs::path(socket).parent_path()));
    EXPECT_NE(std::string::npos, failureFor(::getpid()).find("there is no engine of that process id"));
}

TEST(Login, doesNotBelieveAnAreaThatOthersCouldHaveMade)
{
    FakeEngine const engine;
    std::string const path = pathOf(::getpid()), content = contentOf(path);
    auto const with = [&](std::size_t at, char byte) {
        std::string changed = content;
        changed[at] = byte;
        return changed;
    };
    struct
    {
        char const* reason;
        std::string content;
        std::function<void()> change = [] {};
    } const cases[] = {
        {"", content},
        {"others than its owner", content, [&] { ::chmod(path.c_str(), 0640); }},
        {"others than its owner", content, [&] { ::chmod(path.c_str(), 0602); }},
        {"another size", content + "x"},
        {"another size", content.substr(1)},
        {"another size", ""},
        {"no engine's", with(0, 'z')},
        {"no engine's", with(12, 'z')},
        {"version", with(8, 2)},
        {"is that of process", with(16, static_cast<char>(content[16] + 1))},
        {"names no socket", content.substr(0, 24) + std::string(104, '/')},
        {"names no socket", with(24, 's')},
        {"Nobody listens", with(25, 'x')},
        {"it is a symbolic link", content,
         [&] { fs::rename(path, kAside), fs::create_symlink(kAside, path); }},
        {"no shared memory", content, [&] { fs::remove(path), ::mkfifo(path.c_str(), 0600); }},
        {::geteuid() == 0 ? "belongs to user 65534" : "", content,
         [&] { [[maybe_unused]] int const ignored = ::chown(path.c_str(), kNobody, kNobody); }},
    };
    for (auto const& one : cases) {
        FileDescriptor const held = hold(path, one.content);
        one.change();
        std::string const failure = failureFor(::getpid());
        EXPECT_NE(std::string::npos, failure.find(one.reason)) << one.reason << ": " << failure;
        EXPECT_EQ(*one.reason == 0, failure.empty()) << failure;
        fs::remove(path);
    }
    fs::remove(kAside);
    EXPECT_NE(std::string::npos, failureFor(-1).find("no name of one"));
}

TEST(Login, anotherProcessAtTheSocketIsNotTheEngine)
{
    FakeEngine const engine; // listens as this process
    std::string content = contentOf(pathOf(::getpid()));
    std::memcpy(content.data() + 16, &kNoEngine, sizeof kNoEngine);
    FileDescriptor const held = hold(pathOf(kNoEngine), content);
    EXPECT_NE(std::string::npos, failureFor(kNoEngine).find("not the engine"));
    fs::remove(pathOf(kNoEngine));
}

TEST(Login, whatStandsInTheWayIsReplacedAndNeverFollowed)
{
    ::test::TemporaryFolder const folder;
    std::string const victim = folder.write("victim", "precious"), path = pathOf(::getpid());
    std::function<void()> const obstacles[] = {
        [&] { hold(path, "left by an engine of the same process id"); },
        [&] { fs::create_symlink(victim, path); },
        [&] { ::mkfifo(path.c_str(), 0666); },
        [&] {
            hold(path, "somebody else's");
            [[maybe_unused]] int const ignored = ::chown(path.c_str(), kNobody, kNobody);
        },
    };
    for (auto const& make : obstacles) {
        make();
        Engine const engine;
        EXPECT_EQ("", failureFor(::getpid()));
    }
    EXPECT_EQ("precious", folder.read("victim"));
}

TEST(Login, whatCannotBeReplacedIsNamed)
{
    fs::create_directory(pathOf(::getpid()));
    try {
        Engine const engine;
        ADD_FAILURE() << "an engine that nobody can find";
    } catch (IPCException const& e) {
        EXPECT_NE(std::string::npos, e.getMessage().toUtf8().find(pathOf(::getpid())));
    }
    fs::remove(pathOf(::getpid()));
    int const held = ::open(pathOf(::getpid()).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(0, ::flock(held, LOCK_EX));
    EXPECT_THROW(Engine(), IPCException) << "of an engine that lives: in another process id namespace";
    ::close(held);
    fs::remove(pathOf(::getpid()));
}

TEST(Login, whatADeadEngineLeftIsRemovedByTheNext)
{
    int ready[2];
    ASSERT_EQ(0, ::pipe(ready));
    pid_t const child = ::fork();
    if (child == 0) {
        Engine const killed;
        [[maybe_unused]] auto const said = ::write(ready[1], "x", 1);
        ::pause();
    }
    char ignored;
    ASSERT_EQ(1, ::read(ready[0], &ignored, 1));
    std::string const socket = LoginArea::read(LoginArea::nameOf(child)).socketPath;
    letAnEngineCleanUp();
    {
        Engine const beside; // an engine that lives is left alone
        EXPECT_TRUE(fs::exists(socket));
        EXPECT_EQ("", failureFor(child));
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_TRUE(fs::exists(pathOf(child)));
    // What is nobody's login area stays.
    std::string const strangers[] = {pathOf(child) + "x", kAside + std::to_string(child)};
    for (std::string const& one : strangers)
        std::ofstream(one) << "a";
    letAnEngineCleanUp();
    for (std::string const& one : strangers)
        EXPECT_TRUE(fs::remove(one)) << one;
    ::test::TemporaryFolder const folder;
    removeSocket(folder.write("link", ""));
    EXPECT_TRUE(fs::exists(folder.path("link"))) << "whatever path an area names";
    EXPECT_FALSE(fs::exists(pathOf(child)));
    EXPECT_FALSE(fs::exists(fs::path(socket).parent_path()));
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST(Login, soAreSocketsThatNoAreaNames)
{
    struct Case
    {
        char const* what;
        bool isOld, listens, isOwn;
        char const* more; ///< file beside the socket; empty: none
        bool stays;
    };
    Case const cases[] = {
        {"died before it had an area", true, false, true, "", false},
        {"begins just now", false, false, true, "", true},
        {"lives in another /dev/shm", true, true, true, "", true},
        {"somebody else's", true, false, false, "", true},
        {"holds what no engine made", true, false, true, "precious", true},
    };
    for (Case const& one : cases) {
        std::string const folder = newSocketFolder();
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, (folder + "/link").c_str());
        FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(0, ::bind(socket.number(), reinterpret_cast<sockaddr*>(&address), sizeof address));
        if (one.listens) {
            ASSERT_EQ(0, ::listen(socket.number(), 1));
        } else
            socket = FileDescriptor();
        if (*one.more)
            std::ofstream(folder + "/" + one.more) << "data";
        if (one.isOld)
            makeOld(folder);
        if (!one.isOwn) {
            ASSERT_EQ(0, ::chown(folder.c_str(), kNobody, kNobody)) << "needs root";
        }
        letAnEngineCleanUp();
        EXPECT_EQ(one.stays, fs::exists(folder)) << one.what;
        if (*one.more) {
            EXPECT_TRUE(fs::exists(folder + "/" + one.more));
        }
        fs::remove_all(folder);
    }
}

/// Another user, who does his deed once he is told where the socket is. Made before the engine: a child that is forked
/// beside the link's thread may inherit a lock of the allocator that nobody ever opens.
class Stranger
{
public:
    explicit Stranger(std::function<int(std::string const& socket)> const& deed)
    {
        EXPECT_EQ(0, ::pipe2(m_ends, O_CLOEXEC));
        m_child = ::fork();
        if (m_child != 0)
            return;
        ::close(m_ends[1]);
        if (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
            ::_exit(9);
        char path[256];
        ssize_t const length = ::read(m_ends[0], path, sizeof path);
        try {
            ::_exit(length > 0 ? deed(std::string(path, static_cast<std::size_t>(length))) : 8);
        } catch (...) {
            ::_exit(7);
        }
    }
    ~Stranger()
    {
        ::close(m_ends[0]);
        ::close(m_ends[1]);
    }
    Stranger(Stranger const&) = delete;
    Stranger& operator=(Stranger const&) = delete;

    /// How he ends.
    int go(std::string const& socket)
    {
        int status = -1;
        EXPECT_EQ(static_cast<ssize_t>(socket.size()), ::write(m_ends[1], socket.data(), socket.size()));
        EXPECT_EQ(m_child, ::waitpid(m_child, &status, 0));
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    int m_ends[2]{-1, -1};
    pid_t m_child = -1;
};

TEST(Login, anotherUserCanNeitherReadNorConnectNorPretend)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    std::int64_t const self = ::getpid();
    Stranger looking([self](std::string const& socket) {
        if (::open(pathOf(self).c_str(), O_RDONLY) >= 0 || ::open(socket.c_str(), O_RDWR) >= 0)
            return 1;
        if (Module(self).isIn)
            return 2;
        try {
            connectTo(socket, std::chrono::steady_clock::now() + kPatience);
            return 4;
        } catch (IPCException const&) { // nobody listens to him
        }
        return ::unlink(pathOf(self).c_str()) == 0 ? 3 : 0;
    });
    Stranger pushing([](std::string const& socket) {
        int const connected = connectTo(socket, std::chrono::steady_clock::now() + kPatience).release();
        if (connected < 0)
            return 2;
        sendRaw(connected, frameOf(EnumerationMessage()));
        return isClosedByPeer(connected) ? 0 : 1;
    });
    Engine engine;
    std::string const socket = LoginArea::read(LoginArea::nameOf(self)).socketPath;
    EXPECT_EQ(0, looking.go(socket));
    // A folder that lets others in would not help: the engine looks at who connects.
    std::string const folder = fs::path(socket).parent_path();
    ::chmod(folder.c_str(), 0755);
    ::chmod(socket.c_str(), 0666);
    ::chmod(pathOf(self).c_str(), 0644);
    EXPECT_EQ(0, pushing.go(socket));
    EXPECT_TRUE(engine.heard.peers.empty());
    EXPECT_TRUE(engine.heard.messages.empty());
}
