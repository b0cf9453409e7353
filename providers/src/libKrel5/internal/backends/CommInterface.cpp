#include <libKrel5/internal/backends/CommInterface.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>

// The trace names are fixed, three of them not their operation's own: whoever reads traces knows them so.
#define TRACE(name) zel::TraceScope const trace(logger(), name, __LINE__)

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.Comm.Interface");
    return s_logger;
}

} // namespace

CommInterface::~CommInterface() = default;

bool CommInterface::openConnection()
{
    TRACE("openConnection");
    return true;
}

bool CommInterface::closeConnection()
{
    TRACE("closeConnection");
    return true;
}

bool CommInterface::receiveTestRun()
{
    TRACE("receiveTestRun");
    return false;
}

bool CommInterface::receiveIndicatorMessages()
{
    TRACE("receiveIndicatorMessages");
    return false;
}

bool CommInterface::receiveIndicatorRun()
{
    TRACE("receiveIndicatorMessages");
    return false;
}

void CommInterface::receiveDevices() { TRACE("receiveTestRun"); }

void CommInterface::sendPercentDoneMessage() { TRACE("sendPercentDoneMessage"); }

void CommInterface::sendEstimatedTimeLeftMessage() { TRACE("sendEstimatedTimeLeftMessage"); }

bool CommInterface::receiveStopMessage()
{
    TRACE("receiveStopMessage");
    return false;
}

void CommInterface::sendSetTimeOutMessage(unsigned) { TRACE("sendSetTimeOutMessage"); }

unsigned CommInterface::receiveGetTimeOutMessage()
{
    TRACE("receiveGetTimeOutMessage");
    return 0;
}

void CommInterface::sendClearTimeOutMessage() { TRACE("sendClearTimeOutMessage"); }

void CommInterface::sendProgressInformativeMessage() { TRACE("sendProgressInformativeMessage"); }

void CommInterface::sendEvent() { TRACE("sendEvent"); }

void CommInterface::sendVersion() { TRACE("sendVersion"); }

void CommInterface::sendAddDevice(zel::DeviceImp&) { TRACE("sendAddDevice"); }

void CommInterface::sendAddDevices() { TRACE("sendAddDevices"); }

void CommInterface::sendEnumTests() { TRACE("sendUpdateDevice"); }

void CommInterface::sendEnumIndicators() { TRACE("sendEnumIndicators"); }

void CommInterface::sendFinalResult() { TRACE("sendFinalResult"); }

void CommInterface::sendMessageBox(zel::MessageBoxImp&) { TRACE("sendMessageBox"); }

void CommInterface::sendDeviceUpdateMessage(IndicatorReturnData const&, zel::DeviceImp&)
{
    TRACE("sendDeviceUpdateMessage");
}

void CommInterface::sendRequestDeviceAddition(zel::DeviceImp&) { TRACE("sendRequestDeviceAddition"); }

void CommInterface::sendRequestDeviceRemoval(zel::DeviceImp&) { TRACE("sendRequestDeviceRemoval"); }

void CommInterface::sendRequestDevicePropertyAddition(zel::DeviceImp&, zel::PropertyImp&)
{
    TRACE("sendRequestDevicePropertyAddition");
}

void CommInterface::sendRequestDevicePropertyRemoval(zel::DeviceImp&, zel::PropertyImp&)
{
    TRACE("sendRequestDevicePropertyRemoval");
}

void CommInterface::sendRequestAlertRemoval(zel::AlertImp const&) { TRACE("sendRequestAlertRemoval"); }

zel::StateManager* CommInterface::getCurrentStateManagerFromEngine() { return nullptr; }

void CommInterface::propagateChanges() { ZEL_LOG(logger(), zel::LogLevel::Debug) << "propagateChanges"; }

bool CommInterface::hasReceivedMessage(int)
{
    throw zel::AssertionException("hasReceivedMessage is not overridden", __FILE__, __LINE__);
}

std::shared_ptr<CommMessageWaiter> CommInterface::createMessageWaiter() { return nullptr; }

bool CommInterface::httpGetRequest(zel::String const&, zel::String&, zel::String const&) { return false; }

void CommInterface::sendInternalError(zel::String const&) { TRACE("sendInternalError"); }

void CommInterface::sendRequestAlertAddition(zel::AlertImp const&) { TRACE("sendRequestAlertAddition"); }

} // namespace krel5
