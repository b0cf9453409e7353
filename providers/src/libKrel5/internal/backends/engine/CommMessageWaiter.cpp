#include <libKrel5/internal/backends/engine/CommMessageWaiter.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/Stopwatch.h>
#include <zel/ipc/Message.h>

#include <algorithm>

namespace krel5 {
namespace {

using zel::LogLevel;

constexpr std::uint32_t kSlice = 100; // milliseconds from one look at `isOver` to the next

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.CommMessageWaiter");
    return s_logger;
}

} // namespace

void CommMessageWaiter::setWantedMessageType(int typeCode)
{
    zel::AutoMutex const guard(m_typesMutex);
    m_wantedTypes.push_back(typeCode);
}

bool CommMessageWaiter::wantThisMessage(MessagePointer const& message)
{
    bool isWanted = false;
    {
        zel::AutoMutex const guard(m_typesMutex);
        isWanted =
            std::find(m_wantedTypes.begin(), m_wantedTypes.end(), message->typeCode()) != m_wantedTypes.end();
    }
    if (!isWanted) {
        ZEL_LOG(logger(), LogLevel::Debug) << "returning false";
        return false;
    }
    {
        zel::AutoMutex const guard(m_queueMutex);
        m_queue.push_back(message);
    }
    m_taken.post();
    ZEL_LOG(logger(), LogLevel::Debug) << "wantThisMessage() received: " << message->toString();
    ZEL_LOG(logger(), LogLevel::Debug) << "returning true";
    return true;
}

CommMessageWaiter::MessagePointer CommMessageWaiter::waitForMessage(std::uint32_t milliseconds,
                                                                    std::function<bool()> const& isOver,
                                                                    Receive const& receive)
{
    ZEL_LOG(logger(), LogLevel::Debug) << "waitForMessage() timeout: " << milliseconds << " before wait";
    if (!waitUntilTaken(milliseconds, isOver, receive)) {
        ZEL_LOG(logger(), LogLevel::Debug) << " wait failed";
        return nullptr;
    }
    ZEL_LOG(logger(), LogLevel::Debug) << " wait succeded"; // tools look for it as it is
    zel::AutoMutex const guard(m_queueMutex);
    if (m_queue.empty()) {
        ZEL_LOG(logger(), LogLevel::Error) << "Queue out of sync";
        return nullptr;
    }
    MessagePointer message = std::move(m_queue.front());
    m_queue.pop_front();
    return message;
}

// In slices, and not woken by a post that stands for no message: who takes a post finds a message.
bool CommMessageWaiter::waitUntilTaken(std::uint32_t milliseconds, std::function<bool()> const& isOver,
                                       Receive const& receive)
{
    auto const isTaken = [this] { return m_taken.wait(0); };
    if (!isOver && !receive)
        return m_taken.wait(milliseconds);
    zel::Stopwatch const watch;
    for (;;) {
        if (isOver && isOver())
            return isTaken();
        double const left = milliseconds == kForever ? kSlice : milliseconds - watch.getElapsed() * 1000;
        if (left <= 0)
            return isTaken();
        std::uint32_t const slice = std::min(kSlice, static_cast<std::uint32_t>(left) + 1);
        if (receive ? receive(slice, isTaken) : m_taken.wait(slice))
            return true;
    }
}

} // namespace krel5
