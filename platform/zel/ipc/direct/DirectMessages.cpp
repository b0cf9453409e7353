#include <zel/ipc/direct/DirectMessages.h>

#include <zel/foundation/Exception.h>
#include <zel/ipc/direct/IndicatorContext.h>

namespace zel {
namespace {

std::size_t bytesOf(String const& text) { return sizeof text + 2 * text.size(); }

std::unique_ptr<DeviceImp> withoutProperties(DeviceImp const& device)
{
    auto copy = DeviceImp::restored({device.guid(), device.name(), device.description(), device.osLocator(),
                                     device.hwLocator(), device.deviceType(), device.deviceCapabilities(),
                                     device.busClass()});
    copy->setState(device.state());
    return copy;
}

std::size_t bytesOf(DeviceImp const& device)
{
    return sizeof device + bytesOf(device.guid()) + bytesOf(device.name()) + bytesOf(device.description()) +
           bytesOf(device.osLocator()) + bytesOf(device.hwLocator());
}

// The text of a value is about as long as the value: arrays have many elements, strings are what they are.
std::size_t bytesOf(Array<PropertyImp> const& readings)
{
    std::size_t sum = 0;
    for (PropertyImp const& one : readings)
        sum += sizeof one + bytesOf(one.value().toString());
    return sum;
}

} // namespace

void DirectMessage::write(std::string&) const
{
    throw AssertionException("a direct message does not leave the process", __FILE__, __LINE__);
}

std::size_t IndicatorMessage::bytes() const noexcept
{
    return sizeof *this + bytesOf(m_device) + bytesOf(m_indicator);
}

void WatchClientToEngine::process(IndicatorContext& context) const { context.watch(m_device, m_indicator); }

void ForceUpdateClientToEngine::process(IndicatorContext& context) const
{
    context.forceUpdate(m_device, m_indicator);
}

void SetUpdateIntervalClientToEngine::process(IndicatorContext& context) const
{
    context.setUpdateInterval(m_device, m_indicator, m_seconds);
}

void EnumerationRequestClientToEngine::process(IndicatorContext& context) const { context.sendListing(); }

void StopClientToEngine::process(IndicatorContext& context) const { context.stop(); }

DeviceUpdateEngineToClient::DeviceUpdateEngineToClient(DeviceImp const& device, Array<PropertyImp> readings)
    : m_device(withoutProperties(device)), m_readings(std::move(readings)),
      m_bytes(sizeof *this + bytesOf(*m_device) + bytesOf(m_readings))
{}

std::size_t RequestRefusedEngineToClient::bytes() const noexcept { return sizeof *this + bytesOf(m_reason); }

} // namespace zel
