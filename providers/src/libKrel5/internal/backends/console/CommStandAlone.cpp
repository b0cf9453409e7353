// What the console shows.
#include <libKrel5/internal/backends/console/CommStandAlone.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/console/CommStandAloneText.h>
#include <libKrel5/internal/backends/console/Prompt.h>
#include <libKrel5/internal/backends/console/Selection.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/IndicatorReturnData.h>

#include <zel/enumerator/Enumerator.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/OStream.h>
#include <zel/model/runs/MessageBoxImp.h>
#include <zel/model/runs/TestRunManager.h>
#include <zel/model/state/StateManager.h>

namespace krel5 {
namespace {

using zel::endl;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.Comm.StandAlone");
    return s_logger;
}

zel::OStream& out() { return zel::OStream::out(); }

// What stands in one line: names and values come from devices, and none may begin a line of its own.
zel::String inLine(zel::String const& text) { return text.withoutControls(false); }

zel::StateManager& manager() { return zel::StateManager::instance(); }

// The run now executing; null, with a line in the log, when there is none.
zel::TestRunImp* currentRun()
{
    zel::TestRunImp* const run = zel::TestRunManager::instance().current();
    if (!run)
        ZEL_LOG(logger(), zel::LogLevel::Critical) << "StateManager is missing its TestRunImp ";
    return run;
}

bool isFault(zel::EventTypeImp const& type)
{
    return type == zel::EventTypeImp::ERR() || type == zel::EventTypeImp::WARNING();
}

zel::String deviceLine(zel::DeviceImp const& device, std::size_t position)
{
    return device.name() + " (" + zel::String::number(static_cast<std::uint64_t>(position)) +
           ") : " + device.description() + " : " + device.hwLocator() + " : " + device.osLocator();
}

zel::String memberLine(zel::String const& key, std::size_t position, zel::String const& moduleGuid)
{
    return zel::String("  ") + key + " (" + zel::String::number(static_cast<std::uint64_t>(position)) +
           ") : " + moduleGuid;
}

// All devices, each completed by what the enumerator knows, then the alerts. Under the library mutex: a thread that
// discovery left behind may still be at work.
zel::String inventoryText()
{
    zel::AutoMutex const guard(libraryMutex());
    zel::StateManager complete;
    complete.mergeWithTracking(zel::ModuleManager::getInstance().getStateManager());
    complete.mergeWithTracking(manager());
    zel::Enumerator::instance().buildStateManager(complete);
    zel::String text;
    std::unordered_set<zel::String> kept;
    zel::DeviceImp const* device = nullptr;
    while ((device = manager().nextDevice(device, zel::CapabilityImp::ALL()))) {
        zel::DeviceImp const* const match = complete.matchingDevice(*device);
        if (match && kept.insert(match->guid()).second)
            text += match->toString(2);
    }
    if (manager().alertCount() > 0)
        text += "\n";
    for (std::size_t i = 0; i < manager().alertCount(); ++i)
        text += alertText(*manager().alertAtIndex(i)).withoutControls(true);
    return text;
}

void printDeviceLine(zel::DeviceImp const& device, std::size_t position)
{
    zel::String const line = inLine(deviceLine(device, position));
    out() << line << endl;
    ZEL_LOG(logger(), zel::LogLevel::Debug) << line;
}

} // namespace

void CommStandAlone::printLine(zel::String const& line)
{
    out() << line << endl;
    m_lineIsOpen = false;
}

// Without a line end: the text may bring its own.
void CommStandAlone::printText(zel::String const& text)
{
    out() << text.withoutControls(true);
    out().flush();
    if (!text.empty())
        m_lineIsOpen = !text.endsWith("\n");
}

void CommStandAlone::endOpenLine()
{
    if (m_lineIsOpen)
        printLine("");
}

void CommStandAlone::sendPercentDoneMessage()
{
    if (zel::TestRunImp const* const run = currentRun())
        printLine(zel::String("Percent Done: ") + zel::String::number(run->percentComplete()) + "%");
}

void CommStandAlone::sendEstimatedTimeLeftMessage()
{
    if (zel::TestRunImp const* const run = currentRun())
        printLine(zel::String("Estimated Time Left: ") + zel::String::number(run->estimatedTimeLeft()));
}

void CommStandAlone::sendProgressInformativeMessage()
{
    if (zel::TestRunImp const* const run = currentRun())
        printText(run->progressInformation());
}

void CommStandAlone::sendEvent()
{
    zel::TestRunImp* const run = currentRun();
    if (!run)
        return;
    while (auto const event = run->nextEvent()) {
        if (isFault(event->type())) // people and tools look for "Error (" at the beginning of a line
            endOpenLine();
        for (zel::String const& text : eventTexts(*event))
            printText(text);
    }
}

void CommStandAlone::sendVersion()
{
    ZEL_LOG(logger(), zel::LogLevel::Information) << ModuleCommon::module().version().toString();
}

void CommStandAlone::sendAddDevice(zel::DeviceImp&)
{
    ZEL_LOG(logger(), zel::LogLevel::Information) << "sendAddDevice Stub - Need to Implement";
}

