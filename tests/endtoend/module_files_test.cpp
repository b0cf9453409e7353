// What -m and -k write, read back by a reader that shares no code with the writer.
#include <endtoend/ModuleProcess.h>
#include <foundation/ChildProcess.h>
#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using test::Outcome;
using test::Start;

struct Entry
{
    std::string key, text;
    bool operator==(Entry const&) const = default;
};

/// One line of a text file, by the book: docs/text-files.md.
class Reader
{
public:
    explicit Reader(std::string line) : m_line(std::move(line)) {}

    Entry keyAndText()
    {
        Entry entry;
        entry.key = until('=');
        EXPECT_LT(m_at, m_line.size()) << "no '=' in " << m_line;
        ++m_at;
        entry.text = until('\0');
        return entry;
    }
    std::string wholeLine() { return until('\0'); }

private:
    std::string until(char end)
    {
        std::string text;
        for (; m_at < m_line.size() && m_line[m_at] != end; ++m_at)
            text += m_line[m_at] == '\\' ? escape() : std::string(1, m_line[m_at]);
        return text;
    }
    std::string escape()
    {
        char const what = m_line.at(++m_at);
        if (what == 'u') {
            std::string const digits = m_line.substr(m_at + 1, 4);
            m_at += 4;
            int const number = std::stoi(digits, nullptr, 16);
            EXPECT_LT(number, 0x80) << "only blanks and zeros are written so";
            return std::string(1, static_cast<char>(number));
        }
        return what == 'n' ? "\n" : what == 'r' ? "\r" : std::string(1, what);
    }

    std::string m_line;
    std::size_t m_at = 0;
};

std::vector<std::string> linesOf(std::string const& content)
{
    std::vector<std::string> lines;
    std::size_t from = 0;
    for (std::size_t end; (end = content.find('\n', from)) != content.npos; from = end + 1)
        lines.push_back(content.substr(from, end - from));
    EXPECT_EQ(from, content.size()) << "the last line has an end, too";
    return lines;
}

std::vector<Entry> entriesOf(std::string const& content)
{
    std::vector<Entry> entries;
    for (std::string const& line : linesOf(content))
        if (!line.empty() && line[0] != '#')
            entries.push_back(Reader(line).keyAndText());
    return entries;
}

std::vector<std::string> keysOf(std::string const& content)
{
    std::vector<std::string> keys;
    for (std::string const& line : linesOf(content))
        if (!line.empty() && line[0] != '#')
            keys.push_back(Reader(line).wholeLine());
    return keys;
}

std::vector<std::string> keysOf(std::vector<Entry> const& entries)
{
    std::vector<std::string> keys;
    for (Entry const& one : entries)
        keys.push_back(one.key);
    return keys;
}

bool has(std::string const& text, std::string const& what) { return text.find(what) != text.npos; }

constexpr char const* kSettings = "Parameter.user.value=me\n"
                                  "Test.full.level.value=7\n"
                                  "Test.show.Enable.value=true\n"
                                  "Test.full.Enable=true\n";

/// A folder with the program in it, which is where it runs and looks for texts and settings.
class ModuleFiles : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::filesystem::copy_file(DESCRIBING_MODULE, m_folder.path("describing"));
        m_folder.write("describing.w4i", kSettings);
    }
    Outcome module(std::vector<std::string> arguments, std::string const& name = "describing")
    {
        Start start;
        start.name = name;
        start.arguments = std::move(arguments);
        start.folder = m_folder.path();
        return test::run(m_folder.path("describing"), start);
    }
    /// Names in the folder that contain `part`.
    std::vector<std::string> names(std::string const& part)
    {
        std::vector<std::string> found;
        for (auto const& entry : std::filesystem::directory_iterator(m_folder.path()))
            if (has(entry.path().filename().string(), part))
                found.push_back(entry.path().filename().string());
        return found;
    }

    test::TemporaryFolder m_folder;
};

