#pragma once
// What a person means by a word: which tests, which devices.

#include <engine/catalog/Catalog.h>

#include <listing/command/Usage.h>

#include <string>
#include <vector>

namespace zel {
class DeviceImp;
class StateManager;
} // namespace zel

namespace engine {

/// Whether `text` is what `pattern` says, whatever the case of the letters: `*` stands for any characters, `?` for one.
bool matches(std::string const& pattern, std::string const& text);
bool hasWildcard(std::string const& word);

struct ChosenTests
{
    std::vector<Catalog::Place> tests; ///< in the catalog's order
    bool isNamed = false;              ///< one test, by its own name or number: somebody means just this one
};

/// The tests of `word`: MODULE, MODULE:TEST, TEST where only one module has such a test, or numbers of the list ("3", "1,4", "2-5"; a
/// range means its tests as a wildcard does, not each by name). A name is a
/// key or what a person reads, in any case of letters, with wildcards or without. Throws InvalidArgumentException that
/// names the word, and the nearest one that there is or all that it may mean.
ChosenTests chooseTests(Catalog const& catalog, std::string const& word);
/// The parts of a word of several numbers ("1,4-6" is "1" and "4-6"), of any other the word itself.
std::vector<std::string> numbersOf(std::string const& word);
/// The module of that name. Throws likewise.
Module* chooseModule(Catalog const& catalog, std::string const& word);

/// The devices of `word`: a number (places in `numbered`, from 1), a name, a place in the system or in the hardware, a
/// file that stands for such a place (a link below /dev/disk), a guid, a class ("HardDrive"); the first five with
/// wildcards, too. Without wildcards, a name that several devices have is refused. Throws InvalidArgumentException as
/// above.
std::vector<zel::DeviceImp*> chooseDevices(std::vector<zel::DeviceImp*> const& numbered,
                                           zel::StateManager const& machine, std::string const& word);

using listing::hintFor;

} // namespace engine
