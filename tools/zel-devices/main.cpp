// zel-devices: prints the devices that the enumerator sees, and what differs between two such listings.

#include "CommandLine.h"

#include <listing/command/Console.h>
#include <listing/command/DevicesCommand.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/System.h>

#include <iostream>

int main(int argc, char** argv)
{
    zel::System::secureStandardStreams();
    zel::System::secureSignals();
    listing::setProgram("zel-devices", KREL5_VERSION);
    CommandLine const line = parseCommandLine(argc, argv);
    if (line.answer)
        return listing::printed(*line.answer) ? listing::kListed : listing::kFailed;
    try {
        if (!line.error.empty())
            throw zel::InvalidArgumentException(line.error);
        // where the shipped modules look, too
        std::string const folder = listing::besideProgram(KREL5_MODULES_FOLDER);
        return line.compare ? listing::compareDevices(line.request, folder)
                            : listing::listDevices(line.request, folder);
    } catch (zel::InvalidArgumentException const& error) {
        listing::complain(error.getMessage().toUtf8());
        std::cerr << "Try zel-devices --help.\n";
        return listing::kBadUsage;
    } catch (std::exception const& error) {
        listing::complain(error.what());
        return line.compare ? int(listing::kTrouble) : int(listing::kFailed);
    }
}
