#include <engine/plan/Names.h>

#include <engine/catalog/Assignment.h>

#include <zel/foundation/Exception.h>
#include <zel/model/state/StateManager.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>
#include <system_error>

namespace engine {

using zel::DeviceImp;
using zel::String;

namespace {

constexpr std::size_t kMostNamed = 5; // of candidates, in one message

[[noreturn]] void refuse(std::string const& reason) { throw zel::InvalidArgumentException(String(reason)); }

bool matchesLowered(String const& pattern, String const& text)
{
    std::size_t p = 0, t = 0, star = String::npos, behind = 0;
    while (t < text.size()) {
        if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t]) && pattern[p] != '*') {
            ++p;
            ++t;
        } else if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            behind = t;
        } else if (star != String::npos) { // the last star takes one more
            p = star + 1;
            t = ++behind;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*')
        ++p;
    return p == pattern.size();
}

std::optional<std::size_t> numberIn(std::string const& word)
{
    std::size_t number = 0;
    auto const [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size())
        return std::nullopt;
    return number;
}

// "3", "1,4", "2-5"
bool isOfNumbers(std::string const& word)
{
    return word.find_first_not_of("0123456789,-") == std::string::npos &&
           word.find_first_of("0123456789") != std::string::npos;
}

/// Those of `all` that `word` names: with a wildcard every one that fits, by key or name; without, the one of that key, else
/// those of that name.
template <typename One, typename KeyOf, typename NameOf>
std::vector<One> named(std::vector<One> const& all, std::string const& word, KeyOf keyOf, NameOf nameOf)
{
    std::vector<One> byKey, byName;
    for (One const& one : all) {
        if (matches(word, keyOf(one)))
            byKey.push_back(one);
        else if (matches(word, nameOf(one)))
            byName.push_back(one);
    }
    if (hasWildcard(word)) {
        byKey.insert(byKey.end(), byName.begin(), byName.end());
        return byKey;
    }
    return byKey.empty() ? byName : byKey;
}

std::vector<Module*> allModules(Catalog const& catalog)
{
    std::vector<Module*> modules;
    for (auto const& module : catalog.modules())
        modules.push_back(module.get());
    return modules;
}

std::vector<Module*> modulesNamed(Catalog const& catalog, std::string const& word)
{
    return named(
        allModules(catalog), word, [](Module const* one) { return one->guid(); },
        [](Module const* one) { return one->name; });
}

std::vector<ModuleTest*> testsNamed(Module& module, std::string const& word)
{
    std::vector<ModuleTest*> all;
    for (ModuleTest& test : module.tests)
        all.push_back(&test);
    return named(
        all, word, [](ModuleTest const* one) { return one->record.keyInModule().toUtf8(); },
        [](ModuleTest const* one) { return one->name; });
}

std::vector<String> wordsOf(Catalog const& catalog)
{
    std::vector<String> words;
    for (auto const& module : catalog.modules()) {
        words.insert(words.end(), {String(module->guid()), String(module->name)});
        for (ModuleTest const& test : module->tests)
            words.insert(words.end(),
                         {String(wordOf(*module, test)), test.record.keyInModule(), String(test.name)});
    }
    return words;
}

std::string listOf(std::vector<Catalog::Place> const& places)
{
    std::string list;
    for (std::size_t i = 0; i < places.size() && i < kMostNamed; ++i)
        list += (i > 0 ? ", " : "") + wordOf(*places[i].module, *places[i].test);
    return list + (places.size() > kMostNamed ? ", ..." : "");
}

ChosenTests ofModules(std::vector<Module*> const& modules, std::string const& testWord)
{
    ChosenTests chosen;
    for (Module* const module : modules)
        for (ModuleTest* const test : testsNamed(*module, testWord))
            chosen.tests.push_back({module, test});
    return chosen;
}

