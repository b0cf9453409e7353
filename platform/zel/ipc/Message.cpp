#include <zel/ipc/Message.h>

#include <zel/ipc/BodyWire.h>
#include <zel/model/wire/Serializable.h>

#include <algorithm>
#include <type_traits>

namespace zel {
namespace {

constexpr std::string_view kFormat = "zel-message";
constexpr std::string_view kVersion = "2";
constexpr char kStateFollows = '\0'; // no document has one
constexpr std::string_view kStateElement = "StateManager";

// The head alone; a state has limits of its own.
constexpr XmlReader::Limits kHeadLimits{std::size_t{64} << 20, 32, 1'000'000, 32};

template <typename Body>
concept HasState = requires
{
    requires std::is_same_v<decltype(Body::state), std::shared_ptr<StateManager const>>;
};
// An update may come without one.
template <typename Body>
constexpr bool kNeedsState = HasState<Body> && !std::is_same_v<Body, UpdatesBody>;

template <typename Body>
void writeMessage(std::string& payload, std::string_view name, std::uint64_t number, Body const& body)
{
    XmlWriter writer(payload);
    writer.open(name);
    writer.raw("format", kFormat);
    writer.raw("version", kVersion);
    if (number != 0)
        writer.number("number", number);
    wire::writeBody(writer, body);
    writer.close(name);
    if constexpr (HasState<Body>) {
        if (!body.state && !kNeedsState<Body>)
            return;
        payload += kStateFollows;
        if constexpr (requires { body.stateDocument; })
            if (!body.stateDocument.empty()) {
                payload += body.stateDocument;
                return;
            }
        payload += body.state ? stateDocumentOf(*body.state) : stateDocumentOf(StateManager());
    }
}

[[noreturn]] void fail(String const& reason, std::size_t offset)
{
    throw DeserializationException(reason, String(), offset);
}

// The number of the message.
template <typename Body>
std::uint64_t readHead(std::string_view document, std::string_view name, Body& body)
{
    XmlReader reader(document, kHeadLimits);
    reader.openRoot();
    if (reader.raw("format") != kFormat || reader.name() != name)
        reader.fail("no message \"" + String(name) + "\"");
    if (reader.raw("version") != kVersion)
        reader.fail("version", "version \"" + reader.text("version") + "\" of the form is not known, only " +
                                   String(kVersion));
    auto const number = reader.number<std::uint64_t>("number", 0);
    wire::readBody(reader, body);
    reader.finish();
    return number;
}

template <typename Body>
std::uint64_t readMessage(std::string_view payload, std::string_view name, Body& body)
{
    std::size_t const headSize = std::min(payload.find(kStateFollows), payload.size());
    bool const hasState = headSize < payload.size();
    if (hasState != kNeedsState<Body> && !(hasState && HasState<Body>))
        fail(hasState ? "a state that does not belong here" : "no state", headSize);
    std::uint64_t const number = readHead(payload.substr(0, headSize), name, body);
    if constexpr (HasState<Body>) {
        if (!hasState)
            return number;
        auto state = std::make_shared<StateManager>();
        try {
            Serializable::deserializeUtf8(payload.substr(headSize + 1), *state);
        } catch (DeserializationException const& e) {
            throw DeserializationException(e.reason(), e.path(), headSize + 1 + e.offset());
        }
        body.state = std::move(state);
    }
    return number;
}

} // namespace

Message::~Message() = default;

std::string stateDocumentOf(StateManager const& state)
{
    return Serializable::serializeUtf8(state, kStateElement);
}

std::string Message::serialize() const
{
    std::string payload;
    write(payload);
    return payload;
}

std::unique_ptr<Message> Message::deserialize(int typeCode, std::string_view payload)
{
    std::unique_ptr<Message> message = readAny(typeCode, payload);
    if (message)
        message->m_receivedBytes = payload.size();
    return message;
}

template <typename Class>
std::unique_ptr<Message> Message::read(std::string_view payload)
{
    auto message = std::make_unique<Class>();
    message->m_number = readMessage(payload, message->name(), message->body());
    return message;
}

std::unique_ptr<Message> Message::readAny(int typeCode, std::string_view payload)
{
    switch (typeCode) {
#define ZEL_MESSAGE(Class, wireName, code, Body, level)                                                      \
    case Class::kTypeCode:                                                                                   \
        return read<Class>(payload);
#include <zel/ipc/Messages.def>
    default:
        return nullptr;
    }
}

String Message::toString() const { return String(name()) + " (" + String::number(typeCode()) + ")"; }

#define ZEL_MESSAGE(Class, wireName, code, Body, level)                                                      \
    void Class::write(std::string& payload) const { writeMessage(payload, name(), number(), m_body); }
#include <zel/ipc/Messages.def>

} // namespace zel