constexpr char const* kMetadata = R"(#<header>
# <addr>
#  The authors of this module
#  All rights reserved.
# </addr>
# <desc>
#  The describing metadata file
# </desc>
#</header>
Module.Type=DIAG
Module.Guid=describing
Module.Version=2.5.7
Module.BuildDate=YYYY-MM-DD
Module.Capabilities=CPU, Memory, HardDrive
Module.EnumTests=false
Module.LocalizedLibraries=common, extra
Module.EnumerationRequirements=
Module.EnumerationCompletionRequirements=
DeviceProperty.1.Key=Serial
DeviceProperty.1.Category=SysInfo, Key
DeviceProperty.1.Type=STRING
DeviceProperty.1.Capability=HardDrive
DeviceProperty.2.Key=Hidden
DeviceProperty.2.Category=SysInfo, Internal
DeviceProperty.2.Type=UINT32ARRAY
DeviceProperty.2.Capability=HardDrive
DeviceProperty.3.Key=Linked
DeviceProperty.3.Category=Group, LinkInFromDevice
DeviceProperty.3.Type=STRING
DeviceProperty.3.Capability=CPU, HardDrive
DeviceProperty.4.Key=Speed
DeviceProperty.4.Category=Volatile
DeviceProperty.4.Type=DOUBLE
DeviceProperty.4.Capability=CPU
Parameter.1.ParameterKey=timeout
Parameter.1.DataType=UINT32
Parameter.1.ValidDataRange=1..600
Parameter.1.Required=false
Parameter.2.ParameterKey=user
Parameter.2.DataType=STRING
Test.1.TestKey=show
Test.1.Capabilities=Memory
Test.1.OptionalDeviceCapabilities=NIL
Test.1.supportsParallelTesting=false
Test.2.TestKey=full
Test.2.Capabilities=CPU, HardDrive
Test.2.OptionalDeviceCapabilities=Fan, CDROM
Test.2.isInteractive=true
Test.2.createsOwnGUI=true
Test.2.isDestructive=true
Test.2.supportsParallelTesting=true
Test.2.minShutdownSeconds=0
Test.2.deviceExistenceRequirements=Memory, CPU
Test.2.deviceAbsenceRequirements=TapeDrive
Test.2.devicePropertyRequirements=Size:<MorvaneIncValidDataRange>1..</MorvaneIncValidDataRange>, !Vendor:<MorvaneIncValidDataRange>acme\, inc, none</MorvaneIncValidDataRange>
Test.2.enumeratesOnlyOnce=true
Test.2.Parameter.1.ParameterKey=level
Test.2.Parameter.1.DataType=INT32
Test.2.Parameter.1.ValidDataRange=-3..3, 7
Test.2.Parameter.2.ParameterKey=odd=#ü
Test.2.Parameter.2.DataType=STRING
Test.2.Parameter.2.Required=false
Test.3.TestKey=#a=b🔧
Test.3.Capabilities=Memory
Test.3.OptionalDeviceCapabilities=NIL
Test.3.supportsParallelTesting=false
)";