// TEST alone, where it is clear whose it is.
ChosenTests ofAnyModule(Catalog const& catalog, std::string const& word)
{
    ChosenTests chosen = ofModules(allModules(catalog), word);
    if (chosen.tests.empty())
        refuse("there is no module or test \"" + word + "\"" + hintFor(word, wordsOf(catalog)));
    if (chosen.tests.size() > 1 && !hasWildcard(word))
        refuse("\"" + word + "\" may be several tests: " + listOf(chosen.tests) + "; name one of them");
    chosen.isNamed = !hasWildcard(word);
    return chosen;
}

std::vector<Module*> oneOrSeveral(Catalog const& catalog, std::string const& word)
{
    std::vector<Module*> const modules = modulesNamed(catalog, word);
    if (modules.size() > 1 && !hasWildcard(word)) {
        std::string list;
        for (Module const* const module : modules)
            list += (list.empty() ? "" : ", ") + module->guid();
        refuse("several modules are called \"" + word + "\": " + list);
    }
    return modules;
}

std::string deviceList(std::vector<DeviceImp*> const& devices, std::vector<DeviceImp*> const& numbered)
{
    std::string list;
    for (std::size_t i = 0; i < devices.size() && i < kMostNamed; ++i) {
        auto const place = std::find(numbered.begin(), numbered.end(), devices[i]);
        list += i > 0 ? ", " : "";
        if (place != numbered.end())
            list += std::to_string(place - numbered.begin() + 1) + " ";
        list += nameAndPlaceOf(*devices[i]);
    }
    return list + (devices.size() > kMostNamed ? ", ..." : "");
}

std::vector<std::string> namesOf(DeviceImp const& device)
{
    return {device.osLocator().toUtf8(), device.hwLocator().toUtf8(), device.name().toUtf8(),
            device.guid().toUtf8()};
}

} // namespace

bool matches(std::string const& pattern, std::string const& text)
{
    return matchesLowered(String(pattern).lowered(), String(text).lowered());
}

std::vector<std::string> numbersOf(std::string const& word)
{
    std::vector<std::string> parts;
    std::size_t from = 0;
    if (isOfNumbers(word))
        for (std::size_t comma; (comma = word.find(',', from)) != std::string::npos; from = comma + 1)
            parts.push_back(word.substr(from, comma - from));
    parts.push_back(word.substr(from));
    return parts;
}

bool hasWildcard(std::string const& word) { return word.find_first_of("*?") != std::string::npos; }

namespace {

Catalog::Place placeOfNumber(Catalog const& catalog, std::string const& number, std::string const& word)
{
    auto const value = numberIn(number);
    Catalog::Place const place = value ? catalog.testOfNumber(*value) : Catalog::Place{};
    if (!place.test)
        refuse("there is no test of the number " + number +
               (number == word ? std::string() : " (in \"" + word + "\")") + "; \"list\" shows the numbers");
    return place;
}

// "2-5": what stands there, and so no test by its own number.
ChosenTests ofSpan(Catalog const& catalog, std::string const& word)
{
    std::size_t const dash = word.find('-');
    std::string const first = word.substr(0, dash), last = word.substr(dash + 1);
    if (first.empty() || last.empty() || last.find('-') != std::string::npos)
        refuse("\"" + word + "\" is no range of numbers, as 2-5");
    for (std::string const& end : {first, last})
        placeOfNumber(catalog, end, word);
    std::size_t const from = numberIn(first).value_or(0), to = numberIn(last).value_or(0);
    if (from > to)
        refuse("the range \"" + word + "\" goes backwards: write " + last + "-" + first);
    ChosenTests chosen;
    for (std::size_t number = from; number <= to; ++number) // both ends are in the list
        chosen.tests.push_back(catalog.testOfNumber(number));
    return chosen;
}

ChosenTests ofNumbers(Catalog const& catalog, std::string const& word)
{
    ChosenTests chosen{{}, true};
    for (std::string const& part : numbersOf(word)) {
        if (part.empty())
            refuse("a number is missing in \"" + word + "\"");
        ChosenTests const more = chooseTests(catalog, part);
        chosen.tests.insert(chosen.tests.end(), more.tests.begin(), more.tests.end());
        chosen.isNamed = chosen.isNamed && more.isNamed;
    }
    return chosen;
}

} // namespace

