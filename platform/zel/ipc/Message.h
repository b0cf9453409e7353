#pragma once
// What engine and module say to each other: one class for each row of Messages.def.
//
//     zel::StopTestEngineToProvider stop;
//     server.queue(peer, stop);
//
//     if (auto const* run = dynamic_cast<zel::RunTestEngineToProvider const*>(message.get()))
//         use(run->body().run);
//
// Thread rule: a message belongs to one thread at a time; one that nobody changes any more may be read by several.

#include <zel/ipc/MessageBodies.h>

#include <zel/foundation/Export.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace zel {

class ZEL_EXPORT Message
{
public:
    /// Of two messages that wait to be sent the more urgent one goes first; of equals the older one.
    enum class Priority { Urgent, High, Normal, Low };

    virtual ~Message();

    virtual int typeCode() const noexcept = 0;
    virtual std::string_view name() const noexcept = 0;
    Priority priority() const noexcept { return m_priority; }
    void setPriority(Priority priority) noexcept { m_priority = priority; }
    /// Of a request that waits for a reply: which one it is in its process, from 1; of the reply: that of the request that
    /// it answers. 0: neither. A reply that comes late is known by it for what it is.
    std::uint64_t number() const noexcept { return m_number; }
    void setNumber(std::uint64_t number) noexcept { m_number = number; }
    /// Bytes of the payload that it was read from; 0 for one that did not come from anywhere.
    std::size_t receivedBytes() const noexcept { return m_receivedBytes; }

    /// The payload: a document of this message's name, format "zel-message" and version, and behind a NUL byte, where
    /// the body has a state, the state's document.
    std::string serialize() const;
    /// Null for a code that this version does not know. Throws DeserializationException for a payload that is none
    /// of its code, of another version, too large or too deep: then nothing of it counts.
    static std::unique_ptr<Message> deserialize(int typeCode, std::string_view payload);

    /// "{name} ({code})", for the log.
    String toString() const;

protected:
    explicit Message(Priority priority) noexcept : m_priority(priority) {}
    Message(Message const&) = default;
    Message& operator=(Message const&) = default;

private:
    static std::unique_ptr<Message> readAny(int typeCode, std::string_view payload);
    template <typename Class>
    static std::unique_ptr<Message> read(std::string_view payload);
    virtual void write(std::string& payload) const = 0;

    Priority m_priority;
    std::uint64_t m_number = 0;
    std::size_t m_receivedBytes = 0;
};

#define ZEL_MESSAGE(Class, wireName, code, Body, level)                                                      \
    class ZEL_EXPORT Class final : public Message                                                            \
    {                                                                                                        \
    public:                                                                                                  \
        static constexpr int kTypeCode = code;                                                               \
        Class() : Message(Priority::level) {}                                                                \
        explicit Class(Body body) : Message(Priority::level), m_body(std::move(body)) {}                     \
        int typeCode() const noexcept override { return kTypeCode; }                                         \
        std::string_view name() const noexcept override { return wireName; }                                 \
        Body const& body() const noexcept { return m_body; }                                                 \
        Body& body() noexcept { return m_body; }                                                             \
                                                                                                             \
    private:                                                                                                 \
        void write(std::string& payload) const override;                                                     \
        Body m_body;                                                                                         \
    };
#include <zel/ipc/Messages.def>

} // namespace zel
