#include <libKrel5/internal/backends/direct/CommDirectLink.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/StopRequest.h>
#include <libKrel5/internal/backends/console/CommStandAlone.h>
#include <libKrel5/internal/backends/direct/DirectLinkContext.h>
#include <libKrel5/internal/module/ErrorReporting.h>

#include <krel5/DeviceProperty.h>
#include <krel5/IndicatorReturnData.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/ipc/direct/ProcessLinkConfigurator.h>
#include <zel/model/state/StateManager.h>

#include <algorithm>

namespace krel5 {
namespace {

using Kind = zel::Change::Kind;
using zel::LogLevel;

constexpr std::uint32_t kPatience = 50; // milliseconds without a word of the client

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.Comm.DirectLink");
    return s_logger;
}

zel::ProcessLinkConfigurator& link() { return zel::ProcessLinkConfigurator::instance(); }
zel::StateManager& manager() { return zel::StateManager::instance(); }

// What cannot be done is the client's to know; the module goes on.
void process(zel::ClientMessage const& message)
{
    zel::String reason;
    try {
        DirectLinkContext context;
        message.process(context);
        return;
    } catch (zel::Exception const& e) {
        reason = e.getMessage();
    } catch (std::exception const& e) {
        reason = zel::String(e.what());
    }
    ZEL_LOG(logger(), LogLevel::Error) << message.toString() << ": " << reason;
    link().sendMessageEngineToClient(std::make_unique<zel::RequestRefusedEngineToClient>(reason));
}

// How the state is built is nothing that a client watches.
bool concernsClient(zel::Change const& change)
{
    switch (change.kind) {
    case Kind::DeviceAdded:
    case Kind::DeviceUpdated:
    case Kind::DeviceRemoved:
    case Kind::PropertyAdded:
    case Kind::PropertyRemoved:
    case Kind::AlertAdded:
    case Kind::AlertUpdated:
    case Kind::AlertRemoved:
        return true;
    case Kind::ModuleAdded:
    case Kind::PropertySpecAdded:
    case Kind::TestAdded:
    case Kind::IndicatorAdded:
    case Kind::IndicatorRunAdded:
    case Kind::AssociationAdded:
    case Kind::AssociationRemoved:
        return false;
    }
    return false;
}

void copyDevice(zel::String const& guid, zel::StateManager& state)
{
    zel::DeviceImp const* const device = manager().device(guid);
    if (!device || state.device(guid))
        return;
    for (std::size_t i = 0; i < device->propertyCount(); ++i)
        state.addPropertySpec(device->getProperty(i).spec(), false);
    state.addDevice(std::make_unique<zel::DeviceImp>(*device), nullptr);
}

void copyAlert(zel::String const& guid, zel::StateManager& state)
{
    for (std::size_t i = 0; i < manager().alertCount(); ++i)
        if (zel::AlertImp const& alert = *manager().alertAtIndex(i); alert.guid() == guid)
            return state.addAlert(alert);
}

void copySubject(zel::Change const& change, zel::StateManager& state)
{
    if (change.kind == Kind::AlertAdded || change.kind == Kind::AlertUpdated)
        copyAlert(change.guid, state);
    else if (change.kind != Kind::DeviceRemoved && change.kind != Kind::AlertRemoved)
        copyDevice(change.guid, state);
}

// Changes that the client does not take wait in the state manager, as their net.
void sendChanges()
{
    zel::AutoMutex const guard(libraryMutex());
    if (manager().heldChanges() == 0 || link().hasUnreadChanges())
        return;
    auto changes = manager().takeChanges();
    std::erase_if(changes, [](auto const& one) { return !concernsClient(one); });
    if (changes.empty())
        return;
    auto state = std::make_shared<zel::StateManager>();
    for (zel::Change const& one : changes)
        copySubject(one, *state);
    link().sendMessageEngineToClient(
        std::make_unique<zel::ChangesEngineToClient>(std::move(changes), std::move(state)));
}

} // namespace

bool CommDirectLink::openConnection()
{
    CommInterface::openConnection();
    if (link().openEngine())
        return true;
    ErrorReporting::tell("-dl: this process has no client that would listen");
    return false;
}

bool CommDirectLink::closeConnection()
{
    link().closeEngine();
    return CommInterface::closeConnection();
}

// A client that never stops asking gets its readings all the same.
bool CommDirectLink::receiveIndicatorMessages()
{
    link().setEngineIsReady();
    for (std::size_t i = 0; i < zel::ProcessLinkConfigurator::kMostRequests && !StopRequest::isMade(); ++i) {
        auto const message = link().receiveMessageEngineFromClient(kPatience);
        if (!message)
            break;
        process(*message);
    }
    sendChanges();
    return true;
}

bool CommDirectLink::receiveIndicatorRun()
{
    CommInterface::receiveIndicatorRun();
    return CommStandAlone().receiveIndicatorRun();
}

void CommDirectLink::receiveDevices() { CommStandAlone().receiveDevices(); }
bool CommDirectLink::hasAllDevices() const { return CommStandAlone().hasAllDevices(); }

bool CommDirectLink::receiveStopMessage() { return link().isStopWanted(); }

void CommDirectLink::sendEnumIndicators()
{
    CommInterface::sendEnumIndicators();
    DirectLinkContext().sendListing();
}

void CommDirectLink::sendDeviceUpdateMessage(IndicatorReturnData const& data, zel::DeviceImp& device)
{
    sendChanges(); // so that the client hears of a device before it hears what was read of it
    zel::Array<zel::PropertyImp> readings;
    for (unsigned i = 0; i < data.propertyCount(); ++i)
        readings.append(data.propertyAtIndex(i).imp());
    link().sendMessageEngineToClient(
        std::make_unique<zel::DeviceUpdateEngineToClient>(device, std::move(readings)));
}

} // namespace krel5