ChosenTests chooseTests(Catalog const& catalog, std::string const& word)
{
    if (isOfNumbers(word)) {
        if (word.find(',') != std::string::npos)
            return ofNumbers(catalog, word);
        return word.find('-') != std::string::npos ? ofSpan(catalog, word)
                                                   : ChosenTests{{placeOfNumber(catalog, word, word)}, true};
    }
    std::size_t const colon = word.find(':');
    std::string const moduleWord = word.substr(0, colon);
    std::vector<Module*> const modules = oneOrSeveral(catalog, moduleWord);
    if (colon == std::string::npos)
        return modules.empty() ? ofAnyModule(catalog, word) : ofModules(modules, "*");
    if (modules.empty())
        refuse("there is no module \"" + moduleWord + "\"" + hintFor(moduleWord, wordsOf(catalog)));
    std::string const testWord = word.substr(colon + 1);
    ChosenTests chosen = ofModules(modules, testWord);
    if (chosen.tests.empty()) {
        std::vector<String> known;
        for (Module const* const module : modules)
            for (ModuleTest const& test : module->tests)
                known.insert(known.end(), {test.record.keyInModule(), String(test.name)});
        refuse("the module \"" + moduleWord + "\" has no test \"" + testWord + "\"" +
               hintFor(testWord, known));
    }
    if (chosen.tests.size() > 1 && !hasWildcard(word))
        refuse("\"" + word + "\" may be several tests: " + listOf(chosen.tests) + "; name one of them");
    chosen.isNamed = !hasWildcard(word);
    return chosen;
}

Module* chooseModule(Catalog const& catalog, std::string const& word)
{
    auto const modules = oneOrSeveral(catalog, word);
    if (!modules.empty())
        return modules.front();
    std::vector<String> known;
    for (Module const* const module : allModules(catalog))
        known.insert(known.end(), {String(module->guid()), String(module->name)});
    refuse("there is no module \"" + word + "\"" + hintFor(word, known));
}

std::vector<DeviceImp*> chooseDevices(std::vector<DeviceImp*> const& numbered,
                                      zel::StateManager const& machine, std::string const& word)
{
    if (auto const number = numberIn(word)) {
        if (*number == 0 || *number > numbered.size())
            refuse("--device: there is no device of the number " + word + "; \"list\" shows the numbers");
        return {numbered[*number - 1]};
    }
    std::error_code error;
    std::string const file = word.starts_with('/') && !hasWildcard(word)
                                 ? std::filesystem::canonical(word, error).string()
                                 : std::string();
    std::vector<DeviceImp*> found, ofClass;
    std::vector<String> known;
    for (std::size_t i = 0; i < machine.deviceCount(); ++i) {
        DeviceImp* const device = machine.deviceAtIndex(i);
        auto const names = namesOf(*device);
        if (std::any_of(names.begin(), names.end(), [&](std::string const& name) {
                return !name.empty() && (matches(word, name) || name == file);
            }))
            found.push_back(device);
        else if (matches(word, device->deviceType().toString().toUtf8()))
            ofClass.push_back(device);
        known.insert(known.end(), names.begin(), names.end());
        known.push_back(device->deviceType().toString());
    }
    // What nothing tests does not make a name unclear: a drive and the port that it hangs on may share one.
    if (std::vector<DeviceImp*> tested; found.size() > 1) {
        for (DeviceImp* const device : found)
            if (std::find(numbered.begin(), numbered.end(), device) != numbered.end())
                tested.push_back(device);
        if (!tested.empty())
            found = tested;
    }
    if (found.empty())
        found = ofClass;
    else if (found.size() > 1 && !hasWildcard(word))
        refuse("--device: several devices are called \"" + word + "\": " + deviceList(found, numbered) +
               "; give one of these numbers or places, or a wildcard (*) for all");
    if (found.empty())
        refuse("--device: there is no device \"" + word + "\"" + hintFor(word, known) +
               " (\"list\" and \"inventory\" show them)");
    return found;
}

} // namespace engine