TEST_F(ModuleFiles, MetadataLineForLine)
{
    Outcome const outcome = module({"-m"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "Created describing.w4m\n");
    EXPECT_EQ(outcome.err,
              "ERROR: Test \"full\" enabled using the old method. Change the line to: "
              "Test.full.Enable.value=true\n"
              "WARNING: the value of Test.2.Parameter.1.ValidDataRange holds a line end; a blank stands "
              "in its place.\n"
              "WARNING: Test \"#a=b\xF0\x9F\x94\xA7\" not enabled in the .w4i file.\n");
    std::string const written = m_folder.read("describing.w4m");
    std::regex const date("BuildDate=20[0-9]{2}-[01][0-9]-[0-3][0-9]\n");
    EXPECT_TRUE(std::regex_search(written, date));
    EXPECT_EQ(std::regex_replace(written, date, "BuildDate=YYYY-MM-DD\n"), kMetadata);
    EXPECT_TRUE(has(written, "Key=#a=b")) << "only keys in front of a '=' need escapes";

    EXPECT_EQ(module({"-k"}, "Callback.w4x").status, 22)
        << "the required parameters are set for another guid";
    m_folder.write("callback.w4i", kSettings);
    EXPECT_EQ(module({"-version", "-m", "-k"}, "callback").out.find("Version: 2.5.7\nBuild: "), 0u);
    EXPECT_TRUE(has(m_folder.read("callback.w4m"), "\nModule.EnumTests=true\n"));
    EXPECT_EQ(names("callback.w4").size(), 4u) << "-m and -k together do both";
}

std::vector<std::string> const kKeys{
    "Module.Name",
    "Module.Description",
    "Module.Company",
    "Test.show.Name",
    "Test.show.Description",
    "Test.full.Name",
    "Test.full.Description",
    "Test.#a=b\xF0\x9F\x94\xA7.Name",
    "Test.#a=b\xF0\x9F\x94\xA7.Description",
    "Parameter.level.Name",
    "Parameter.level.Description",
    "Parameter.odd=#\xC3\xBC.Name",
    "Parameter.odd=#\xC3\xBC.Description",
    "Parameter.attachedToNoTest.Name",
    "Parameter.attachedToNoTest.Description",
    "Parameter.timeout.Name",
    "Parameter.timeout.Description",
    "Parameter.user.Name",
    "Parameter.user.Description",
    "Event.broken.Message",
    "Event.#odd=.Message",
    "Text.greeting",
    "#edges=",
    "Text.none",
    "Property.Serial.Name",
    "Property.Serial.Description",
    "Property.Speed.Name",
    "Property.Speed.Description",
};

TEST_F(ModuleFiles, KeysAndSkeleton)
{
    Outcome const outcome = module({"-k"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "Created describing.w4k\nCreated describing.w4p\n");
    std::string const keys = m_folder.read("describing.w4k");
    EXPECT_EQ(keys.rfind("# localized keys for the module describing\n"
                         "#!depends describing.w4p common.w4p extra.w4p \nModule.Name\n",
                         0),
              0u)
        << keys;
    EXPECT_EQ(keysOf(keys), kKeys);

    auto const skeleton = entriesOf(m_folder.read("describing.w4p"));
    EXPECT_EQ(keysOf(skeleton), kKeys);
    std::map<std::string, std::string> const defaults{
        {"Text.greeting", "Hello {name}\nsecond = line # \\n \xF0\x9F\x94\xA7\r\n"},
        {"#edges=", " blank at both ends "}};
    for (Entry const& one : skeleton)
        EXPECT_EQ(one.text, defaults.contains(one.key) ? defaults.at(one.key) : "") << one.key;

    // The notes: what has a default text has a text.
    EXPECT_TRUE(has(outcome.err, "Note: \"Text.none\" has no text.\n"));
    EXPECT_FALSE(has(outcome.err, "\"Text.greeting\""));
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), std::ptrdiff_t(kKeys.size()) - 4)
        << "two have a default, and two are descriptions of properties, which need none";
    EXPECT_EQ(module({"-k"}).err, outcome.err) << "a skeleton yet to be filled changes nothing";
}

