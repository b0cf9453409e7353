#pragma once
// Runs a module as a technician does: a process of its own, with its own folder, its output and its exit
// status.

#include <csignal>
#include <string>
#include <sys/types.h>
#include <vector>

namespace test {

struct Outcome
{
    int status = -1; ///< exit status; -1 when a signal ended the process or it was killed for taking too long
    int signal = 0;
    std::string out, err;
};

struct Start
{
    std::vector<std::string> arguments;
    std::string name = "misbehaving"; ///< argv[0]
    std::string folder;               ///< working directory
    std::string input;                ///< what stands on standard input
    std::string outputFile;           ///< open standard output on this file instead of catching it
    bool closeOutput = false;
    bool closeErrors = false;
    bool asNobody = false;    ///< drop root first
    bool withoutArgv = false; ///< an argument vector with nothing in it
    std::string stopWhen;     ///< once this text stands in output or errors, send stopSignal ...
    int stops = 0; ///< ... so many times, each after the one before has been seen on standard error
    int stopSignal = SIGINT;
    std::vector<int> blocked;      ///< signals that the process is started with blocked ...
    std::vector<int> ignored;      ///< ... or ignored
    bool outputNeverWaits = false; ///< standard output is a pipe with O_NONBLOCK and room for one page
};

/// Never waits longer than a minute: then the process is killed and the outcome says so.
Outcome run(std::string const& program, Start const& start);

} // namespace test
