// krel5-engine: says which tests there are for this machine.

#include <engine/CommandLine.h>

#include <listing/Listing.h>

#include <zel/foundation/System.h>

#include <iostream>

int main(int argc, char** argv)
{
    zel::System::secureStandardStreams();
    engine::CommandLine const line = engine::parseCommandLine(argc, argv);
    if (line.answer) {
        std::cout << *line.answer << std::flush;
        return std::cout ? 0 : 1;
    }
    std::cerr << "krel5-engine: "
              << listing::harmless(line.error.empty() ? "no command was given" : line.error)
              << "\nTry krel5-engine --help.\n";
    return 22;
}