TEST_F(ModuleFiles, NotesNameWhatIsMissingAndWhatNobodyUses)
{
    std::string texts;
    for (std::string const& key : kKeys)
        if (key != "Event.broken.Message" && key.find_first_of("=#") == key.npos)
            texts += key + "=text\n";
    texts += "Event.broken.Tip.1=a tip\nEvent.broken.CustomerEventCode=E1\nAlert.any.Title=an alert\n"
             "Event.gone.Tip.1=x\nTest.gone.Name=x\n\\#gone\\=x=x\nnot a line\n"
             "Test.\\#a\\=b\xF0\x9F\x94\xA7.Name=text\n";
    m_folder.write("describing.w4p", texts);
    Outcome const outcome = module({"-k"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(m_folder.read("describing.w4p"), texts) << "texts that exist are never touched";
    EXPECT_EQ(outcome.out, "Created describing.w4k\n");
    std::vector<std::string> const lines = linesOf(outcome.err);
    for (std::string const& note :
         {std::string("Note: \"Event.broken.Message\" has no text."),
          std::string("Note: \"Test.#a=b\xF0\x9F\x94\xA7.Description\" has no text."),
          std::string("Note: \"Parameter.odd=#\xC3\xBC.Name\" has no text.")})
        EXPECT_EQ(std::count(lines.begin(), lines.end(), note), 1) << note << " in\n" << outcome.err;
    for (std::string const key : {"Event.gone.Tip.1", "Test.gone.Name", "#gone=x"})
        EXPECT_TRUE(has(outcome.err, "Note: the text \"" + key + "\" in " + m_folder.path("describing.w4p") +
                                         " belongs to no object of this module.\n"))
            << key << " in\n"
            << outcome.err;
    EXPECT_TRUE(has(outcome.err, "describing.w4p:")) << "a line that cannot be read is named";
    EXPECT_FALSE(has(outcome.err, "Event.broken.Tip"));
    EXPECT_FALSE(has(outcome.err, "Alert.any"));
    EXPECT_FALSE(has(outcome.err, "Test.#a=b\xF0\x9F\x94\xA7.Name"));
}

// In a language other than that of the plain files a text is missed that those or the program have.
TEST_F(ModuleFiles, NotesNameWhatIsNotTranslated)
{
    m_folder.write("describing.w4p",
                   "Event.broken.Message=broken\nEvent.broken.Tip.1=tip\nEvent.broken.Tip.2=tip\n"
                   "Event.broken.CustomerEventCode=E1\nModule.Name=n\nAlert.any.Title=alert\n"
                   "Property.Serial.Description=described\n");
    m_folder.write("describing.de.w4p", "Module.Name=n\nEvent.broken.Tip.1=Rat\n");
    m_folder.write("common.de.w4p", "Test.show.Name=Zeigen\n");
    m_folder.write("common.w4p", "Test.full.Name=Full\n");
    std::vector<std::string> const lines = linesOf(module({"-k", "-lang", "de"}).err);
    auto const missed = [&](std::string const& key) {
        return std::count(lines.begin(), lines.end(),
                          "Note: \"" + key + "\" has no text in the language de.");
    };
    for (char const* const key :
         {"Event.broken.Message", "Text.greeting", "Event.broken.Tip.2", "Test.full.Name", "Alert.any.Title",
          "Module.Company", "Property.Serial.Description", "Property.Serial.Name"})
        EXPECT_EQ(missed(key), 1) << key;
    for (char const* const key :
         {"Module.Name", "Test.show.Name", "Event.broken.Tip.1", "Event.broken.CustomerEventCode"})
        EXPECT_EQ(missed(key), 0) << key;
}

// Tips and codes come from wherever messages come from; see the table of files in docs/text-files.md. Where
// no text has a line end of its own, a warning begins a line all the same.
TEST_F(ModuleFiles, EventsHaveTipsAndCodesOfLibraries)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "tests run as root only";
    m_folder.write("common.w4p",
                   "Event.broken.Message=message\nEvent.broken.Tip.1=first\nEvent.broken.Tip.2=second\n");
    m_folder.write("extra.de.w4p", "Event.broken.CustomerEventCode=E-17\n");
    Outcome const english = module({"run", "-t", "1", "-d", "1"});
    EXPECT_TRUE(has(english.out, "messageTip(0): firstTip(1): second\nWarning (")) << english.out;
    EXPECT_TRUE(has(english.out, "\nTip(0): firstTip(1): second")) << english.out;
    Outcome const german = module({"run", "-t", "1", "-d", "1", "-lang", "de"});
    EXPECT_TRUE(has(german.out, "second\nWarning (E-17) : message\n")) << german.out;
}

// Whatever stands in the way, the old file stays and nothing half-made is left beside it.
TEST_F(ModuleFiles, AreWrittenWholeOrNotAtAll)
{
    std::filesystem::create_directory(m_folder.path("describing.w4k"));
    m_folder.write("describing.w4m", "old\n");
    Outcome outcome = module({"-k"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "Error opening describing.w4k for writing.\n");
    EXPECT_TRUE(has(outcome.err, "describing.w4k"));
    EXPECT_FALSE(std::filesystem::exists(m_folder.path("describing.w4p")));

    // Files may not grow beyond 512 or 1024 bytes (shells differ), which is a disk that fills up meanwhile.
    Start start;
    start.name = "sh";
    start.arguments = {"-c", "trap '' XFSZ; ulimit -f 1; exec ./describing -m"};
    start.folder = m_folder.path();
    outcome = test::run("/bin/sh", start);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "Error opening describing.w4m for writing.\n");
    EXPECT_TRUE(has(outcome.err, "File too large")) << outcome.err;
    EXPECT_EQ(m_folder.read("describing.w4m"), "old\n");
    EXPECT_EQ(names(".tmp"), std::vector<std::string>{});

    EXPECT_EQ(module({"-m"}).out, "Created describing.w4m\n");
    EXPECT_EQ(m_folder.read("describing.w4m").rfind("#<header>\n", 0), 0u);
}

TEST_F(ModuleFiles, TextsAreThoseOfLanguageVariantAndCustomer)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "tests run as root only";
    m_folder.write("describing.w4p", "Test.show.Name=Show\\n\nEvent.broken.Message={part} broken\\n\n");
    m_folder.write("describing.de.w4p", "Test.show.Name=Zeigen\\n\nText.greeting=Hallo {name}\\n\n");
    m_folder.write("describing.de-server.w4p", "Test.show.Name=Zeigen (Server)\\n\n");
    m_folder.write("describing.de-server-acme.w4p", "Event.broken.Message={part} defekt\\nACME rufen\\n\n");
    std::string const rest = "\nsecond = line # \\n \xF0\x9F\x94\xA7\r\n";
    struct Case
    {
        std::vector<std::string> options;
        std::string shown;
    };
    for (Case const& one : std::vector<Case>{
             {{}, "Hello 2.4 GHz" + rest + "Show\nfan broken\n"},
             {{"-lang", "fr"}, "Hello 2,4 GHz" + rest + "Show\nfan broken\n"},
             {{"-lang", "de"}, "Hallo 2,4 GHz\nZeigen\nfan broken\n"},
             {{"-lang", "de", "-var", "server"}, "Hallo 2,4 GHz\nZeigen (Server)\nfan broken\n"},
             {{"-lang", "de", "-var", "server", "-cust", "acme"},
              "Hallo 2,4 GHz\nZeigen (Server)\nfan defekt\nACME rufen\n"},
             {{"-lang", "de", "-cust", "../describing"}, "Hallo 2,4 GHz\nZeigen\nfan broken\n"},
         }) {
        std::vector<std::string> arguments{"run", "-t", "1", "-d", "1"};
        arguments.insert(arguments.end(), one.options.begin(), one.options.end());
        Outcome const outcome = module(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_TRUE(has(outcome.out, one.shown)) << one.shown << "in\n" << outcome.out;
    }
    Outcome const unknown = module({"-k", "-lang", "DE"});
    EXPECT_EQ(unknown.status, 22);
    EXPECT_TRUE(has(unknown.err,
                    "Unknown language \"DE\" behind -lang. Known are: en, ar, cs, da, de, el, es, "
                    "fr, he, hu, it, ja, ko, nl, pl, pt, ru, sl, sv, tr, zh-cn, zh-tw, zh, nb, fi"))
        << unknown.err;
    EXPECT_EQ(names("w4k"), std::vector<std::string>{}) << "nothing runs with a language that is none";
}

/// A shipped module with its texts, run in a folder that has none of its files.
class ShippedModule : public ::testing::TestWithParam<std::string>
{
protected:
    std::string shipped(std::string const& ending)
    {
        std::ifstream file(SHIPPED_MODULES "/" + GetParam() + ending, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    Outcome describe(std::vector<std::string> arguments)
    {
        Start start;
        start.name = GetParam();
        start.arguments = std::move(arguments);
        start.folder = m_folder.path();
        return test::run(SHIPPED_MODULES "/" + GetParam(), start);
    }
    test::TemporaryFolder m_folder;
};

struct ModuleWithDevices : ShippedModule
{
    static std::size_t devices(std::string const& listing)
    {
        return test::occurrences(listing, "\n  Type: ");
    }
};

// A short list of devices is a test that tests less: with too few descriptors to find all, nothing is tested.
TEST_P(ModuleWithDevices, DoesNotTakeSomeDevicesForAll)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers' run-time needs descriptors of its own";
#endif
    if (::geteuid() != 0)
        GTEST_SKIP() << "tests run as root only";
    auto const limited = [this](char const* what, std::string const& limit) {
        Start start;
        start.name = "sh";
        std::string const program = SHIPPED_MODULES "/" + GetParam();
        start.arguments = {"-c", "ulimit -n " + limit + "; exec '" + program + "' " + what};
        start.folder = m_folder.path();
        return test::run("/bin/sh", start);
    };
    bool const hasTests = GetParam() != "inventory"; // which lists readings, and those change
    std::string const whole = limited("enum", "256").out;
    int told = 0;
    for (std::string const limit : {"4", "5", "6", "7", "8", "10", "16"}) {
        Outcome const listed = limited("enum", limit);
        EXPECT_TRUE(listed.status != 0 ||
                    (hasTests ? listed.out == whole : devices(listed.out) == devices(whole)))
            << limit << " descriptors:\n"
            << listed.out;
        if (listed.status != 28) // ended before, or found all
            continue;
        ++told;
        EXPECT_NE(listed.err.find("Devices may be missing: "), std::string::npos) << listed.err;
        if (!hasTests)
            continue;
        Outcome const run = limited("run", limit);
        EXPECT_TRUE(run.status == 28 ||
                    (run.status == 22 && run.err.find("No test runs: ") != std::string::npos))
            << limit << ": " << run.status; // devices, or settings that could not be read
        EXPECT_EQ(run.out.find("Final Result: PASS"), std::string::npos) << limit;
    }
    EXPECT_GT(told, 0) << "no limit made it short of descriptors";
}

TEST_P(ShippedModule, DescribesItself)
{
    std::string const& name = GetParam();
    Outcome const outcome = describe({"-m", "-k"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "Created " + name + ".w4m\nCreated " + name + ".w4k\nCreated " + name + ".w4p\n");
    std::string const disabled = // it destroys data
        name == "storage" ? "WARNING: Test \"overwrite\" not enabled in the .w4i file.\n" : "";
    EXPECT_EQ(outcome.err, disabled)
        << "every test is enabled, every object has a text, every text an object";
    EXPECT_EQ(describe({"-k", "-lang", "de"}).err, "") << "in German, too";

    std::map<std::string, std::string> metadata;
    for (Entry const& one : entriesOf(m_folder.read(name + ".w4m")))
        EXPECT_TRUE(metadata.emplace(one.key, one.text).second) << one.key << " is there twice";
    EXPECT_EQ(metadata["Module.Guid"], name);
    EXPECT_EQ(metadata["Module.Type"], "DIAG");
    auto const keys = keysOf(m_folder.read(name + ".w4k"));
    int tests = 0;
    for (; metadata.contains("Test." + std::to_string(tests + 1) + ".TestKey"); ++tests) {
        std::string const prefix = "Test." + std::to_string(tests + 1) + ".";
        std::string const key = "Test." + metadata[prefix + "TestKey"] + ".Name";
        EXPECT_EQ(std::count(keys.begin(), keys.end(), key), 1) << key;
        EXPECT_TRUE(metadata.contains(prefix + "Capabilities"));
        EXPECT_EQ(metadata.count(prefix + "isDestructive"), key == "Test.overwrite.Name") << key;
    }
    EXPECT_GE(tests, name == "pcie" ? 1 : 3);
    EXPECT_FALSE(metadata.contains("Test.0.TestKey"));

    // The skeleton has the defaults, which are the English texts; each language has them all.
    auto const skeleton = entriesOf(m_folder.read(name + ".w4p"));
    EXPECT_EQ(keysOf(skeleton), keys);
    for (std::string const language : {"", ".de"}) {
        std::map<std::string, std::string> texts;
        for (Entry const& one : entriesOf(shipped(language + ".w4p")))
            texts[one.key] = one.text;
        for (Entry const& one : skeleton) {
            EXPECT_NE(texts[one.key], "") << one.key << language;
            if (language.empty() && !one.text.empty()) {
                EXPECT_EQ(texts[one.key], one.text) << "the text file and the program disagree";
            }
        }
    }
}
INSTANTIATE_TEST_SUITE_P(Each, ShippedModule,
                         ::testing::Values("memory", "cpu", "storage", "network", "pcie", "board"),
                         [](auto const& row) { return row.param; });
INSTANTIATE_TEST_SUITE_P(Each, ModuleWithDevices, ::testing::Values("memory", "cpu", "storage", "inventory"),
                         [](auto const& row) { return row.param; });

TEST(ShippedModules, MemorySpeaksGerman)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "tests run as root only";
    test::TemporaryFolder folder;
    for (char const* name : {"memory", "memory.w4p", "memory.de.w4p"})
        std::filesystem::copy_file(std::string(SHIPPED_MODULES "/") + name, folder.path(name));
    auto const start = [&folder](std::vector<std::string> arguments) {
        Start one;
        one.name = "memory";
        one.arguments = std::move(arguments);
        one.folder = folder.path();
        return test::run(folder.path("memory"), one);
    };
    std::smatch number; // of the test, among those of its device
    std::string const list = start({"enum"}).out;
    ASSERT_TRUE(std::regex_search(list, number, std::regex("random \\((\\d+)\\)"))) << list;
    auto const run = [&](std::string const& settings) {
        folder.write("memory.w4i", settings);
        return start({"run", "-t", number[1], "-d", "1", "-lang", "de"});
    };
    Outcome const passed =
        run("Test.random.SizeMiB.value=1\nTest.random.Threads.value=1\nTest.random.Seed.value=7\n");
    EXPECT_EQ(passed.status, 0) << passed.err;
    for (char const* text : {"Es läuft: Speichertest mit Zufallsdaten\n", "Startwert der Daten: 7.\n",
                             "Geprüft werden 1 von ", " MiB Speicher, Anzahl der Threads: 1.\n"})
        EXPECT_TRUE(has(passed.out, text)) << text << "in\n" << passed.out;

    Outcome const refused = run("Test.random.CacheFlush.value=ja\n");
    EXPECT_EQ(refused.status, 29) << refused.err;
    EXPECT_TRUE(has(refused.out, "Der Parameter CacheFlush kann nicht den Wert ja haben: möglich sind none, "
                                 "pass und operation."))
        << refused.out;
}

} // namespace
