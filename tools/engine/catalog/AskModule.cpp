#include <engine/catalog/AskModule.h>

#include <engine/catalog/linux/PrivateFolder.h>

#include <zel/enumerator/modules/ModuleProcess.h>
#include <zel/foundation/FileSystem.h>
#include <zel/model/texts/KeyTextFile.h>

#include <algorithm>
#include <atomic>
#include <thread>

namespace engine {

using zel::FileSystem;
using zel::String;

namespace {

ModuleAnswer ask(std::string const& program, int milliseconds)
{
    PrivateFolder const folder;
    if (!folder.problem().empty())
        return {program, {}, program + ": cannot be asked what it tests: " + folder.problem()};
    zel::ModuleProcess::Limits limits;
    limits.milliseconds = milliseconds;
    auto const outcome = zel::ModuleProcess::runIn(folder.path(), program, {"-m"}, limits);
    std::string said = outcome.complaint.empty() ? "" : ", and said: " + outcome.complaint.toUtf8();
    if (!outcome.error.empty())
        return {program, {}, program + ": does not say what it tests: " + outcome.error.toUtf8() + said};
    std::string const file =
        folder.path() + "/" + FileSystem::extractBaseFileName(String(program)).toUtf8() + ".w4m";
    auto read =
        FileSystem::readFile(file, zel::KeyTextFile::kMaxFileBytes, FileSystem::Writers::CallerOrRoot);
    if (!read.content)
        return {program, {}, program + ": does not say what it tests: it wrote no metadata" + said};
    return {program + " -m", std::move(*read.content), {}};
}

} // namespace

std::map<std::string, ModuleAnswer> askModules(std::vector<std::string> const& programs, int milliseconds)
{
    std::vector<ModuleAnswer> answers(programs.size());
    std::atomic<std::size_t> next{0};
    auto const work = [&] {
        for (std::size_t i = next++; i < programs.size(); i = next++)
            answers[i] = ask(programs[i], milliseconds);
    };
    constexpr std::size_t kMost = 4; // each waits for a program that starts, most of the time
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < std::min(kMost, programs.size()); ++i)
        threads.emplace_back(work);
    for (std::thread& thread : threads)
        thread.join();
    std::map<std::string, ModuleAnswer> byProgram;
    for (std::size_t i = 0; i < programs.size(); ++i)
        byProgram.emplace(programs[i], std::move(answers[i]));
    return byProgram;
}

} // namespace engine
