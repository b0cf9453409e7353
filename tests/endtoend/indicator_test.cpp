// Indicator modules by hand and under an engine: what is shown and sent, and how they end.
#include <endtoend/ModuleFolder.h>
#include <endtoend/TestEngine.h>

#include <csignal>
#include <future>

namespace {

using test::has;
using test::holds;
using test::Outcome;
using test::Start;
using test::TestEngine;
using What = zel::UpdatesBody::What;

constexpr int kPass = 0, kInternalError = 22, kFail = 23, kUserAborted = 24, kCannotRun = 28, kNoDevice = 31,
              kNoIndicator = 42;

std::size_t count(std::string const& text, std::string const& what)
{
    std::size_t found = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++found;
    return found;
}

struct IndicatorModules : test::ModuleFolder
{
    IndicatorModules() : ModuleFolder(WATCHING_MODULE) {}

    /// Runs until `text` is shown, then gets the signal.
    Outcome until(std::string const& text, std::vector<std::string> words,
                  std::string const& name = "watching", int signal = SIGTERM)
    {
        Start start;
        start.name = name;
        start.arguments = std::move(words);
        start.stopWhen = text;
        start.stops = 1;
        start.stopSignal = signal;
        return module(std::move(start));
    }
};

// ---- by hand

TEST_F(IndicatorModules, ShowReadingsUntilASignalEndsThemWithPass)
{
    m_folder.write("watching.w4i",
                   "Parameter.UpdateIntervalInSeconds.value=1000\nIndicator.speed.step.value=7\n");
    for (int const signal : {SIGTERM, SIGINT}) {
        Outcome const outcome = until("pass 4\n", {"run"}, "watching", signal);
        EXPECT_EQ(outcome.status, kPass) << outcome.err;
        EXPECT_EQ(count(outcome.out, "Device: "), 2u) << "once each: not due again\n" << outcome.out;
        EXPECT_TRUE(holds(outcome.out, "\n  Speed: 100\n  Note: step 7 of Pump 1\n"));
        EXPECT_TRUE(holds(outcome.out, "\n  Speed: 200\n  Note: step 7 of Pump 2\n"));
        EXPECT_EQ(count(outcome.out, "exit callback\n"), 1u);
        EXPECT_FALSE(has(outcome.out, "came back"));
        EXPECT_TRUE(holds(outcome.err, "Stopping."));
    }
    m_folder.write("watching.w4i", "Parameter.UpdateIntervalInSeconds.value=0\n");
    Outcome const often = until("  Speed: 400\n", {"run", "-d", "1", "-i", "1"});
    EXPECT_EQ(often.status, kPass) << often.err;
    EXPECT_FALSE(has(often.out, "pass ")) << "-i picks one";
    EXPECT_FALSE(has(often.out, "Pump 2")) << "-d picks one";
}

TEST_F(IndicatorModules, ShowWhatChanges)
{
    Outcome const outcome = module("changes", {"run", "-ll", "debug"});
    EXPECT_EQ(outcome.status, kPass) << outcome.err;
    for (char const* text :
         {"\n\n\tAdding Device: Pump 3\n\t\tProperty: Speed Value: 0\n",
          "\n\n\tAdding Property: Note Value: new on device: Pump 3\n",
          "\ntwice: ", "\n\n\tAdding Property: Note Value: lent on device: Pump 1\n",
          "\nunknown property: Cannot locate property for module: other property: Note",
          "\n\nAlert\n  Key:     Stuck\n  Type:    ",
          "\n  Title:   A pump is stuck\n  Message: It turns 0 times\n",
          "\nalerts 2\nfirst Stuck\nno alert: ",
          "\nnull: Internal Exception in IndicatorModule::requestDeviceAddition(...)",
          "\n\n\tRemoving Property: Note Value: new on device: Pump 3\n", "\n\n\tRemoving Alert: Stuck\n",
          "\nalerts 1\nthe other one stays: 1\n", "\n\n\tRemoving Device: Pump 3\n", "\nhttp 0\n"})
        EXPECT_TRUE(holds(outcome.out, text));
    EXPECT_EQ(count(outcome.out, "Adding Device"), 1u) << "known already";
    EXPECT_EQ(count(outcome.out, "Removing "), 3u) << "what is not there cannot go";
    EXPECT_TRUE(holds(outcome.out, "  Note: step 1 of Pump 3\n")) << "what comes is looked at";
    EXPECT_EQ(count(outcome.out, "exit callback\n"), 1u);
    std::string const written = log();
    for (char const* line :
         {" requestDeviceAddition(", " requestDeviceRemoval(", " requestDevicePropertyAddition(",
          " requestDevicePropertyAdditionFromAnotherModule(", " requestDevicePropertyRemoval(",
          " requestAlertAddition(", " send() adding alert: Stuck time: ", " to StateManager\n",
          " requestAlertRemoval(nobody)", " propagateChanges()\n", " httpGetRequest()\n",
          " stopRequested() returing: ", " runIndicator(...) on device ", " runIndicator(...) -- Enter\n",
          " requestAlertRemoval(): not known: nobody\n", " requestAlertRemoval(): not known: Stuck\n"})
        EXPECT_TRUE(holds(written, line));
}

TEST_F(IndicatorModules, MayRemoveTheDeviceThatTheyLookAt)
{
    Outcome const outcome = module("removes", {"run"});
    EXPECT_EQ(outcome.status, kPass) << outcome.err;
    EXPECT_TRUE(holds(outcome.out, "\tRemoving Device: Pump 1\nDevice: "));
    EXPECT_TRUE(holds(outcome.out, "  Note: step 1 of Pump 2\n"));
    EXPECT_EQ(count(outcome.out, "Device: "), 3u) << "one reading each, one removal\n" << outcome.out;
}

TEST_F(IndicatorModules, MayReplaceTheDeviceThatTheyLookAt)
{
    Outcome const outcome = module("replaces", {"run"});
    EXPECT_EQ(outcome.status, kPass) << outcome.err;
    EXPECT_TRUE(holds(outcome.out, "\tAdding Device: Pump 1\n\t\tProperty: Speed Value: 0\nDevice: "));
    EXPECT_EQ(count(outcome.out, "  Note: step 1 of Pump 1\n"), 2u) << "new again, and due\n" << outcome.out;
    EXPECT_EQ(count(outcome.out, "  Note: step 1 of Pump 2\n"), 1u) << outcome.out;
}

// Somebody sets the time of day between two passes.
TEST_F(IndicatorModules, GoOnWhenTheClockStepsBackOrForth)
{
    for (auto const& [name, interval, least, most] :
         {std::tuple{"stepsback", "0.05", 6u, 12u}, {"stepsforth", "1000", 2u, 2u}}) {
        m_folder.write(std::string(name) + ".w4i",
                       std::string("Parameter.UpdateIntervalInSeconds.value=") + interval + "\n");
        Outcome const outcome = module(name, {"run", "-ll", "debug"});
        EXPECT_EQ(outcome.status, kPass) << outcome.err;
        EXPECT_GE(count(outcome.out, "Device: "), least) << outcome.out;
        EXPECT_LE(count(outcome.out, "Device: "), most) << outcome.out;
        std::string const written = log(), begin = written.substr(0, 16), // year to minute
            end = written.substr(written.rfind('\n', written.size() - 2) + 1, 16);
        EXPECT_EQ(std::string(name) == "stepsback", end < begin) << begin << " " << end;
        EXPECT_NE(begin, end) << "the library has seen the step";
        forgetLog();
    }
}

TEST_F(IndicatorModules, TakeRequestsFromManyThreads)
{
    Outcome const outcome = module("threads", {"run"});
    EXPECT_EQ(outcome.status, kPass) << outcome.err;
    EXPECT_GE(count(outcome.out, "Adding Device"), 40u);
    EXPECT_GE(count(outcome.out, "Removing Device"), 40u);
    EXPECT_GE(count(outcome.out, "Adding Property"), 40u);
    EXPECT_GE(count(outcome.out, "Removing Property"), 40u);
    EXPECT_GE(count(outcome.out, "Removing Alert"), 40u);
}

TEST_F(IndicatorModules, ListDevicesAndIndicators)
{
    Outcome const outcome = module("watching", {"enum", "-ll", "debug"});
    EXPECT_EQ(outcome.status, kPass) << outcome.err;
    EXPECT_TRUE(holds(outcome.out, "No devices discovered\nknows 2\n")) << "the library knows no pumps";
    EXPECT_TRUE(holds(log(), " No devices discovered\n"));
    EXPECT_TRUE(
        holds(outcome.out,
              "Pump 1 (1) : A pump : SCSI:0:0:1:0 : /dev/pump1\n  speed (1) : watching\n\nPump 2 (2) : "));
    EXPECT_TRUE(holds(outcome.out, "\n\n  clock (2) : watching\n")) << "an indicator without devices";
    EXPECT_TRUE(holds(outcome.out, "exit callback\n"));
    EXPECT_FALSE(has(outcome.out, "pass 1"));
    std::string const document = module("watching", {"enum", "-x"}).out;
    EXPECT_TRUE(holds(document, "<indicator "));
    EXPECT_TRUE(holds(document, "Pump 2"));
}

// The list numbers every device, -d those that have an indicator: they differ behind a device that nothing reads.
TEST_F(IndicatorModules, NumberTheirDevicesAndIndicators)
{
    std::string const list = module("mixed", {"enum"}).out;
    EXPECT_FALSE(has(list, "Fan"));
    for (char const* const number : {"1", "2"}) {
        std::string const pump = std::string("Pump ") + number;
        EXPECT_TRUE(holds(list, pump + " (" + std::to_string(std::stoi(number) + 1) + ") : "));
        Outcome const outcome = until("pass 2\n", {"run", "-d", number}, "mixed");
        EXPECT_TRUE(holds(outcome.out, "of " + pump + "\n"));
        EXPECT_EQ(count(outcome.out, "Device: "), 1u) << outcome.out;
    }
    EXPECT_EQ(module("mixed", {"run", "-d", "3"}).status, kNoDevice);
    for (auto const& [number, what] : {std::pair{"0", "small"}, {"3", "large"}}) {
        Outcome const outcome = module("mixed", {"run", "-i", number, "-ll", "debug"});
        EXPECT_EQ(outcome.status, kNoIndicator);
        EXPECT_TRUE(
            holds(outcome.err, std::string("Error: Indicator Number ") + number + " is too " + what + "\n"));
        EXPECT_TRUE(holds(log(), std::string(" -t Option set with value: ") + number + "\n"))
            << "read so by tools";
    }
}

// What shapes an inventory neither hides a device that is watched nor changes what was read.
TEST_F(IndicatorModules, KnowNoFilterAndNoOverrides)
{
    m_folder.write("SystemInformationFilter.xml", "<SystemInformationFilter version=\"1\">"
                                                  "<exclude capability=\"All\"/><exclude property=\"*\"/>"
                                                  "</SystemInformationFilter>");
    m_folder.write("watching.w4i", "PropertyOverrides.value=true\nPropertyOverride.Speed.value=1\n");
    Outcome const outcome = until("pass 2\n", {"run"});
    EXPECT_EQ(count(outcome.out, "  Speed: 100\n"), 1u) << outcome.out;
    EXPECT_EQ(count(outcome.out, "Device: "), 2u) << outcome.out;
    EXPECT_TRUE(
        holds(outcome.err, "watching.w4i:2: PropertyOverride.Speed.value: nothing here reads this setting"));
}

TEST_F(IndicatorModules, DoWhatTheFirstWordSays)
{
    struct Case
    {
        std::vector<std::string> words;
        bool enumerates;
        char const* shows;
    };
    for (Case const& one : {Case{{"wait"}, false, ""},
                            {{"enum", "-p"}, true, "  Speed: "},
                            {{"wait", "enum", "-p", "run"}, true, "  Speed: "}}) {
        Outcome const outcome = until("pass 3\n", one.words);
        EXPECT_EQ(outcome.status, kPass) << outcome.err;
        EXPECT_EQ(has(outcome.out, "knows 2\n"), one.enumerates);
        EXPECT_TRUE(holds(outcome.out, one.shows));
        EXPECT_FALSE(has(outcome.out, " : A pump : ")) << "no list";
    }
    for (std::vector<std::string> const& words :
         {std::vector<std::string>{}, {"-p"}, {"-h"}, {"run", "-h"}, {"enum", "-p", "-h"}}) {
        Outcome const outcome = module("watching", words);
        EXPECT_EQ(outcome.status, kFail);
        EXPECT_TRUE(holds(outcome.out, "Usage: watching.w4x  enum"));
        EXPECT_FALSE(has(outcome.out, "knows") || has(outcome.out, " -p : "));
        EXPECT_TRUE(holds(outcome.out, "exit callback\n"));
    }
    EXPECT_TRUE(holds(module("watching", {"-p"}).err, "Nothing was done: \"enum\" lists"));
    EXPECT_EQ(module("nothing", {"run"}).status, kNoDevice);
    EXPECT_EQ(module("nothing", {"run"}).err, "Error: No devices associated with indicator \"speed\"\n");
    EXPECT_EQ(module("watching", {"run", "-x"}).status, kCannotRun) << "nobody says what is to run";
}

TEST_F(IndicatorModules, RefuseToStartHalfSetUp)
{
    for (auto const& [name, message] :
         {std::pair{"nocallback", "Cannot start a module without setting the device discovery callback"},
          {"nocapabilities", "Cannot start a module without setting the device capabilities of the module"},
          {"library", "no such bus"},
          {"throws", "Unknown \"...\" Exception in IndicatorModule::start()"},
          {"number", "Unknown \"...\" Exception in IndicatorModule::start()"}}) {
        Outcome const outcome = module(name, {"run"});
        EXPECT_EQ(outcome.status, kInternalError) << name;
        EXPECT_TRUE(holds(outcome.err, "Exception in IndicatorModule::start()"));
        EXPECT_TRUE(holds(outcome.err, message));
        EXPECT_EQ(count(outcome.out, "exit callback\n"), 1u);
        EXPECT_FALSE(has(outcome.out, "came back"));
    }
    m_folder.write("watching.w4i", "PromptEnable.value=perhaps\n");
    EXPECT_EQ(module("watching", {"run"}).status, kInternalError) << "settings that nobody understands";
    EXPECT_EQ(module("watching", {"enum"}).status, kPass);
}

TEST_F(IndicatorModules, TakeNoSetUpAfterTheStart)
{
    std::string const out = module("late", {"enum"}).out;
    for (char const* name :
         {"IndicatorModule::setCmdLineArgs", "IndicatorModule::setVersion",
          "IndicatorModule::setEnumerationCallback", "IndicatorModule::setModuleInitCallback",
          "DiagModule::setModuleExitCallback", "IndicatorModule::setModuleCapabilities",
          "IndicatorModule::addModuleEnumerationRequirement", "IndicatorModule::registerLibrary",
          "IndicatorModule::registerLocalizedLibrary"}) {
        std::string const text = name;
        EXPECT_TRUE(holds(out, text.substr(text.rfind(':') + 1) + ": Cannot call " + text +
                                   " after calling start\n"));
    }
    EXPECT_TRUE(
        holds(out, "createIndicator: Cannot call createIndicator after calling start (object key = late)"));
    EXPECT_TRUE(holds(out, "createFreeIndicator: Cannot call createIndicator after calling start"));
    EXPECT_TRUE(holds(out, "createDeviceProperty: Cannot call createDeviceProperty after calling start"));
    EXPECT_TRUE(holds(out, "Cannot call createDevicePropertyGroup after calling start (object key = late)"));
    EXPECT_TRUE(
        holds(log(), "caught exception: Cannot call DiagModule::setModuleExitCallback after calling start"));
}

// ---- under an engine

struct IndicatorsUnderAnEngine : IndicatorModules
{
    std::shared_ptr<zel::StateManager> state()
    {
        auto state = std::make_shared<zel::StateManager>();
        zel::CapabilityImp const pump("TestPump");
        auto device = zel::DeviceImp::createGeneric(pump, pump, "Pump 1", "", "/dev/pump1", "pump",
                                                    zel::CapabilityImp());
        auto const speed = std::make_shared<zel::PropertySpecImp>("Speed", zel::PropertyCategoryImp(),
                                                                  zel::DataTypeImp::UINT32(), pump);
        speed->setModuleGuid("engaged");
        device->addProperty(std::make_unique<zel::PropertyImp>(speed).get());
        m_device = device->guid();
        state->addModule(m_module, false);
        state->addPropertySpec(speed, false);
        state->addDevice(std::move(device), nullptr);
        return state;
    }
    std::future<Outcome> start(std::string const& name, std::vector<std::string> words)
    {
        return std::async(std::launch::async, [this, name, words] { return module(name, words); });
    }
    /// The module with a run of "speed" on its pump, and with that one reading.
    std::future<Outcome> startRun(std::string const& name)
    {
        auto outcome = start(name, {"run", "-e"});
        m_engine.next<zel::ModuleStarted>();
        auto const known = state();
        m_engine.send(zel::RunIndicatorEngineToProvider(
            {known, zel::IndicatorRunImp::restored("speed", m_device, 1000)}));
        zel::UpdatesBody const first = update(What::Readings);
        EXPECT_EQ(first.device, m_device);
        EXPECT_EQ(readings(first), "Speed=100 Note=step 1 of Pump 1 ");
        return outcome;
    }
    zel::UpdatesBody update(What what)
    {
        for (;;) {
            auto const report = m_engine.next<zel::UpdatesProviderToEngineToUI>();
            if (report->body().what == what || HasFailure())
                return report->body();
        }
    }
    static std::string readings(zel::UpdatesBody const& body)
    {
        zel::DeviceImp const* const device = body.state ? body.state->device(body.device) : nullptr;
        std::string text = device ? "" : "no device";
        for (std::size_t i = 0; device && i < device->propertyCount(); ++i)
            text += device->getProperty(i).key().toUtf8() + "=" +
                    device->getProperty(i).value().toString().toUtf8() + " ";
        return text;
    }
    void ask(zel::String const& device, char const* property)
    {
        m_engine.send(zel::RequestUpdateClientToEngineToIndicator({device, property}));
    }

