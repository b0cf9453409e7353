#include <libKrel5/internal/backends/console/Selection.h>

#include <libKrel5/internal/backends/Connection.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ErrorReporting.h>

#include <krel5/CommandLineOption.h>

#include <zel/foundation/Logger.h>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.Comm.StandAlone");
    return s_logger;
}

zel::StateManager& manager() { return zel::StateManager::instance(); }

// The hint is for the person alone.
[[noreturn]] void endWith(zel::String const& line, zel::String const& hint, TestResult const& result)
{
    ErrorReporting::tell(line);
    if (!hint.empty())
        ErrorReporting::tell(hint);
    ZEL_LOG(logger(), zel::LogLevel::Error) << line;
    Connection::close();
    ErrorReporting::endProcess(result);
}

// "Too large" says little where nothing is there at all: no test fits a device of this machine.
zel::String knownNumbers(std::size_t count)
{
    if (count == 0)
        return "There is none here; \"enum -ll debug\" writes into the log why";
    return zel::String("Numbers are 1 to ") + zel::String::number(static_cast<std::uint64_t>(count)) +
           "; \"enum\" lists them";
}

// The index from 0 that an option names among `count` things; nothing when the option is absent. The log says
// "-t" for indicators too: readers of logs look for that line.
std::optional<std::size_t> pick(CommandLineOption const& option, char const* logName, char const* thing,
                                std::size_t count, TestResult const& error)
{
    auto const number = CommandLine::integer(option);
    if (!number)
        return std::nullopt;
    ZEL_LOG(logger(), zel::LogLevel::Information) << logName << " Option set with value: " << *number;
    zel::String const start = zel::String("Error: ") + thing + " Number " + zel::String::number(*number);
    if (*number < 1)
        endWith(start + " is too small", knownNumbers(count), error);
    if (static_cast<std::uint64_t>(*number) > count)
        endWith(start + " is too large", knownNumbers(count), error);
    return static_cast<std::size_t>(*number) - 1;
}

zel::Array<zel::TestImp*> allTests()
{
    zel::Array<zel::TestImp*> all;
    for (std::size_t i = 0; i < manager().testCount(); ++i)
        all.append(manager().testAtIndex(i));
    return all;
}

zel::Array<zel::IndicatorImp*> allIndicators()
{
    zel::Array<zel::IndicatorImp*> all;
    for (std::size_t i = 0; i < manager().indicatorCount(); ++i)
        all.append(manager().indicatorAtIndex(i));
    return all;
}

template <typename Record>
std::size_t positionOf(zel::Array<Record*> const& all, zel::String const& key)
{
    std::size_t position = 1;
    for (Record const* const one : all) {
        if (one->keyInModule() == key)
            return position;
        ++position;
    }
    return 0;
}

zel::String quoted(zel::String const& text) { return zel::String("\"") + text + "\""; }

} // namespace

void endWithSelectionError(zel::String const& line, TestResult const& result) { endWith(line, "", result); }

void DeviceSelection::add(zel::DeviceImp* device)
{
    if (m_guids.insert(device->guid()).second)
        m_devices.append(device);
}

void DeviceSelection::addDevicesOfTests()
{
    for (zel::TestImp const* const test : allTests())
        for (std::size_t d = 0; d < manager().deviceCountByTest(*test); ++d)
            add(manager().deviceByTestAtIndex(*test, d));
}

void DeviceSelection::addDevicesOfIndicators()
{
    for (zel::IndicatorImp const* const indicator : allIndicators())
        for (std::size_t d = 0; d < manager().deviceCountByIndicator(*indicator); ++d)
            add(manager().deviceByIndicatorAtIndex(*indicator, d));
}

zel::Array<zel::DeviceImp*> DeviceSelection::selected() const
{
    auto const index =
        pick(CommandLineOption::DEVICENUM(), "-d", "Device", m_devices.size(), TestResult::NODEVICE());
    if (index)
        return {m_devices[*index]};
    ZEL_LOG(logger(), zel::LogLevel::Information) << "-d Option Not Found Adding all devices";
    return m_devices;
}

