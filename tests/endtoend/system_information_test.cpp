// A system-information module as a technician runs it: what it lists, what it refuses, what steers it from outside.
#include <endtoend/ModuleFolder.h>

namespace {

using test::has;
using test::holds;
using test::Outcome;

constexpr int kInternalError = 22, kFail = 23;

struct SystemInformation : test::ModuleFolder
{
    SystemInformation() : ModuleFolder(INVENTORYING_MODULE) {}

    Outcome inventory(std::vector<std::string> more = {})
    {
        std::vector<std::string> words{"enum", "-ll", "information"};
        words.insert(words.end(), more.begin(), more.end());
        return module("inventorying", words);
    }
};

std::size_t count(std::string const& text, std::string const& what)
{
    std::size_t found = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++found;
    return found;
}

TEST_F(SystemInformation, ListsWhatItFound)
{
    Outcome const outcome = inventory();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(count(outcome.out, "Device: "), 3u) << outcome.out;
    EXPECT_TRUE(holds(outcome.out, "Device: Drive 1\n"));
    EXPECT_TRUE(holds(outcome.out, "  Location: SATA:0:0:1:0\n"));
    EXPECT_TRUE(holds(outcome.out, "    Identity: \n      SerialNumber: S-1\n    Speed: 7201\n"));
    EXPECT_TRUE(holds(outcome.out, "\n\nAlert\n  Key:     Hot\n"));
    EXPECT_TRUE(holds(outcome.out, "exit callback\n"));
    EXPECT_FALSE(has(outcome.out, "took long"));
    std::string const written = log();
    std::size_t at = 0;
    for (char const* step : {"comm interface open & receive took ", "s_enumerationCallback took ",
                             "processPropertyOverrides took ", "sendEnumDevices took ",
                             "closeConnection took ", "total time = "}) {
        ASSERT_NE(at = written.find(step, at), std::string::npos) << step << " in order in\n" << written;
        EXPECT_EQ(written.substr(written.find('\n', at) - 9, 9), " seconds.");
    }
    EXPECT_TRUE(holds(written,
                      "sysinfo or indicator module: calling Enumerator::instance().getDevicesFromModule.\n"));
    EXPECT_TRUE(holds(inventory({"-v"}).out, "    Detail: took long\n"));
}

TEST_F(SystemInformation, NeedsTheWordAndSaysHowItIsUsed)
{
    for (std::vector<std::string> const& words :
         {std::vector<std::string>{}, {"-v"}, {"-h"}, {"enum", "-h"}}) {
        Outcome const outcome = module("inventorying", words);
        EXPECT_EQ(outcome.status, kFail);
        EXPECT_TRUE(holds(outcome.out, "Usage: inventorying.w4x  ["));
        EXPECT_TRUE(holds(outcome.out, " -v : Verbose. Verbose output.\n"));
        EXPECT_FALSE(has(outcome.out, "Device: "));
    }
    EXPECT_TRUE(holds(module("inventorying", {"-v"}).err, "Nothing was done: \"enum\" lists"));
    EXPECT_EQ(module("none", {"enum"}).err, "No devices reported\n") << "silence is no answer";
    EXPECT_EQ(module("inventorying", {"run"}).status, kInternalError) << "there are no tests";
    EXPECT_TRUE(holds(module("inventorying", {"-version"}).out, "Version: 1.0.1\n"));
}

TEST_F(SystemInformation, DescribesItselfInFiles)
{
    EXPECT_EQ(module("needs", {"-m", "-k"}).status, kInternalError) << "it has no discovery callback";
    EXPECT_EQ(module("inventorying", {"-m", "-k"}).status, 0);
    std::string const metadata = m_folder.read("inventorying.w4m");
    for (char const* line :
         {"Module.Type=SYSINFO\n", "Module.Capabilities=HardDrive, Monitor\n", "Module.EnumTests=false\n",
          "DeviceProperty.1.Key=Identity\n", "DeviceProperty.2.Key=SerialNumber\n",
          "DeviceProperty.3.Type=UINT32\n", "Parameter.1.ParameterKey=depth\n"})
        EXPECT_TRUE(holds(metadata, line));
    std::string const keys = m_folder.read("inventorying.w4k");
    EXPECT_TRUE(holds(keys, "\nProperty.SerialNumber.Name\nProperty.SerialNumber.Description\n"));
    EXPECT_TRUE(holds(keys, "\nText.hello\n"));
    EXPECT_FALSE(has(keys, "Property.Link."));
}

TEST_F(SystemInformation, RefusesToStartHalfSetUp)
{
    struct Case
    {
        char const *name, *message;
    };
    for (Case const& one : std::initializer_list<Case>{
             {"nocallback", "Cannot start a module without setting the device discovery callback"},
             {"nocapabilities",
              "Cannot start a module without setting the device capabilities of the module"}})
        for (char const* const word : {"enum", "-version"}) {
            Outcome const outcome = module(one.name, {word});
            EXPECT_EQ(outcome.status, kInternalError);
            EXPECT_TRUE(holds(outcome.err, "Exception in SysInfoModule::start()"));
            EXPECT_TRUE(holds(outcome.err, one.message));
            EXPECT_EQ(outcome.out, "exit callback\n") << "the end is the same for all";
        }
}

TEST_F(SystemInformation, TakesNoSetUpAfterTheStart)
{
    std::string const out = module("late", {"enum"}).out;
    for (char const* name : {"setVersion", "setCmdLineArgs", "setDiscoverDevicesCallback",
                             "setModuleInitCallback", "setModuleExitCallback", "setModuleCapabilities",
                             "addModuleEnumerationRequirement", "registerLibrary"})
        EXPECT_TRUE(holds(out, std::string(name) + ": Cannot call SysInfoModule::" + name +
                                   " after calling start\n"));
    EXPECT_TRUE(holds(out, "Cannot call createDevicePropertyGroup after calling start (object key = late)"));
    EXPECT_TRUE(holds(log(), "caught exception: Cannot call SysInfoModule::setVersion after calling start"));
}

TEST_F(SystemInformation, EndsWithTheErrorOfItsCallback)
{
    struct Case
    {
        char const *name, *message;
    };
    for (Case const& one : std::initializer_list<Case>{
             {"library", "Exception in SysInfoModule::start():\nno such bus"},
             {"standard", "std::exception: no such bus\nUnknown \"...\" Exception in SysInfoModule::start()"},
             {"number", "Unknown \"...\" Exception in SysInfoModule::start()"},
             {"again", "Internal Exception in SysInfoModule::start():\n"},
             {"crash", "SIGSEGV"},
             {"nothing", "SysInfoModule::addDevice(...)"}}) {
        Outcome const outcome = module(one.name, {"enum"});
        EXPECT_EQ(outcome.status, kInternalError) << one.name;
        EXPECT_TRUE(holds(outcome.err, one.message)) << one.name;
        EXPECT_EQ(has(outcome.out, "exit callback\n"), std::string(one.name) != "crash") << one.name;
        EXPECT_FALSE(has(outcome.out, "Device: "));
    }
}

TEST_F(SystemInformation, KnowsEachDeviceOnce)
{
    Outcome const twice = module("twice", {"enum"});
    EXPECT_EQ(twice.status, 0) << twice.err;
    EXPECT_EQ(count(twice.out, "Device: Drive 1\n"), 1u) << twice.out;
    EXPECT_TRUE(holds(twice.out, "SerialNumber: S-1\n"));
    EXPECT_TRUE(holds(log(), "already"));
    EXPECT_TRUE(
        holds(module("walks", {"enum"}).out, "knows Drive 1\nknows Drive 2\nknows Screen\nsame handle: 1\n"));
    std::string const threads = module("threads", {"enum"}).out;
    for (int i = 0; i < 400; ++i) {
        std::string const n = std::to_string(i);
        EXPECT_TRUE(has(threads, "Device: Drive " + n + "\n") &&
                    has(threads, "SerialNumber: S-" + n + "\n") &&
                    has(threads, "Speed: " + std::to_string(7200 + i) + "\n"))
            << i;
    }
}

TEST_F(SystemInformation, LinksDevicesOnlyWhileItLooks)
{
    std::string const out = module("links", {"enum"}).out;
    EXPECT_TRUE(holds(out, "link too early: linkInFromDevice can only be called during enumeration"));
    EXPECT_TRUE(holds(out, "    Link: drive 1, SerialNumber, \n"));
}

TEST_F(SystemInformation, TakesOverridesFromTheSettings)
{
    auto const settings = [this](std::string const& lines) { m_folder.write("inventorying.w4i", lines); };
    settings("PropertyOverrides.value=true\nPropertyOverride.SerialNumber.value=S-0\n"
             "PropertyOverride.Speed.value=fast\nPropertyOverride.Speed.type=STRING\n");
    Outcome outcome = inventory();
    EXPECT_EQ(outcome.err, "") << "nothing is wrong with these lines";
    EXPECT_EQ(count(outcome.out, "SerialNumber: S-0\n"), 2u) << outcome.out;
    EXPECT_EQ(count(outcome.out, "Speed: fast\n"), 2u) << outcome.out;
    EXPECT_TRUE(
        holds(log(), "processPropertyOverrides() property:SerialNumber original value: S-2 new value: S-0"));

    // What cannot be taken changes nothing, and one line each says so, not one for each device.
    settings("PropertyOverrides.value=yes\nPropertyOverride.SerialNumber.value=1\n"
             "PropertyOverride.SerialNumber.type=TEXT\nPropertyOverride.Speed.value=fast\n"
             "PropertyOverride.Serial.value=x\nPropertyOverride.Colour.type=STRING\n");
    outcome = inventory();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(has(outcome.out, "SerialNumber: S-1\n") && has(outcome.out, "Speed: 7201\n")) << outcome.out;
    EXPECT_TRUE(holds(outcome.err, "inventorying.w4i:3: PropertyOverride.SerialNumber.type: \"TEXT\""));
    EXPECT_TRUE(holds(outcome.err, "inventorying.w4i:4: PropertyOverride.Speed.value: "));
    EXPECT_TRUE(holds(outcome.err, "inventorying.w4i:5: PropertyOverride.Serial.value: no device has"));
    EXPECT_TRUE(holds(outcome.err, "inventorying.w4i:6: PropertyOverride.Colour.type: a type without"));
    EXPECT_EQ(count(outcome.err, "\n"), 4u) << outcome.err;
    EXPECT_TRUE(holds(
        log(), "processPropertyOverrides() property:SerialNumber type: TEXT is NOT a valid DataType\n"));

    // Nothing but the switch switches them on.
    for (char const* notOn : {"", "PropertyOverrides.value=false\n", "PropertyOverrides.value=treu\n",
                              "PropertyOverrides.value=true\nnonsense\n"}) {
        settings(std::string(notOn) + "PropertyOverride.SerialNumber.value=S-0\n");
        outcome = inventory();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_FALSE(has(outcome.out, "S-0")) << notOn;
        EXPECT_TRUE(holds(outcome.err, "no property is overridden")) << notOn;
    }
    settings("PropertyOverrides.value=true\nPropertyOveride.Speed.value=1\nTimeOut.value=1\n");
    std::string const told = inventory().err;
    EXPECT_TRUE(holds(told, ":2: PropertyOveride.Speed.value: nothing here reads this setting"));
    EXPECT_TRUE(holds(told, ":3: TimeOut.value: nothing here reads this setting"));
}

TEST_F(SystemInformation, TakesParametersFromTheSettings)
{
    EXPECT_TRUE(holds(module("depth", {"enum"}).out, "depth 3\n"));
    m_folder.write("depth.w4i", "Parameter.depth.value=5\n");
    EXPECT_TRUE(holds(module("depth", {"enum"}).out, "depth 5\n"));
    m_folder.write("depth.w4i", "Parameter.depth.value=50\n");
    Outcome outcome = module("depth", {"enum"});
    EXPECT_TRUE(holds(outcome.out, "depth 3\n"));
    EXPECT_TRUE(holds(outcome.err, "depth.w4i:1: Parameter.depth.value: "));
    m_folder.write("depth.w4i", "Parameter.depth.value=5\nnonsense\n");
    outcome = module("depth", {"enum"});
    EXPECT_TRUE(holds(outcome.out, "depth 5\n"));
    EXPECT_TRUE(holds(outcome.err, "depth.w4i:2: has no '='; no property is overridden\n"));
    std::filesystem::permissions(m_folder.path("depth.w4i"), std::filesystem::perms::others_write,
                                 std::filesystem::perm_options::add);
    outcome = module("depth", {"enum"});
    EXPECT_TRUE(holds(outcome.out, "depth 3\n"));
    EXPECT_TRUE(holds(outcome.err, "may be written by everybody; no property is overridden, and parameters "
                                   "have their defaults\n"));
}

TEST_F(SystemInformation, LeavesOutWhatTheFilterLeavesOut)
{
    char const* const name = "SystemInformationFilter.xml";
    std::string const begin = "<SystemInformationFilter version=\"1\">", end = "</SystemInformationFilter>";
    inventory();
    EXPECT_TRUE(holds(log(), std::string("start(): SysinfoFilter failed loading filter file: ") + name +
                                 " result = 1\n"));

    forgetLog();
    m_folder.write(name, begin + "<exclude capability='Monitor'/><exclude property='Speed'/>" + end);
    Outcome outcome = inventory();
    EXPECT_EQ(outcome.err, "");
    EXPECT_FALSE(has(outcome.out, "Screen") || has(outcome.out, "Speed")) << outcome.out;
    EXPECT_TRUE(holds(outcome.out, "SerialNumber: S-1\n"));
    std::string const written = log();
    EXPECT_TRUE(holds(written, " of type: Monitor filtered out\n"));
    EXPECT_FALSE(has(written, "failed loading")) << written;

    struct Case
    {
        std::string content, reason;
        int result;
    };
    for (Case const& one : std::initializer_list<Case>{
             {"", "XML: ", 3},
             {begin + "<exclude capability='Monitor'/>", "XML: ", 3},
             {begin + "<exclude kind='Monitor'/>" + end, "<exclude> has no attribute \"kind\"", 3}}) {
        m_folder.write(name, one.content);
        outcome = inventory();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_TRUE(holds(outcome.out, "Screen"));
        EXPECT_TRUE(holds(outcome.err, one.reason));
        EXPECT_TRUE(holds(outcome.err, "; nothing is left out\n"));
        EXPECT_TRUE(holds(log(), name + std::string(" result = ") + std::to_string(one.result) + "\n"));
    }

    std::filesystem::remove(m_folder.path(name));
    std::filesystem::create_symlink("nowhere", m_folder.path(name));
    outcome = inventory();
    EXPECT_TRUE(holds(outcome.err, std::string(name) + ": ")) << "somebody meant a filter to be there";
    EXPECT_TRUE(holds(outcome.err, "; nothing is left out\n"));

    // In the folder of others, where the program does not stand, only a file that nobody else may write counts.
    std::filesystem::remove(m_folder.path(name));
    std::filesystem::create_directory(m_folder.path("elsewhere"));
    std::string const foreign = "elsewhere/" + std::string(name);
    m_folder.write(foreign, begin + "<exclude property='Speed'/>" + end);
    test::Start start;
    start.name = "inventorying";
    start.arguments = {"enum"};
    start.folder = m_folder.path("elsewhere");
    EXPECT_FALSE(has(run(m_folder.path("module"), start).out, "Speed"));
    std::filesystem::permissions(m_folder.path(foreign), std::filesystem::perms::others_write,
                                 std::filesystem::perm_options::add);
    outcome = run(m_folder.path("module"), start);
    EXPECT_TRUE(holds(outcome.out, "Speed"));
    EXPECT_TRUE(holds(outcome.err, "may be written by everybody; nothing is left out\n"));
}

} // namespace
