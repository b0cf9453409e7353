// Times two programs as whole processes, turn by turn, and prints the ratio of their medians: noise that
// comes and goes hits both.   process_ratio NAME ROUNDS COMMAND [ARGUMENT...] -- COMMAND [ARGUMENT...]
// Standard output of the programs is thrown away. Also prints the greatest resident memory of the first.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <vector>

extern char** environ;

namespace {

struct Sample
{
    double milliseconds;
    long residentKilobytes;
};

Sample runOnce(std::vector<char*> const& command)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    auto const start = std::chrono::steady_clock::now();
    pid_t child = 0;
    if (posix_spawnp(&child, command[0], &actions, nullptr, command.data(), environ) != 0) {
        std::fprintf(stderr, "cannot run %s\n", command[0]);
        std::exit(1);
    }
    int status = 0;
    rusage used{};
    wait4(child, &status, 0, &used);
    auto const end = std::chrono::steady_clock::now();
    posix_spawn_file_actions_destroy(&actions);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "%s did not end well (status %d)\n", command[0], status);
        std::exit(1);
    }
    return {std::chrono::duration<double, std::milli>(end - start).count(), used.ru_maxrss};
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<char*> first, second;
    std::vector<char*>* into = &first;
    for (int i = 3; i < argc; ++i) {
        if (std::strcmp(argv[i], "--") == 0)
            into = &second;
        else
            into->push_back(argv[i]);
    }
    if (first.empty() || second.empty()) {
        std::fprintf(stderr, "process_ratio NAME ROUNDS COMMAND... -- COMMAND...\n");
        return 2;
    }
    first.push_back(nullptr);
    second.push_back(nullptr);
    std::vector<double> ours, theirs;
    long resident = 0;
    for (int i = 0; i < std::atoi(argv[2]); ++i) {
        Sample const sample = runOnce(first);
        ours.push_back(sample.milliseconds);
        resident = std::max(resident, sample.residentKilobytes);
        theirs.push_back(runOnce(second).milliseconds);
    }
    std::printf("%-44s %8.2f ms / %8.2f ms = %5.2f   (%.1f MB resident)\n", argv[1], median(ours),
                median(theirs), median(ours) / median(theirs), static_cast<double>(resident) / 1024);
    return 0;
}
