// What an engine takes from modules' own files, and what it refuses.
#include <tools/engine/Workshop.h>

#include <engine/catalog/Language.h>
#include <engine/catalog/Metadata.h>
#include <engine/catalog/linux/PrivateFolder.h>

#include <foundation/TemporaryFolder.h>

namespace engine {
namespace {

using namespace test;

std::string const kRange = "<MorvaneIncValidDataRange>";
std::string const kEnd = "</MorvaneIncValidDataRange>";

TEST(Metadata, SaysAllOfATest)
{
    Module module;
    readMetadata("# a comment\n" + head("ram") +
                     "Later.Versions=know more\nParameter.1.ParameterKey=Loops\n" +
                     "Parameter.1.DataType=UINT32\n" +
                     test::test(1, "wipe", "Memory, CPU",
                                "isDestructive=true\nisInteractive=true\nsupportsParallelTesting=true\n"
                                "minShutdownSeconds=0\nenumeratesOnlyOnce=true\n"
                                "deviceExistenceRequirements=System, CPU\ndevicePropertyRequirements=Size:" +
                                    kRange + "1..5,7.." + kEnd + ", !Kind:" + kRange + "a\\,b" + kEnd + "\n" +
                                    parameter(1, "Size", "UINT64", "1..")) +
                     "Indicator.1.Key=heat\nIndicator.1.Capabilities=CPU\n",
                 "ram.w4m", "ram", module);
    ASSERT_EQ(module.tests.size(), 1u);
    zel::TestImp const& test = module.tests[0].record;
    EXPECT_EQ(wordOf(module, module.tests[0]), "ram:wipe");
    EXPECT_TRUE(test.flags().destructive && test.flags().interactive &&
                test.flags().supportsParallelTesting && test.flags().enumeratesOnlyOnce);
    EXPECT_EQ(test.flags().minShutdownSeconds, 0u);
    EXPECT_EQ(test.existenceRequirements().size(), 2u);
    ASSERT_EQ(test.propertyRequirements().size(), 2u);
    EXPECT_EQ(test.propertyRequirements()[0].validRange, "1..5,7..");
    EXPECT_TRUE(test.propertyRequirements()[1].exclusion);
    EXPECT_EQ(test.propertyRequirements()[1].propertyKey, "Kind");
    ASSERT_EQ(test.parameters().size(), 2u); // the global one behind its own
    EXPECT_EQ(test.parameters()[0].validDataRange(), "1..");
    EXPECT_TRUE(test.parameters()[1].isGlobalParameter());
    EXPECT_EQ(module.indicatorCount, 1u);
}

TEST(Metadata, DamageIsToldWithItsLine)
{
    std::string const good = head("ram") + test::test(1, "a", "Memory");
    struct Case
    {
        std::string text, complaint;
    };
    Case const cases[] = {
        {"", "ram.w4m: it names no module"},
        {head("rom"), "ram.w4m: it is of the module \"rom\""},
        {good + "no equals sign\n", "ram.w4m:9: has no '='"},
        {good + std::string("a=\0b\n", 5), "ram.w4m:9: holds a zero byte"},
        {good + "Module.Guid=ram\n", "ram.w4m:9: sets \"Module.Guid\" again, in place of line 2"},
        {good + "Test.1.isDestructive=maybe\n", "ram.w4m:9: neither true nor false"},
        {good + "Test.3.TestKey=c\n", "ram.w4m:9: its number does not follow the one before it"},
        {good + "Test.0.TestKey=c\n", "ram.w4m:9: its number does not follow"},
        {good + "Test.18446744073709551617.TestKey=c\n", "ram.w4m:9: no number up to"},
        {good + test::test(2, "a", "CPU"), "ram.w4m:9: a second test \"a\""},
        {good + "Test.2.TestKey=b\n", "ram.w4m:9: it does not say which devices it is for"},
        {good + "Test.2.Capabilities=CPU\n", "ram.w4m:9: it has no key"},
        {good + "Test.1.minShutdownSeconds=-1\n", "ram.w4m:9: no number up to 86400"},
        {good + "Test.1.devicePropertyRequirements=Size:1..\n",
         "ram.w4m:9: a requirement of a property has no range"},
        {good + "Test.1.devicePropertyRequirements=Size:" + kRange + "9..1" + kEnd + "\n", "Size"},
        {good + "Test.1.Parameter.1.ParameterKey=x\n", "ram.w4m:9: a parameter needs a key and a type"},
        {good + "Test.1.Parameter.1.DataType=UINT7\n", "ram.w4m:9: no type is called \"UINT7\""},
        {good + "Test.1.Parameter.1.ParameterKey=x\nTest.1.Parameter.1.DataType=UINT32\n"
                "Test.1.Parameter.1.ValidDataRange=a..b\n",
         "ram.w4m:9: parameter x:"},
        {head("ram") + "Module.Version=1\n", "again"},
        {"Module.Version=new\n", "ram.w4m:1: no version"},
        {"Module.Type=TOASTER\n", "ram.w4m:1: no kind of module is called \"TOASTER\""},
    };
    for (Case const& one : cases) {
        Module module;
        std::string const complaint = refusal([&] { readMetadata(one.text, "ram.w4m", "ram", module); });
        EXPECT_NE(complaint.find(one.complaint), std::string::npos)
            << complaint << "\nwanted: " << one.complaint;
    }
}

// Each test has every global parameter: a file of some kilobytes could ask for a million records.
TEST(Metadata, ParametersAreBoundedAltogether)
{
    std::string text = head("ram");
    for (int i = 1; i <= 500; ++i)
        text += parameter(i, "p" + std::to_string(i), "UINT32", "");
    for (int i = 1; i <= 41; ++i)
        text += test::test(i, "t" + std::to_string(i), "Memory");
    Module module;
    EXPECT_NE(refusal([&] {
                  readMetadata(text, "ram.w4m", "ram", module);
              }).find("more than 20000 parameters altogether"),
              std::string::npos);
}

TEST(Catalog, OneBadModuleCostsItselfAndALine)
{
    Workshop shop;
    shop.addModule("ram", head("ram") + test::test(1, "quick", "Memory") + test::test(2, "long", "Memory"));
    shop.write("ram.w4p", "Module.Name=Memory tests\nTest.quick.Name=Quick test\n");
    shop.write("ram.de.w4p", "Test.quick.Name=Schneller Test\nTest.quick.Description=Kurz\n");
    shop.write("ram.w4i", "Test.long.Enable.value=false\n");
    shop.addModule("cpu", head("cpu") + test::test(1, "sum", "CPU"));
    shop.write("cpu.w4i", "what is this\n");
    shop.addModule("bad", "Module.Guid=bad\nTest.1.isDestructive=x\n");
    shop.addProgram("silent");
    shop.addProgram("slow", "exec sleep 60");
    std::string answer = head("told") + test::test(1, "t", "Memory");
    shop.addProgram("told", "cat > told.w4m << END\n" + answer + "END");
    shop.addDevice("Memory", "Memory", "Memory");
    shop.open("de");
    std::string names, complaints;
    for (auto const& module : shop.catalog->modules())
        names += module->guid() + " ";
    for (std::string const& complaint : shop.catalog->complaints())
        complaints += complaint + "\n";
    EXPECT_EQ(names, "cpu ram told ");
    EXPECT_EQ(shop.catalog->complaints().size(), 3u) << complaints;
    EXPECT_NE(complaints.find("bad.w4m:2: neither true nor false"), std::string::npos) << complaints;
    EXPECT_NE(complaints.find("silent: does not say what it tests: it ended with status 3"),
              std::string::npos)
        << complaints;
    EXPECT_NE(complaints.find("slow: does not say what it tests: it took too long"), std::string::npos)
        << complaints;

    EXPECT_FALSE(shop.catalog->modules()[0]->settingsTrouble.empty());
    Module const& ram = *shop.catalog->modules()[1];
    EXPECT_EQ(ram.name, "Memory tests");
    EXPECT_EQ(ram.tests[0].name, "Schneller Test");
    EXPECT_EQ(ram.tests[0].description, "Kurz");
    EXPECT_EQ(ram.tests[0].devices.size(), 1u);
    EXPECT_TRUE(ram.tests[1].devices.empty());
    EXPECT_NE(ram.tests[1].notHere.find("ram.w4i:1: Test.long.Enable.value=false"), std::string::npos);
    EXPECT_EQ(shop.catalog->testOfNumber(3).test, &ram.tests[1]);
    EXPECT_EQ(shop.catalog->testOfNumber(5).test, nullptr);
}

TEST(Catalog, MetadataOlderThanItsProgramIsAskedForAgain)
{
    Workshop shop;
    shop.addProgram("ram", "cat > ram.w4m << END\n" + head("ram") + test::test(1, "new", "Memory") + "END");
    shop.write("ram.w4m", head("ram") + test::test(1, "old", "Memory"));
    shop.open();
    ASSERT_EQ(shop.catalog->modules().size(), 1u);
    EXPECT_EQ(shop.catalog->modules()[0]->tests[0].record.keyInModule(), "old");
    fs::last_write_time(shop.path("ram.w4m"), fs::last_write_time(shop.path("ram")) - std::chrono::hours(1));
    Catalog const again = Catalog::read({{fs::path(shop.path("ram")).parent_path().string()}, {}});
    ASSERT_EQ(again.modules().size(), 1u);
    EXPECT_EQ(again.modules()[0]->tests[0].record.keyInModule(), "new");
}

TEST(PrivateFolder, ThoseOfKilledProcessesAreRemovedAndNoOthers)
{
    ::test::TemporaryFolder const temporary;
    char const* const before = std::getenv("TMPDIR");
    std::string const former = before ? before : "";
    ASSERT_EQ(::setenv("TMPDIR", temporary.path().c_str(), 1), 0);
    PrivateFolder const living;
    std::string const name = temporary.path("krel5-modules-");
    for (char const* const end : {"killed", "newone", "shared", "target", "longer1"}) {
        fs::create_directory(name + end);
        fs::permissions(name + end, fs::perms::owner_all);
        std::ofstream(name + end + "/ram.w4m") << "half of it";
    }
    fs::permissions(name + "shared", fs::perms::others_read, fs::perm_options::add);
    fs::rename(name + "target", temporary.path("target"));
    fs::create_directory_symlink(temporary.path("target"), name + "linked");
    auto const old = fs::file_time_type::clock::now() - std::chrono::hours(1);
    for (std::string const& one :
         {living.path(), name + "killed", name + "shared", name + "longer1", temporary.path("target")})
        fs::last_write_time(one, old);
    PrivateFolder::removeStale();
    EXPECT_FALSE(fs::exists(name + "killed"));
    for (std::string const& one : {living.path(), name + "newone/ram.w4m", name + "shared/ram.w4m",
                                   name + "longer1/ram.w4m", name + "linked/ram.w4m"})
        EXPECT_TRUE(fs::exists(one)) << one;
    before ? ::setenv("TMPDIR", former.c_str(), 1) : ::unsetenv("TMPDIR");
}

TEST(Catalog, WhatOthersMayWriteIsNotRead)
{
    Workshop shop;
    shop.addModule("ram", head("ram") + test::test(1, "quick", "Memory"));
    fs::create_symlink(shop.path("ram"), shop.path("link"));
    shop.addModule("open", head("open"));
    fs::permissions(shop.path("open"), fs::perms::others_write, fs::perm_options::add);
    shop.open();
    ASSERT_EQ(shop.catalog->modules().size(), 1u);
    ASSERT_EQ(shop.catalog->complaints().size(), 2u);
    EXPECT_NE(shop.catalog->complaints()[0].find("link: is a symbolic link"), std::string::npos);
    EXPECT_NE(shop.catalog->complaints()[1].find("open: may be written by everybody"), std::string::npos);
    EXPECT_NE(refusal([&] {
                  Catalog::read({{}, {shop.path("none")}});
              }).find("there is no \""),
              std::string::npos);
}

TEST(Assignment, SaysWhyATestGoesToNoDevice)
{
    Workshop shop;
    shop.addModule("ram", head("ram") + test::test(1, "disk", "HardDrive") +
                              test::test(2, "big", "Memory",
                                         "devicePropertyRequirements=Size:" + kRange + "8.." + kEnd + "\n") +
                              test::test(3, "once", "Memory", "enumeratesOnlyOnce=true\n"));
    shop.addModule("own", head("own", true) + test::test(1, "t", "Memory"));
    shop.addDevice("Memory", "First", "Memory:1");
    shop.addDevice("Memory", "Second", "Memory:2");
    shop.open();
    auto const& tests = shop.catalog->modules()[1]->tests;
    EXPECT_EQ(tests[0].notHere, "this machine has no device of its kind: HardDrive");
    EXPECT_EQ(tests[0].notHereResult, "NO DEVICE");
    EXPECT_EQ(tests[1].notHere, "First: it has no property Size");
    EXPECT_EQ(tests[2].devices.size(), 1u);
    EXPECT_EQ(shop.catalog->modules()[0]->tests[0].devices.size(), 2u);
    EXPECT_TRUE(shop.catalog->modules()[0]->tests[0].isDeclinable);
}

TEST(Language, FollowsTheLocale)
{
    EXPECT_EQ(languageOfLocale("de_AT.UTF-8"), zel::LanguageImp::de());
    EXPECT_EQ(languageOfLocale("zh_TW"), zel::LanguageImp::zh_tw());
    for (char const* english : {"", "C", "C.UTF-8", "POSIX", "xx_YY", "nil"})
        EXPECT_EQ(languageOfLocale(english), zel::LanguageImp::en()) << english;
    EXPECT_NE(refusal([] { languageNamed("dee"); }).find("these are: en, ar"), std::string::npos);
}

} // namespace
} // namespace engine
