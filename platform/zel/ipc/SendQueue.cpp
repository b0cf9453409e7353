#include <zel/ipc/SendQueue.h>

#include <zel/foundation/Exception.h>

namespace zel {
namespace {

// Events and results are each said once; a percentage, a time and a text are worth what the last one says.
std::string replaceableBy(Message const& message)
{
    if (message.typeCode() != TestProgressProviderToEngine::kTypeCode)
        return std::string();
    auto const& body = static_cast<TestProgressProviderToEngine const&>(message).body();
    switch (body.what) {
    case ProgressBody::What::PercentDone:
        return "%" + body.run.toUtf8();
    case ProgressBody::What::TimeLeft:
        return "t" + body.run.toUtf8();
    case ProgressBody::What::Information:
        return "i" + body.run.toUtf8();
    case ProgressBody::What::Events:
    case ProgressBody::What::FinalResult:
        break;
    }
    return std::string();
}

} // namespace

OutgoingFrame OutgoingFrame::of(Message const& message)
{
    OutgoingFrame frame;
    frame.payload = message.serialize();
    if (frame.payload.size() > FrameHeader::kMostPayload)
        throw InvalidArgumentException(message.toString() + " is larger than a message may be");
    FrameHeader header;
    header.typeCode = static_cast<std::uint16_t>(message.typeCode());
    header.payloadSize = static_cast<std::uint32_t>(frame.payload.size());
    frame.header = header.bytes();
    frame.priority = message.priority();
    frame.replaceable = replaceableBy(message);
    return frame;
}

void SendQueue::push(OutgoingFrame frame)
{
    m_bytes += frame.size();
    Level& level = m_levels[static_cast<std::size_t>(frame.priority)];
    if (!frame.replaceable.empty())
        m_replaceable[frame.replaceable] = {static_cast<std::size_t>(frame.priority),
                                            level.first + level.frames.size()};
    level.frames.push_back(std::move(frame));
}

void SendQueue::resume(OutgoingFrame frame)
{
    m_bytes = frame.size();
    m_front = std::move(frame);
}

bool SendQueue::replace(OutgoingFrame& frame)
{
    if (m_bytes <= kCalm || frame.replaceable.empty())
        return false;
    auto const found = m_replaceable.find(frame.replaceable);
    if (found == m_replaceable.end())
        return false;
    Level& level = m_levels[found->second.level];
    OutgoingFrame& old = level.frames[found->second.number - level.first];
    m_bytes += frame.size() - old.size();
    old = std::move(frame);
    return true;
}

OutgoingFrame const& SendQueue::front()
{
    for (Level* level = m_levels.data(); !m_front; ++level) {
        if (level->frames.empty())
            continue;
        m_front = std::move(level->frames.front());
        level->frames.pop_front();
        auto const place = m_replaceable.find(m_front->replaceable);
        if (place != m_replaceable.end() && place->second.number == level->first &&
            &m_levels[place->second.level] == level)
            m_replaceable.erase(place);
        ++level->first;
    }
    return *m_front;
}

void SendQueue::pop()
{
    m_bytes -= m_front->size();
    m_front.reset();
}

void SendQueue::clear()
{
    for (Level& level : m_levels) {
        level.first += level.frames.size();
        level.frames.clear();
    }
    m_front.reset();
    m_replaceable.clear();
    m_bytes = 0;
}

} // namespace zel
