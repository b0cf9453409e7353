#include <engine/catalog/Metadata.h>

#include <zel/model/texts/KeyTextFile.h>
#include <zel/model/values/Number.h>
#include <zel/model/values/ValueImp.h>

#include <charconv>
#include <map>
#include <optional>

namespace engine {

using zel::String;

namespace {

constexpr char kRangeBegins[] = ":<MorvaneIncValidDataRange>";
constexpr char kRangeEnds[] = "</MorvaneIncValidDataRange>";
constexpr unsigned kLongestShutdown = 24 * 60 * 60;

/// Thrown inside this unit; the line is added where it is known.
struct Fault
{
    String reason;
};

struct ParameterDraft
{
    String key, range;
    std::optional<zel::DataTypeImp> type;
    bool required = true;
    int line = 0;
};

/// Of a test or an indicator, whose lines have much in common.
struct FunctionDraft
{
    String key;
    std::optional<zel::CapabilityImp> capabilities;
    zel::CapabilityImp optionalCapabilities;
    zel::TestImp::Flags flags;
    std::vector<zel::CapabilityImp> existence, absence;
    std::vector<zel::DeviceRequirement> properties;
    std::deque<ParameterDraft> parameters;
    int line = 0;
};

bool flag(String const& text)
{
    if (text == "true")
        return true;
    if (text == "false")
        return false;
    throw Fault{"neither true nor false"};
}

unsigned number(std::string const& text, unsigned most)
{
    unsigned value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value > most)
        throw Fault{"no number up to " + String::number(most)};
    return value;
}

std::vector<zel::CapabilityImp> capabilityList(String const& text)
{
    std::vector<zel::CapabilityImp> list;
    for (String const& word : text.split(','))
        if (!word.trimmed().empty())
            list.emplace_back(word.trimmed());
    return list;
}

// key:<tag>range</tag>, and so on; a range may hold commas.
std::vector<zel::DeviceRequirement> requirements(String text)
{
    std::vector<zel::DeviceRequirement> list;
    while (!text.empty()) {
        std::size_t const begin = text.find(kRangeBegins);
        std::size_t const range = begin + sizeof kRangeBegins - 1;
        std::size_t const end = begin == String::npos ? begin : text.find(kRangeEnds, range);
        if (end == String::npos)
            throw Fault{"a requirement of a property has no range"};
        zel::DeviceRequirement one{text.substr(0, begin), text.substr(range, end - range)};
        one.exclusion = one.propertyKey.startsWith("!");
        if (one.exclusion)
            one.propertyKey = one.propertyKey.substr(1);
        if (one.propertyKey.empty())
            throw Fault{"a requirement names no property"};
        list.push_back(std::move(one));
        text = text.substr(end + sizeof kRangeEnds - 1);
        if (!text.empty() && !text.startsWith(", "))
            throw Fault{"no comma between two requirements"};
        text = text.substr(2);
    }
    return list;
}

zel::VersionImp versionOf(String const& text)
{
    std::vector<String> const parts = text.split('.');
    if (parts.size() < 2)
        throw Fault{"no version, as 1.0"};
    constexpr unsigned kMost = 1'000'000'000;
    String revision;
    for (std::size_t i = 2; i < parts.size(); ++i)
        revision += (i > 2 ? String(".") : String()) + parts[i];
    return {number(parts[0].toUtf8(), kMost), number(parts[1].toUtf8(), kMost), revision};
}

/// The draft of that number: the last one, or a new one behind it.
template <typename Draft>
Draft& draftAt(std::deque<Draft>& drafts, String const& numberText, std::size_t most, int line)
{
    std::size_t const n = number(numberText.toUtf8(), 1'000'000'000);
    if (n == drafts.size() + 1 && n <= most) {
        drafts.emplace_back();
        drafts.back().line = line;
    }
    if (n == 0 || n != drafts.size())
        throw Fault{n > most ? "more than " + String::number(std::uint64_t{most}) + " of a kind"
                             : String("its number does not follow the one before it")};
    return drafts.back();
}

struct Fact
{
    char const* word;
    void (*take)(FunctionDraft&, String const&);
};

constexpr Fact kFacts[] = {
    {"TestKey", [](FunctionDraft& draft, String const& text) { draft.key = text; }},
    {"Key", [](FunctionDraft& draft, String const& text) { draft.key = text; }},
    {"Capabilities", [](FunctionDraft& draft, String const& text) { draft.capabilities.emplace(text); }},
    {"OptionalDeviceCapabilities",
     [](FunctionDraft& draft, String const& text) { draft.optionalCapabilities = zel::CapabilityImp(text); }},
    {"isInteractive", [](FunctionDraft& draft, String const& text) { draft.flags.interactive = flag(text); }},
    {"createsOwnGUI",
     [](FunctionDraft& draft, String const& text) { draft.flags.createsOwnGui = flag(text); }},
    {"isDestructive", [](FunctionDraft& draft, String const& text) { draft.flags.destructive = flag(text); }},
    {"supportsParallelTesting",
     [](FunctionDraft& draft, String const& text) { draft.flags.supportsParallelTesting = flag(text); }},
    {"enumeratesOnlyOnce",
     [](FunctionDraft& draft, String const& text) { draft.flags.enumeratesOnlyOnce = flag(text); }},
    {"minShutdownSeconds",
     [](FunctionDraft& draft, String const& text) {
         draft.flags.minShutdownSeconds = number(text.toUtf8(), kLongestShutdown);
     }},
    {"deviceExistenceRequirements",
     [](FunctionDraft& draft, String const& text) { draft.existence = capabilityList(text); }},
    {"deviceAbsenceRequirements",
     [](FunctionDraft& draft, String const& text) { draft.absence = capabilityList(text); }},
    {"devicePropertyRequirements",
     [](FunctionDraft& draft, String const& text) { draft.properties = requirements(text); }},
};

class Reader
{
public:
    Reader(zel::KeyTextFile const& file, Module& module) : m_file(file), m_module(module) {}

    void read(String const& guid)
    {
        for (zel::KeyTextFile::Issue const& issue : m_file.issues())
            throw zel::InvalidArgumentException(issue.toString());
        for (String const& key : m_file.keys()) {
            auto const& entry = *m_file.find(key);
            at(entry.m_line, [&] { take(key.split('.'), entry.m_text, entry.m_line); });
        }
        at(0, [&] {
            if (m_module.record.guid() != guid)
                throw Fault{m_module.record.guid().empty()
                                ? String("it names no module")
                                : "it is of the module \"" + m_module.record.guid() + "\""};
        });
        build();
    }

private:
    template <typename Work>
    void at(int line, Work work)
    {
        try {
            work();
        } catch (Fault const& fault) {
            fail(line, fault.reason);
        } catch (zel::InvalidArgumentException const& error) {
            fail(line, error.getMessage());
        }
    }
    [[noreturn]] void fail(int line, String const& reason) const
    {
        throw zel::InvalidArgumentException(
            zel::KeyTextFile::Issue{line, reason, false, m_file.path()}.toString());
    }

    void take(std::vector<String> const& words, String const& value, int line)
    {
        if (words.size() == 2 && words[0] == "Module")
            takeModule(words[1], value);
        else if (words.size() == 3 && words[0] == "Parameter")
            takeParameter(draftAt(m_globals, words[1], kMostParameters, line), words[2], value);
        else if (words.size() >= 3 && (words[0] == "Test" || words[0] == "Indicator"))
            takeFunction(draftAt(words[0] == "Test" ? m_tests : m_indicators, words[1], kMostTests, line),
                         words, value, line);
    }

    void takeModule(String const& word, String const& value)
    {
        zel::ModuleImp& record = m_module.record;
        if (word == "Guid") {
            record.setGuid(value);
        } else if (word == "Type") {
            record.setType(zel::ModuleTypeImp::getConstantByString(value));
            if (record.type().toString() != value)
                throw Fault{"no kind of module is called \"" + value + "\""};
        } else if (word == "Version") {
            m_module.version = value.toUtf8();
            record.setVersion(versionOf(value));
        } else if (word == "BuildDate") {
            record.setBuildDate(value);
        } else if (word == "Capabilities") {
            record.setSupportedCapabilities(zel::CapabilityImp(value));
        } else if (word == "EnumTests") {
            record.setChoosesOwnTests(flag(value));
        } else if (word == "LocalizedLibraries") {
            for (String const& library : value.split(','))
                if (!library.trimmed().empty())
                    record.registerLocalizedLibrary(library.trimmed());
        }
    }

    static void takeParameter(ParameterDraft& draft, String const& word, String const& value)
    {
        if (word == "ParameterKey") {
            draft.key = value;
        } else if (word == "DataType") {
            draft.type = zel::DataTypeImp::getConstantByString(value);
            if (draft.type->toString() != value)
                throw Fault{"no type is called \"" + value + "\""};
        } else if (word == "ValidDataRange") {
            draft.range = value;
        } else if (word == "Required") {
            draft.required = flag(value);
        }
    }

    static void takeFunction(FunctionDraft& draft, std::vector<String> const& words, String const& value,
                             int line)
    {
        if (words.size() == 5 && words[2] == "Parameter")
            takeParameter(draftAt(draft.parameters, words[3], kMostParameters, line), words[4], value);
        else if (words.size() == 3)
            takeFact(draft, words[2], value);
    }

    static void takeFact(FunctionDraft& draft, String const& word, String const& value)
    {
        for (Fact const& fact : kFacts)
            if (word == fact.word)
                fact.take(draft, value);
    }

    void build()
    {
        std::map<String, int> known;
        for (FunctionDraft const& draft : m_tests)
            at(draft.line, [&] {
                if (!known.emplace(draft.key, draft.line).second)
                    throw Fault{"a second test \"" + draft.key + "\""};
                m_module.tests.emplace_back(testOf(draft));
            });
        for (FunctionDraft const& draft : m_indicators)
            at(draft.line, [&] { check(draft); });
        m_module.indicatorCount = m_indicators.size();
    }

    static void check(FunctionDraft const& draft)
    {
        if (draft.key.empty())
            throw Fault{"it has no key"};
        if (!draft.capabilities)
            throw Fault{"it does not say which devices it is for"};
    }

    zel::TestImp testOf(FunctionDraft const& draft)
    {
        check(draft);
        m_parameterCount += draft.parameters.size() + m_globals.size();
        if (m_parameterCount > kMostOfAllTests)
            throw Fault{"its tests have more than " + String::number(std::uint64_t{kMostOfAllTests}) +
                        " parameters altogether"};
        zel::TestImp test(draft.key, *draft.capabilities);
        test.setIndex(static_cast<unsigned>(m_module.tests.size()));
        test.setModuleGuid(m_module.record.guid());
        test.addOptionalDeviceCapabilities(draft.optionalCapabilities);
        test.flags() = draft.flags;
        for (zel::CapabilityImp const& capability : draft.existence)
            test.addExistenceRequirement(capability);
        for (zel::CapabilityImp const& capability : draft.absence)
            test.addAbsenceRequirement(capability);
        for (zel::DeviceRequirement const& requirement : draft.properties)
            test.addPropertyRequirement(requirement);
        for (ParameterDraft const& parameter : draft.parameters)
            at(parameter.line, [&] { add(test, parameter, false); });
        for (ParameterDraft const& parameter : m_globals)
            at(parameter.line, [&] { add(test, parameter, true); });
        return test;
    }

    static void add(zel::TestImp& test, ParameterDraft const& draft, bool isGlobal)
    {
        if (draft.key.empty() || !draft.type)
            throw Fault{"a parameter needs a key and a type"};
        zel::ParameterImp const parameter(draft.key, String(), *draft.type, draft.range, draft.required,
                                          isGlobal);
        if (!parameter.declarationError().empty())
            throw Fault{"parameter " + draft.key + ": " + parameter.declarationError()};
        if (!test.addParameter(parameter) && !isGlobal) // a test's own one stands before a global one
            throw Fault{"a second parameter \"" + draft.key + "\""};
    }

    zel::KeyTextFile const& m_file;
    Module& m_module;
    std::deque<ParameterDraft> m_globals;
    std::deque<FunctionDraft> m_tests, m_indicators;
    std::size_t m_parameterCount = 0; // of the tests built so far
};

} // namespace

void readMetadata(std::string_view content, std::string const& path, std::string const& guid, Module& module)
{
    zel::KeyTextFile const file = zel::KeyTextFile::parse(content, path);
    Reader(file, module).read(String(guid));
}

} // namespace engine