    TestEngine m_engine;
    zel::ModuleImp m_module{"engaged"};
    zel::String m_device;
};

TEST_F(IndicatorsUnderAnEngine, ReadWhenAskedAndEndWithPassWhenStopped)
{
    m_module.setGuid("engaged");
    auto outcome = startRun("engaged");
    ask(zel::String(), "Speed");
    ask("nobody", "Speed");
    ask(m_device, "Colour");
    ask(m_device, "Speed"); // the only one that counts
    EXPECT_EQ(readings(update(What::Readings)), "Speed=200 Note=step 1 of Pump 1 ");
    ask(m_device, "Speed");
    EXPECT_EQ(readings(update(What::Readings)), "Speed=300 Note=step 1 of Pump 1 ");
    m_engine.send(zel::StopTestEngineToProvider());
    Outcome const end = outcome.get();
    EXPECT_EQ(end.status, kPass) << end.err;
    EXPECT_EQ(end.err, "");
    EXPECT_EQ(end.out, "exit callback\n") << "what is read is the engine's to show";
    std::string const written = log();
    EXPECT_TRUE(holds(written, "when device guid is empty"));
    EXPECT_TRUE(holds(written, "Cannot find device guid: nobody in state manager"));
    EXPECT_TRUE(holds(written, "Cannot find device prop: Colour on device: "));
}

TEST_F(IndicatorsUnderAnEngine, TellWhatComesAndWatchIt)
{
    m_module.setGuid("grows");
    auto outcome = startRun("grows");
    ask(m_device, "Speed");
    zel::UpdatesBody const added = update(What::AddDevice);
    ASSERT_TRUE(added.state && added.state->device(added.device));
    EXPECT_EQ(added.state->device(added.device)->name(), zel::String("Pump 9"));
    zel::UpdatesBody const removed = update(What::RemoveAlert);
    EXPECT_EQ(removed.key, zel::String("Stuck"));
    zel::UpdatesBody const changes = update(What::Changes);
    ASSERT_TRUE(changes.state);
    ASSERT_EQ(changes.state->alertCount(), 1u);
    EXPECT_EQ(changes.state->alertAtIndex(0)->key(), removed.key);
    EXPECT_FALSE(removed.alert.empty());
    EXPECT_NE(changes.state->alertAtIndex(0)->guid(), removed.alert) << "of two of one key it says which";
    EXPECT_TRUE(changes.state->device(added.device));
    EXPECT_EQ(update(What::Readings).device, m_device);
    zel::UpdatesBody const read = update(What::Readings);
    EXPECT_EQ(read.device, added.device);
    EXPECT_EQ(readings(read), "Speed=300 Note=step 1 of Pump 9 ");
    m_engine.disconnect(); // as good as a stop
    EXPECT_EQ(outcome.get().status, kPass);
}

TEST_F(IndicatorsUnderAnEngine, ReadOthersBesideADeviceThatComesAndGoesAllTheTime)
{
    m_module.setGuid("flaps");
    auto outcome = startRun("flaps");
    EXPECT_NE(update(What::Readings).device, m_device);
    ask(m_device, "Speed");
    int readings = 1;
    while (update(What::Readings).device != m_device && ++readings < 500) {
    }
    EXPECT_LT(readings, 500);
    m_engine.send(zel::StopTestEngineToProvider());
    EXPECT_EQ(outcome.get().status, kPass);
}

TEST_F(IndicatorsUnderAnEngine, ListForItAndNeedARun)
{
    auto listing = start("watching", {"enum", "-e"});
    m_engine.next<zel::ModuleStarted>();
    m_engine.send(zel::EnumerationReturnedEngineToClient({std::make_shared<zel::StateManager>()}));
    auto const list = m_engine.next<zel::EnumerationReturnedProviderToEngine>();
    ASSERT_TRUE(list->body().state);
    zel::StateManager const& state = *list->body().state;
    EXPECT_EQ(state.deviceCount(), 2u);
    ASSERT_EQ(state.indicatorCount(), 2u);
    EXPECT_EQ(state.deviceCountByIndicator(*state.indicatorAtIndex(0)), 2u);
    m_engine.send(zel::AcknowledgeEngineToProvider());
    EXPECT_EQ(listing.get().status, kPass);

    auto waiting = start("watching", {"run", "-e"});
    m_engine.next<zel::ModuleStarted>();
    m_engine.send(zel::StopTestEngineToProvider());
    Outcome const stopped = waiting.get();
    EXPECT_EQ(stopped.status, kPass) << stopped.err;
    EXPECT_EQ(stopped.out, "exit callback\n");

    auto stoppedList = start("watching", {"enum", "-e"});
    m_engine.next<zel::ModuleStarted>();
    m_engine.send(zel::StopTestEngineToProvider());
    EXPECT_EQ(stoppedList.get().status, kUserAborted) << "a list that nobody got";
}

} // namespace
