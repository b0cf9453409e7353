// Modules of the modules folder, asked by the enumerator: one that behaves, and beside it one that does not.
#include <endtoend/ModuleFolder.h>

#include <zel/enumerator/Enumerator.h>
#include <zel/foundation/Logger.h>
#include <zel/model/state/StateManager.h>
#include <zel/model/wire/Serializable.h>

#include <algorithm>
#include <cerrno>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

namespace {

using test::holds;
using C = zel::CapabilityImp;

constexpr char kGhost[] = R"(<?xml version="1.0"?>
<StateManager format="zel-state" version="1">
<device guid="ghost" name="Ghost" type="Monitor" capabilities="Monitor"/>
)";

/// A folder of modules in which "honest" reports two drives and a monitor, as the program beside it does by itself.
struct ModulesFolderTest : test::ModuleFolder
{
    ModulesFolderTest() : ModuleFolder(INVENTORYING_MODULE, "inventorying") {}

    void SetUp() override
    {
        ModuleFolder::SetUp();
        if (IsSkipped())
            return;
        std::filesystem::create_directory(folder());
        std::filesystem::copy_file(INVENTORYING_MODULE, folder() + "/inventorying");
        enumerator().setModulesFolder(folder());
    }
    void TearDown() override
    {
        enumerator().setModulesFolder("");
        enumerator().setModuleDeadline(30'000);
    }

    static zel::Enumerator& enumerator() { return zel::Enumerator::instance(); }
    std::string folder() const { return m_folder.path("sysinfo"); }

    /// A shell script as a module; its pipes are descriptors 3 and 4, "$@" what it was started with.
    void script(std::string const& name, std::string const& text, unsigned mode = 0755)
    {
        m_folder.write("sysinfo/" + name, "#!/bin/sh\n" + text + "\n");
        ASSERT_EQ(::chmod((folder() + "/" + name).c_str(), mode), 0);
    }

    static std::string names(zel::StateManager const& state)
    {
        std::string all;
        for (std::size_t i = 0; i < state.deviceCount(); ++i)
            if (zel::DeviceImp const& device = *state.deviceAtIndex(i); !device.hwLocator().startsWith("PCI"))
                all += device.name().toUtf8() + "\n";
        return all;
    }
    std::string found(C const& capabilities = C::Monitor() | C::HardDrive())
    {
        enumerator().getDevicesOfType(capabilities, 1, 0);
        return names(zel::ModuleManager::getInstance().getStateManager());
    }
};

std::size_t openDescriptors()
{
    auto const all = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

TEST_F(ModulesFolderTest, AddsTheDevicesOfTheKindsThatWereAskedFor)
{
    std::string const both = found();
    EXPECT_TRUE(holds(both, "Drive 1\nDrive 2\nScreen\n"));
    EXPECT_TRUE(enumerator().moduleFailures().empty());
    std::string const screens = found(C::Monitor());
    EXPECT_TRUE(holds(screens, "Screen\n"));
    EXPECT_FALSE(test::has(screens, "Drive 1"));
    zel::StateManager& state = zel::ModuleManager::getInstance().getStateManager();
    EXPECT_EQ(state.alertCount(), 0u) << "alerts are not what was asked for";
    EXPECT_EQ(state.nextModule(nullptr), nullptr);
    enumerator().setModulesFolder(m_folder.path("nothing-here"));
    EXPECT_FALSE(test::has(found(), "Screen"));
    EXPECT_TRUE(enumerator().moduleFailures().empty()) << "who has no such folder misses nothing";
}

TEST_F(ModulesFolderTest, WhatIsKnownAlreadyIsToldAndCompleted)
{
    enumerator().getDevicesOfType(C::HardDrive(), 1, 0);
    zel::StateManager& state = zel::ModuleManager::getInstance().getStateManager();
    zel::String guid;
    for (std::size_t i = 0; i < state.deviceCount(); ++i)
        if (state.deviceAtIndex(i)->name() == zel::String("Drive 1"))
            guid = state.deviceAtIndex(i)->guid();
    ASSERT_FALSE(guid.empty());
    script("later", "cat <&3 >" + m_folder.path("told") + "\ncat >&4 <<'END'\n" +
                        std::string(R"(<?xml version="1.0"?>
<StateManager format="zel-state" version="1">
<specification name="Speed" key="Speed" type="UINT32" category="SysInfo"/>
<specification name="Colour" key="Colour" type="STRING" category="SysInfo"/>
<device guid=")") + guid.toUtf8() +
                        R"(" name="Another" type="HardDrive" capabilities="HardDrive">
<property spec="Speed" value="1"/><property spec="Colour" value="red"/></device>
<device guid="below" parent=")" +
                        guid.toUtf8() + R"(" name="Below" type="HardDrive" capabilities="HardDrive"/>
</StateManager>
END)");
    EXPECT_TRUE(holds(found(C::HardDrive() | C::Memory()), "Below\n"));
    EXPECT_TRUE(enumerator().moduleFailures().empty());
    EXPECT_TRUE(holds(m_folder.read("told"), "name=\"Memory\"")) << "what the enumerator found";
    EXPECT_FALSE(test::has(m_folder.read("told"), "name=\"Drive 1\""))
        << "another module's, which runs at the same time";
    zel::DeviceImp const* const drive = state.device(guid);
    ASSERT_NE(drive, nullptr);
    EXPECT_EQ(drive->name(), zel::String("Drive 1"));
    EXPECT_EQ(drive->property("Speed")->value().toString(), zel::String("7201"));
    EXPECT_EQ(drive->property("Colour")->value().toString(), zel::String("red"));
    EXPECT_EQ(state.parentOf(*state.device("below")), drive);
}

// A module calls devices as it likes; that they are known shows by their place.
TEST_F(ModulesFolderTest, AKnownDeviceUnderAnotherGuidIsCompleted)
{
    zel::StateManager& state = zel::ModuleManager::getInstance().getStateManager();
    C const wanted = C::HardDrive() | C::Memory();
    enumerator().getDevicesOfType(wanted, 1, 0);
    zel::String memory, drive;
    for (std::size_t i = 0; i < state.deviceCount(); ++i)
        if (zel::DeviceImp const& device = *state.deviceAtIndex(i); device.deviceType() == C::Memory())
            memory = device.guid();
        else if (device.name() == zel::String("Drive 1"))
            drive = device.guid();
    ASSERT_TRUE(state.device(memory) && state.device(drive));
    std::size_t const known = state.deviceCount();
    auto const as = [&state](zel::String const& guid, char const* busClass = nullptr) {
        zel::DeviceImp const& device = *state.device(guid);
        return " type=\"" + device.deviceType().toString().toUtf8() + "\" capabilities=\"" +
               device.deviceType().toString().toUtf8() + "\" busClass=\"" +
               (busClass ? busClass : device.busClass().toString().toUtf8()) + "\" location=\"" +
               device.hwLocator().toUtf8() + "\"";
    };
    std::string const begin =
        "cat >&4 <<'END'\n<StateManager format=\"zel-state\" version=\"1\">\n"
        "<specification name=\"Group\" key=\"Group\" type=\"STRING\" category=\"SysInfo\"/>\n"
        "<specification name=\"Colour\" key=\"Colour\" type=\"STRING\" category=\"SysInfo\"/>\n";
    script(
        "later",
        begin + "<device guid=\"own\" name=\"Own\"" + as(memory) +
            "><property spec=\"Group\" value=\"\"><member key=\"Colour\"/></property>"
            "<property spec=\"Colour\" value=\"red\"/></device>\n"
            "<device guid=\"below\" parent=\"own\" name=\"Below\" type=\"Memory\" "
            "capabilities=\"Memory\"/>\n"
            // of another module, which answers before; then a second one there, and one that is no such device
            "<device guid=\"first\" parent=\"below\"" +
            as(drive) + "/>\n<device guid=\"second\"" + as(drive) + "/>\n<device guid=\"third\"" +
            as(drive, "USB") + "/>\n</StateManager>\nEND");
    found(wanted);
    for (zel::String const& failure : enumerator().moduleFailures())
        ADD_FAILURE() << failure.toUtf8();
    EXPECT_EQ(state.deviceCount(), known + 3);
    EXPECT_EQ(state.device("own"), nullptr);
    EXPECT_EQ(state.device("first"), nullptr);
    for (char const* const guid : {"below", "second", "third"})
        EXPECT_NE(state.device(guid), nullptr) << guid;
    zel::DeviceImp const* const completed = state.device(memory);
    ASSERT_NE(completed, nullptr);
    EXPECT_NE(completed->name(), zel::String("Own"));
    ASSERT_NE(completed->property("Colour"), nullptr);
    EXPECT_EQ(completed->property("Colour")->value().toString(), zel::String("red"));
    EXPECT_EQ(completed->groupOf(*completed->property("Colour")), completed->property("Group"));
    EXPECT_EQ(state.parentOf(*state.device("below")), completed);
    EXPECT_EQ(state.parentOf(*state.device(drive)), state.device("below"));

    script("later", begin + "<device guid=\"" + drive.toUtf8() + "\"" + as(drive) +
                        "/>\n<device guid=\"own\"" + as(drive) + "/>\n</StateManager>\nEND");
    found(wanted);
    EXPECT_NE(state.device("own"), nullptr) << "the module tells two devices apart";
}

TEST_F(ModulesFolderTest, NamesOfPropertiesComeFromTheTextsBesideTheModule)
{
    m_folder.write("sysinfo/inventorying.w4p", "Property.SerialNumber.Name=Number on the label\n"
                                               "Property.Speed.Name=\nProperty.Other.Name=none\n");
    found();
    zel::StateManager& state = zel::ModuleManager::getInstance().getStateManager();
    std::size_t drives = 0;
    for (std::size_t i = 0; i < state.deviceCount(); ++i)
        if (zel::DeviceImp const& device = *state.deviceAtIndex(i); device.name().startsWith("Drive ")) {
            ++drives;
            EXPECT_EQ(device.property("SerialNumber")->spec()->defaultName(),
                      zel::String("Number on the label"));
            EXPECT_EQ(device.property("Speed")->spec()->defaultName(), zel::String())
                << "an empty text is one that is yet to be written";
        }
    EXPECT_EQ(drives, 2u);
    EXPECT_TRUE(enumerator().moduleFailures().empty());
}

TEST_F(ModulesFolderTest, NamesThatOthersCouldHaveWrittenAreNotUsed)
{
    std::string const path = folder() + "/inventorying.w4p";
    m_folder.write("sysinfo/inventorying.w4p", "Property.SerialNumber.Name=Number on the label\n");
    zel::LogFactory::configure("", static_cast<int>(zel::LogLevel::Warning));
    struct Case
    {
        unsigned mode, owner;
        char const* reason; ///< null: it is trusted
    } const cases[] = {
        {0644, 0, nullptr},
        {0646, 0, "may be written by everybody"},
        {0664, 0, "may be written by its group"},
        {0644, 65534, "belongs to user 65534, who is neither root nor the caller"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.reason ? c.reason : "trusted");
        // A group of its own: that of the running program may be trusted to write.
        ASSERT_EQ(::chown(path.c_str(), c.owner, 65534), 0);
        ASSERT_EQ(::chmod(path.c_str(), c.mode), 0);
        m_folder.write("log", "");
        ASSERT_TRUE(zel::LogFactory::createDefaultFileAppender(m_folder.path("log")));
        EXPECT_TRUE(holds(found(), "Drive 1\n")) << "the devices are there all the same";
        zel::StateManager& state = zel::ModuleManager::getInstance().getStateManager();
        for (std::size_t i = 0; i < state.deviceCount(); ++i)
            if (zel::DeviceImp const& device = *state.deviceAtIndex(i); device.name().startsWith("Drive ")) {
                EXPECT_EQ(device.property("SerialNumber")->spec()->defaultName() ==
                              zel::String("Number on the label"),
                          c.reason == nullptr);
            }
        EXPECT_TRUE(enumerator().moduleFailures().empty());
        std::string const log = m_folder.read("log");
        std::string const warning = path + ": " + (c.reason ? c.reason : "");
        EXPECT_EQ(test::has(log, warning), c.reason != nullptr) << log;
        EXPECT_EQ(log.find(path), log.rfind(path)) << "said once: " << log;
    }
    zel::LogFactory::configure("", static_cast<int>(zel::LogLevel::Error));
}

TEST_F(ModulesFolderTest, AModuleThatFailsCostsItsOwnDevicesAndOneLine)
{
    enumerator().setModuleDeadline(20'000);
    std::string const honest = found();
    std::string const ghost = std::string("cat >&4 <<'END'\n") + kGhost + "END\n";
    std::string const whole = std::string("cat >&4 <<'END'\n") + kGhost + "</StateManager>\nEND\n";
    std::string const real = m_folder.path("inventorying");
    std::string deep =
        "<StateManager format=\"zel-state\" version=\"1\">\n<device guid=\"d0\" type=\"Monitor\"/>\n";
    for (int i = 1; i <= 64; ++i)
        deep += "<device guid=\"d" + std::to_string(i) + "\" parent=\"d" + std::to_string(i - 1) +
                "\" type=\"Monitor\" capabilities=\"Monitor\"/>\n";
    struct Case
    {
        char const* name;
        std::string text;
        char const* reason;
    } const cases[] = {
        {"floods", "exec cat /dev/zero >&4", "its answer is too large"},
        {"dies", ghost + "kill -9 $$", "it was ended by signal 9"},
        {"fails", whole + "echo 'no bus' >&2; exit 3", "it ended with status 3, and said: no bus"},
        {"stops", ghost + "exit 0", "its answer is refused: "},
        {"twice", whole + whole, "its answer is refused: "},
        {"really-twice", real + " \"$@\"; exec " + real + " \"$@\"", "its answer is refused: "},
        {"silent", "exit 0", "it answered nothing"},
        {"closes", "exec 3<&- 4>&-; exit 0", "it answered nothing"},
        {"garbage", "head -c 100000 /dev/urandom >&4", "its answer is refused: "},
        {"newer", "echo '<StateManager format=\"zel-state\" version=\"2\"/>' >&4", "version"},
        {"orphan",
         "echo '<StateManager format=\"zel-state\" version=\"1\"><device guid=\"a\" "
         "parent=\"b\"/></StateManager>' >&4",
         "its answer is refused: "},
        {"deep", "cat >&4 <<'END'\n" + deep + "</StateManager>\nEND\n", "more than 64 deep"},
        {"\x1b[2Jnamed\n", "exit 0", "it answered nothing"},
    };
    std::size_t const descriptors = openDescriptors();
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        script(c.name, c.text);
        EXPECT_EQ(found(), honest);
        auto const failures = enumerator().moduleFailures();
        ASSERT_EQ(failures.size(), 1u);
        EXPECT_TRUE(holds(failures[0].toUtf8(),
                          folder() + "/" + zel::String(c.name).withoutControls(false).toUtf8() + ": "));
        EXPECT_TRUE(holds(failures[0].toUtf8(), c.reason));
        EXPECT_FALSE(test::has(failures[0].toUtf8(), "\n"));
        std::filesystem::remove(folder() + "/" + c.name);
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(ModulesFolderTest, WhoClosesWhatItIsToldAndAnswersIsTaken)
{
    script("deaf", std::string("exec 3<&-\ncat >&4 <<'END'\n") + kGhost + "</StateManager>\nEND\n");
    EXPECT_TRUE(holds(found(), "Ghost\n"));
    EXPECT_TRUE(enumerator().moduleFailures().empty());
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they keep what was freed
// As many as are asked at the same time, each of which writes until it is stopped.
TEST_F(ModulesFolderTest, FloodsTakeLittleMoreMemoryThanOneLargestAnswer)
{
    constexpr int kFloods = 8;
    constexpr long kMostKiB = 400 << 10; // one of 256 MiB, seven of 8 MiB, and what the program has besides
    for (int i = 1; i <= kFloods; ++i)
        script("flood" + std::to_string(i), "exec cat /dev/zero >&4");
    pid_t const child = ::fork();
    if (child == 0) {
        bool const isHonestThere = test::has(found(C::HardDrive()), "Drive 2\n");
        auto const failures = enumerator().moduleFailures();
        bool const areRefused = std::all_of(failures.begin(), failures.end(), [](zel::String const& failure) {
            return failure.endsWith("its answer is too large");
        });
        ::_exit(isHonestThere && areRefused && failures.size() == kFloods ? 0 : 1);
    }
    int status = -1;
    rusage use;
    ASSERT_EQ(::wait4(child, &status, 0, &use), child);
    EXPECT_EQ(status, 0);
    EXPECT_GT(use.ru_maxrss, 256 << 10) << "they were stopped before";
    EXPECT_LT(use.ru_maxrss, kMostKiB);
}
#endif

TEST_F(ModulesFolderTest, ADeadlineEndsWhatDoesNotEnd)
{
    std::filesystem::remove(folder() + "/inventorying"); // an honest one may take longer than that
    enumerator().setModuleDeadline(300);
    std::string const answer = std::string("cat >&4 <<'END'\n") + kGhost + "</StateManager>\nEND\n";
    for (std::string const& text : {std::string("exec sleep 600"), std::string("exec 4>&-; exec sleep 600"),
                                    std::string("exec cat <&3 >/dev/null; sleep 600"),
                                    std::string("while :; do echo complaint >&2; done"),
                                    std::string("trap '' TERM INT; sleep 600 & wait"),
                                    answer + "exec sleep 600", answer + "exec 3<&- 4>&-; exec sleep 600"}) {
        script("endless", text);
        EXPECT_FALSE(test::has(found(C::Monitor()), "Ghost")) << text;
        auto const failures = enumerator().moduleFailures();
        ASSERT_EQ(failures.size(), 1u) << text;
        EXPECT_TRUE(holds(failures[0].toUtf8(), "endless: it ")) << text;
    }
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(ModulesFolderTest, WhatOthersCouldHavePutThereIsNotStarted)
{
    std::string const honest = found();
    std::string const mark = m_folder.path("started");
    std::string const path = folder() + "/suspect";
    struct Case
    {
        char const* what;
        unsigned mode, owner;
        char const* reason;
    } const cases[] = {
        {"everybody", 0757, 0, "may be written by everybody"},
        {"group", 0775, 0, "may be written by its group"},
        {"somebody else", 0755, 65534, "belongs to user 65534"},
        {"no program", 0644, 0, "is not executable"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        script("suspect", "touch " + mark);
        // A group of its own: that of the running program may be trusted to write.
        ASSERT_EQ(::chown(path.c_str(), c.owner, 65534), 0);
        ASSERT_EQ(::chmod(path.c_str(), c.mode), 0);
        EXPECT_EQ(found(), honest);
        auto const failures = enumerator().moduleFailures();
        ASSERT_EQ(failures.size(), 1u);
        EXPECT_TRUE(holds(failures[0].toUtf8(), path + ": " + c.reason));
        std::filesystem::remove(path);
    }
    script("script.sh", "touch " + mark); // has a dot: not a module, as texts and settings are none
    std::filesystem::create_directory(folder() + "/logs");
    EXPECT_EQ(found(), honest);
    EXPECT_TRUE(enumerator().moduleFailures().empty());
    std::filesystem::create_symlink(folder() + "/script.sh", path);
    EXPECT_EQ(found(), honest);
    ASSERT_EQ(enumerator().moduleFailures().size(), 1u);
    EXPECT_TRUE(holds(enumerator().moduleFailures()[0].toUtf8(), "is a symbolic link"));
    std::filesystem::remove(path);
    std::string const moved = m_folder.path("elsewhere");
    std::filesystem::rename(folder(), moved);
    std::filesystem::create_directory_symlink(moved, folder());
    EXPECT_FALSE(test::has(found(), "Screen")) << "who set the link could set it anew before the start";
    ASSERT_EQ(enumerator().moduleFailures().size(), 1u);
    EXPECT_TRUE(holds(enumerator().moduleFailures()[0].toUtf8(), folder() + ": is a symbolic link"));
    std::filesystem::remove(folder());
    std::filesystem::rename(moved, folder());
    EXPECT_EQ(found(), honest);
    ASSERT_EQ(::chmod(folder().c_str(), 0777), 0);
    EXPECT_FALSE(test::has(found(), "Screen")) << "anybody could have put the module there";
    ASSERT_EQ(enumerator().moduleFailures().size(), 1u);
    EXPECT_TRUE(holds(enumerator().moduleFailures()[0].toUtf8(), folder() + ": may be written by everybody"));
    EXPECT_FALSE(std::filesystem::exists(mark));
}

TEST_F(ModulesFolderTest, AFolderOfTooManyFilesIsNotShortInSilence)
{
    for (int i = 0; i < 1000; ++i)
        m_folder.write("sysinfo/text." + std::to_string(i), "");
    found(C::Monitor());
    ASSERT_EQ(enumerator().moduleFailures().size(), 1u);
    EXPECT_TRUE(holds(enumerator().moduleFailures()[0].toUtf8(), folder() + ": holds 1000 files or more"));
}

TEST_F(ModulesFolderTest, SeveralThreadsFindTheSame)
{
    script("fails", "exit 1");
    std::string const expected = found();
    std::vector<std::string> results(6);
    std::vector<std::thread> threads;
    for (std::string& result : results)
        threads.emplace_back([&result] {
            for (int i = 0; i < 2; ++i) {
                zel::StateManager state;
                enumerator().findDevices(C::Monitor() | C::HardDrive(), state);
                result = names(state);
            }
        });
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(found(), expected);
    for (std::thread& thread : threads)
        thread.join();
    for (std::string const& result : results)
        EXPECT_EQ(result, expected);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(ModulesFolderTest, AModuleByNameIsTheOneBesideTheProgram)
{
    zel::StateManager& state = zel::ModuleManager::getInstance().getStateManager();
    enumerator().getDevicesFromModule("inventorying", 0, 1);
    EXPECT_EQ(names(state), "Drive 1\nDrive 2\nScreen\n");
    EXPECT_NE(state.module("inventorying"), nullptr);
    for (char const* const name : {"nobody", "", "..", "../tests/inventorying", "line\nend"}) {
        enumerator().getDevicesFromModule(name, 0, 1);
        EXPECT_EQ(state.deviceCount(), 0u) << name;
        ASSERT_EQ(enumerator().moduleFailures().size(), 1u) << name;
        EXPECT_FALSE(test::has(enumerator().moduleFailures()[0].toUtf8(), "\n"));
    }
}

} // namespace
