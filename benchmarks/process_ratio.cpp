// Times two programs as whole processes, turn by turn, and prints the ratio of their medians: noise that
// comes and goes hits both. In wall time, and in processor time, which says the same on a busy machine.
//     process_ratio NAME ROUNDS COMMAND [ARGUMENT...] -- COMMAND [ARGUMENT...]
// Standard output of the programs is thrown away. "{}" in an argument stands for the round. Also prints the greatest resident memory of the first.
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
    double processorMilliseconds;
    long residentKilobytes;
};

double milliseconds(timeval const& time)
{
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

Sample runOnce(std::vector<char*> const& words, int round)
{
    std::vector<std::string> texts;
    for (char const* const word : words) {
        std::string& text = texts.emplace_back(word);
        if (auto const place = text.find("{}"); place != std::string::npos)
            text.replace(place, 2, std::to_string(round));
    }
    std::vector<char*> command;
    for (std::string& text : texts)
        command.push_back(text.data());
    command.push_back(nullptr);
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
    return {std::chrono::duration<double, std::milli>(end - start).count(),
            milliseconds(used.ru_utime) + milliseconds(used.ru_stime), used.ru_maxrss};
}

double median(std::vector<Sample> const& samples, double Sample::*figure)
{
    std::vector<double> values;
    for (Sample const& sample : samples)
        values.push_back(sample.*figure);
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
    std::vector<Sample> ours, theirs;
    for (int i = 0; i < std::atoi(argv[2]); ++i) {
        ours.push_back(runOnce(first, i));
        theirs.push_back(runOnce(second, i));
    }
    auto const print = [&](char const* name, char const* kind, double Sample::*figure) {
        double const a = median(ours, figure), b = median(theirs, figure);
        std::printf("%-44s %8.2f ms / %8.2f ms = %5.2f %s", name, a, b, a / b, kind);
    };
    long resident = 0;
    for (Sample const& sample : ours)
        resident = std::max(resident, sample.residentKilobytes);
    print(argv[1], "wall time", &Sample::milliseconds);
    std::printf("   (%.1f MB resident)\n", static_cast<double>(resident) / 1024);
    print("", "processor time\n", &Sample::processorMilliseconds);
    return 0;
}
