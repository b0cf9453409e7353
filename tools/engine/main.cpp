// krel5-engine: says which tests there are for this machine, and runs them.

#include <engine/CommandLine.h>
#include <engine/commands/WhyCommand.h>

#include <listing/command/Console.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/System.h>

#include <iostream>

namespace {

using engine::Command;
using engine::CommandLine;

int answered(std::string const& text, engine::Situation const& situation)
{
    if (!listing::printed(text))
        return engine::kTrouble;
    return situation.gaps.empty() && situation.damages.empty() ? engine::kDone : engine::kIncomplete;
}

int list(CommandLine const& line)
{
    engine::Situation const situation = engine::lookAround(line.where);
    return answered(line.list.json ? engine::listJson(situation, line.list)
                                   : engine::listText(situation, line.list),
                    situation);
}

int why(CommandLine const& line)
{
    engine::Situation const situation = engine::lookAround(line.where);
    return answered(engine::whyText(situation, line.whyTest, zel::System::userIsAdministrator()), situation);
}

// The modules that report devices, where the installed modules stand.
std::string sysinfoFolder()
{
    auto const folders = engine::installedModules();
    return folders.empty() ? "" : folders.front() + "/sysinfo";
}

int obey(CommandLine const& line)
{
    switch (line.command) {
    case Command::List:
        return list(line);
    case Command::Why:
        return why(line);
    case Command::Run:
        return engine::runCommand(line.run);
    case Command::Watch:
        return engine::watchCommand(line.watch);
    case Command::Inventory:
        return listing::listDevices(line.devices, sysinfoFolder());
    case Command::Compare:
        return listing::compareDevices(line.devices, sysinfoFolder());
    case Command::Report:
        return engine::writeReport(line.report);
    case Command::Last:
        return engine::showLast(line.lastAsJson);
    case Command::None:
        break;
    }
    return engine::kTrouble;
}

// Inventory and compare end as zel-devices does.
int statusOfFailure(Command command, bool isBadUsage)
{
    if (command == Command::Inventory)
        return isBadUsage ? listing::kBadUsage : listing::kFailed;
    return command == Command::Compare ? int(listing::kTrouble) : int(engine::kTrouble);
}

} // namespace

int main(int argc, char** argv)
{
    zel::System::secureStandardStreams();
    zel::System::secureSignals();
    listing::setProgram("krel5-engine", KREL5_VERSION);
    CommandLine const line = engine::parseCommandLine(argc, argv);
    if (line.answer)
        return listing::printed(*line.answer) ? int(engine::kDone) : int(engine::kTrouble);
    try {
        if (!line.error.empty())
            throw zel::InvalidArgumentException(line.error);
        return obey(line);
    } catch (zel::InvalidArgumentException const& error) {
        listing::complain(error.getMessage().toUtf8());
        std::cerr << "Try " << line.help << ".\n";
        return statusOfFailure(line.command, true);
    } catch (std::exception const& error) {
        listing::complain(error.what());
        return statusOfFailure(line.command, false);
    }
}