void CommStandAlone::sendAddDevices()
{
    zel::String const text = inventoryText();
    out() << text;
    out().flush();
}

void CommStandAlone::sendEnumTests()
{
    DeviceSelection list;
    list.addDevicesOfTests();
    for (std::size_t i = 0; i < list.all().size(); ++i) {
        zel::DeviceImp const& device = *list.all()[i];
        printDeviceLine(device, i + 1);
        for (std::size_t t = 0; t < manager().testCountByDevice(device); ++t) {
            zel::TestImp const& test = *manager().testByDeviceAtIndex(device, t);
            out() << memberLine(test.keyInModule(), positionOfTest(test.keyInModule()), test.moduleGuid())
                  << endl;
        }
        out() << endl;
    }
    if (list.all().empty())
        out() << "No Tests Enumerated on any Device" << endl;
}

void CommStandAlone::sendEnumIndicators()
{
    auto const indicatorLine = [](zel::IndicatorImp const& one) {
        return memberLine(one.keyInModule(), positionOfIndicator(one.keyInModule()), one.moduleGuid());
    };
    std::size_t position = 0;
    zel::DeviceImp const* device = nullptr;
    while ((device = manager().nextDevice(device, zel::CapabilityImp::ALL()))) {
        ++position;
        if (manager().indicatorCountByDevice(*device) == 0)
            continue;
        printDeviceLine(*device, position);
        for (std::size_t i = 0; i < manager().indicatorCountByDevice(*device); ++i)
            out() << indicatorLine(*manager().indicatorByDeviceAtIndex(*device, i)) << endl;
        out() << endl;
    }
    if (manager().indicatorCount() == 0)
        out() << "No Indicators Enumerated on any Device" << endl;
    for (std::size_t i = 0; i < manager().indicatorCount(); ++i)
        if (manager().deviceCountByIndicator(*manager().indicatorAtIndex(i)) == 0)
            out() << indicatorLine(*manager().indicatorAtIndex(i)) << endl;
}

void CommStandAlone::sendFinalResult()
{
    zel::TestRunImp const* const run = currentRun();
    if (!run)
        return;
    if (!run->resultNote().empty()) {
        endOpenLine();
        printLine(run->resultNote().withoutControls(true));
    }
    printLine("\nFinal Result: " + run->result().toString() + "\n\n");
}

void CommStandAlone::sendMessageBox(zel::MessageBoxImp& box) { presentOnConsole(box); }

void CommStandAlone::sendDeviceUpdateMessage(IndicatorReturnData const& data, zel::DeviceImp& device)
{
    out() << "Device: " << device.guid() << endl;
    for (unsigned i = 0; i < data.propertyCount(); ++i) {
        zel::PropertyImp const& property = data.propertyAtIndex(i).imp();
        out() << "  " << inLine(property.key()) << ": " << inLine(property.value().toString()) << endl;
    }
}

void CommStandAlone::sendRequestDeviceAddition(zel::DeviceImp& device)
{
    ZEL_LOG(logger(), zel::LogLevel::Debug) << "sendRequestDeviceAddition";
    out() << "\n\tAdding Device: " << inLine(device.name()) << endl;
    for (std::size_t i = 0; i < device.propertyCount(); ++i)
        out() << "\t\tProperty: " << inLine(device.getProperty(i).key())
              << " Value: " << inLine(device.getProperty(i).value().toString()) << endl;
}

void CommStandAlone::sendRequestDeviceRemoval(zel::DeviceImp& device)
{
    ZEL_LOG(logger(), zel::LogLevel::Debug) << "sendRequestDeviceRemoval";
    out() << "\n\tRemoving Device: " << inLine(device.name()) << endl;
}

void CommStandAlone::sendRequestDevicePropertyAddition(zel::DeviceImp& device, zel::PropertyImp& property)
{
    ZEL_LOG(logger(), zel::LogLevel::Debug) << "sendRequestDevicePropertyAddition";
    out() << "\n\tAdding Property: " << inLine(property.key())
          << " Value: " << inLine(property.value().toString()) << " on device: " << inLine(device.name())
          << endl;
}

void CommStandAlone::sendRequestDevicePropertyRemoval(zel::DeviceImp& device, zel::PropertyImp& property)
{
    ZEL_LOG(logger(), zel::LogLevel::Debug) << "sendRequestDevicePropertyRemoval";
    out() << "\n\tRemoving Property: " << inLine(property.key())
          << " Value: " << inLine(property.value().toString()) << " on device: " << inLine(device.name())
          << endl;
}

// A person who watches has no other place to learn of it.
void CommStandAlone::sendRequestAlertAddition(zel::AlertImp const& alert)
{
    ZEL_LOG(logger(), zel::LogLevel::Debug) << "sendRequestAlertAddition";
    out() << "\n" << alertText(alert).withoutControls(true);
    out().flush();
}

void CommStandAlone::sendRequestAlertRemoval(zel::AlertImp const& alert)
{
    ZEL_LOG(logger(), zel::LogLevel::Debug) << "sendRequestAlertRemoval";
    out() << "\n\tRemoving Alert: " << inLine(alert.key()) << endl;
}

} // namespace krel5
