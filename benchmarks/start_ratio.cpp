// From posix_spawn of a module to its registration, known to the engine, against the same with a program that does nothing
// but connect to a socket and send as many bytes: turn by turn, medians.
//     start_ratio NAME ROUNDS MODULE REGISTERING FOLDER
#include <zel/foundation/Locks.h>
#include <zel/foundation/Stopwatch.h>
#include <zel/ipc/Frame.h>
#include <zel/ipc/IPCServer.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

void expect(bool isSo, char const* what)
{
    if (isSo)
        return;
    std::fprintf(stderr, "start_ratio: %s\n", what);
    std::exit(1);
}

pid_t start(std::vector<std::string> words)
{
    std::vector<char*> command;
    for (std::string& word : words)
        command.push_back(word.data());
    command.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int const stream : {1, 2})
        posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    expect(posix_spawn(&child, command[0], &actions, nullptr, command.data(), environ) == 0, "not started");
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

void end(pid_t child)
{
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

double median(std::vector<double> all)
{
    std::sort(all.begin(), all.end());
    return all[all.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    expect(argc == 6, "NAME ROUNDS MODULE REGISTERING FOLDER");
    std::string const socketPath = std::string(argv[5]) + "/bare";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    expect(socketPath.size() < sizeof address.sun_path, "too long a path");
    std::memcpy(address.sun_path, socketPath.data(), socketPath.size());
    int const listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    expect(::bind(listening, reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0 &&
               ::listen(listening, 1) == 0,
           "no socket");

    zel::ManagedSemaphore registered;
    std::atomic<std::size_t> bytes{0}; // of a registration
    zel::IPCServer server({nullptr, nullptr,
                           [&](zel::IPCServer::Peer, std::shared_ptr<zel::Message const> message) {
                               if (message->typeCode() != zel::ModuleStarted::kTypeCode)
                                   return;
                               bytes = zel::FrameHeader::kSize + message->serialize().size();
                               registered.post();
                           },
                           nullptr});
    auto const module = [&] {
        zel::Stopwatch const watch;
        pid_t const child =
            start({argv[3], "run", "-e", "-ePid", std::to_string(::getpid()), "-bd", argv[5]});
        expect(registered.wait(10'000), "no registration");
        double const taken = watch.getElapsed() * 1e3;
        end(child);
        return taken;
    };
    auto const bare = [&] {
        std::string frame(bytes, ' ');
        zel::Stopwatch const watch;
        pid_t const child = start({argv[4], socketPath, std::to_string(bytes)});
        int const link = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
        expect(::recv(link, frame.data(), frame.size(), MSG_WAITALL) == static_cast<ssize_t>(frame.size()),
               "no frame");
        double const taken = watch.getElapsed() * 1e3;
        ::close(link);
        end(child);
        return taken;
    };
    module(); // says how many bytes
    std::vector<double> ours, theirs;
    for (int i = 0; i < std::atoi(argv[2]); ++i) {
        ours.push_back(module());
        theirs.push_back(bare());
    }
    double const a = median(ours), b = median(theirs);
    std::printf("%-44s %8.2f ms / %8.2f ms = %5.2f\n", argv[1], a, b, b > 0 ? a / b : 0);
    ::unlink(socketPath.c_str());
}