zel::Array<zel::TestImp*> selectedTests()
{
    auto const all = allTests();
    if (auto const index = pick(CommandLineOption::TESTNUM(), "-t", "Test", all.size(), TestResult::NOTEST()))
        return {all[*index]};
    ZEL_LOG(logger(), zel::LogLevel::Information) << "-t Option Not Found Adding all tests";
    for (zel::TestImp const* const test : all)
        ZEL_LOG(logger(), zel::LogLevel::Information) << "Appending TestImp:" << test->guid();
    return all;
}

zel::Array<zel::IndicatorImp*> selectedIndicators()
{
    auto const all = allIndicators();
    if (auto const index =
            pick(CommandLineOption::INDICATORNUM(), "-t", "Indicator", all.size(), TestResult::NOINDICATOR()))
        return {all[*index]};
    ZEL_LOG(logger(), zel::LogLevel::Information) << "-i Option Not Found Adding all indicators";
    for (zel::IndicatorImp const* const indicator : all)
        ZEL_LOG(logger(), zel::LogLevel::Information) << "Appending IndicatorImp:" << indicator->guid();
    return all;
}

namespace {

// A test that is off has no devices, which by itself looks like a missing device.
void tellSwitchedOff(char const* thing, zel::ModuleFunctionImp const& one)
{
    if (!one.isSwitchedOff())
        return;
    zel::String const line =
        zel::String(thing) + " " + quoted(one.keyInModule()) + " is switched off: " + one.switchedOffBy();
    ErrorReporting::tell(line);
    ZEL_LOG(logger(), zel::LogLevel::Error) << line;
}

// No device at all counts as several, since nobody picked a single one.
[[noreturn]] void endWithoutRuns(zel::String const& what, zel::Array<zel::DeviceImp*> const& devices,
                                 std::size_t selectedCount, zel::String const& key)
{
    bool const isTest = what == zel::String("test");
    TestResult const nothing = isTest ? TestResult::NOTEST() : TestResult::NOINDICATOR();
    bool const oneDevice = devices.size() == 1;
    bool const oneSelected = selectedCount == 1;
    if (oneDevice && oneSelected)
        endWithSelectionError(zel::String("Error: Device ") + quoted(devices[0]->guid()) +
                                  " is not associated with the " + what + " " + quoted(key),
                              nothing);
    if (oneDevice)
        endWithSelectionError(zel::String("Error: Device ") + quoted(devices[0]->guid()) +
                                  " is not associated with any " + what + "s in this module.",
                              nothing);
    if (oneSelected)
        endWithSelectionError(zel::String("Error: No devices associated with ") + what + " " + quoted(key),
                              TestResult::NODEVICE());
    endWithSelectionError(zel::String("Error: No devices are associated with any of the ") + what +
                              "s in this module.",
                          nothing);
}

} // namespace

void endWithoutTestRuns(zel::Array<zel::DeviceImp*> const& devices, zel::Array<zel::TestImp*> const& tests)
{
    for (zel::TestImp const* const test : tests)
        tellSwitchedOff("Test", *test);
    endWithoutRuns("test", devices, tests.size(), tests.empty() ? zel::String() : tests[0]->keyInModule());
}

void endWithoutIndicatorRuns(zel::Array<zel::DeviceImp*> const& devices,
                             zel::Array<zel::IndicatorImp*> const& indicators)
{
    for (zel::IndicatorImp const* const indicator : indicators)
        tellSwitchedOff("Indicator", *indicator);
    endWithoutRuns("indicator", devices, indicators.size(),
                   indicators.empty() ? zel::String() : indicators[0]->keyInModule());
}

std::size_t positionOfTest(zel::String const& key) { return positionOf(allTests(), key); }
std::size_t positionOfIndicator(zel::String const& key) { return positionOf(allIndicators(), key); }

} // namespace krel5
