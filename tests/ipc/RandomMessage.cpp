#include <ipc/RandomMessage.h>

#include <model/wire/RandomState.h>
#include <model/wire/StateDump.h>

#include <zel/model/wire/Serializable.h>

#include <sstream>

namespace zel::test {
namespace {

std::shared_ptr<StateManager const> stateOf(unsigned seed)
{
    RandomState made(seed); // its records are borrowed: a copy lives on
    auto state = std::make_shared<StateManager>();
    Serializable::deserializeUtf8(Serializable::serializeUtf8(made.state(), "S"), *state);
    return state;
}

std::uint64_t bigNumber(Random& random) { return std::uint64_t{random.number()} << 32 | random.number(); }

void fill(NoBody&, Random&) {}
void fill(ModuleBody& body, Random& random)
{
    body = {random.text(), random.text(), random.text(), random.text(),
            static_cast<std::int64_t>(bigNumber(random))};
}
void fill(StateBody& body, Random& random) { body.state = stateOf(random.number()); }
void fill(TestRunBody& body, Random& random)
{
    body.state = stateOf(random.number());
    body.run = TestRunImp::restored(random.name(), random.text(), random.text());
    body.run->setMinTime(random.number());
    body.run->setResultNote(random.text());
    body.run->restoreParameter({random.name(), random.value(), random.constant<ParameterSourceImp>()});
    body.run->addEvent(random.event());
}
void fill(IndicatorRunBody& body, Random& random)
{
    body.state = stateOf(random.number());
    body.run = IndicatorRunImp::restored(random.name(), random.text(), 90);
    if (random.chance())
        body.run->forceUpdate();
}
void fill(ProgressBody& body, Random& random)
{
    body = {static_cast<ProgressBody::What>(random.below(5)),
            random.text(),
            random.constant<TestStateImp>(),
            random.constant<TestResultImp>(),
            random.text(),
            random.chance(),
            random.number(),
            static_cast<int>(random.below(102)) - 1,
            random.number(),
            random.text(),
            random.chance(),
            {}};
    for (std::size_t i = random.below(4); i > 0; --i)
        body.events.push_back(random.event());
}
void fill(MessageBoxBody& body, Random& random) { body = {bigNumber(random), random.text(), random.box()}; }
void fill(AnswerBody& body, Random& random)
{
    body = {bigNumber(random), static_cast<int>(random.number()), random.chance()};
}
void fill(UpdatesBody& body, Random& random)
{
    body = {static_cast<UpdatesBody::What>(random.below(7)), random.text(), random.text(),
            random.chance() ? stateOf(random.number()) : nullptr, random.text()};
}
void fill(UpdateRequestBody& body, Random& random) { body = {random.text(), random.text()}; }
void fill(TimeOutBody& body, Random& random)
{
    if (random.chance())
        body.seconds = random.number();
}
void fill(ErrorBody& body, Random& random) { body = {random.text(), random.text()}; }
void fill(HttpRequestBody& body, Random& random) { body = {random.text(), random.text()}; }
void fill(HttpResponseBody& body, Random& random) { body = {random.chance(), random.text()}; }

/// Words that cannot run into one another; texts by their units, so that none is lost on the way to UTF-8.
class Words
{
public:
    Words& operator<<(String const& text)
    {
        for (std::size_t i = 0; i < text.size(); ++i)
            m_text << std::hex << static_cast<unsigned>(text.ucs2()[i]) << ' ';
        m_text << std::dec << "| ";
        return *this;
    }
    Words& operator<<(std::string const& lines)
    {
        m_text << lines << "| ";
        return *this;
    }
    template <typename Number>
    requires std::is_arithmetic_v<Number> Words& operator<<(Number number)
    {
        m_text << +number << "| ";
        return *this;
    }
    Words& operator<<(std::shared_ptr<StateManager const> const& state)
    {
        return *this << (state ? dump(*state) : std::string("none"));
    }
    std::string text() const { return m_text.str(); }

private:
    std::ostringstream m_text;
};

void say(Words&, NoBody const&) {}
void say(Words& words, ModuleBody const& body)
{
    words << body.guid << body.type << body.version << body.libraryVersion << body.processId;
}
void say(Words& words, StateBody const& body) { words << body.state; }
void say(Words& words, TestRunBody const& body)
{
    StateManager holder;
    holder.addTestRun(body.run.value());
    words << body.state << dump(holder);
}
void say(Words& words, IndicatorRunBody const& body)
{
    IndicatorRunImp const& run = body.run.value();
    words << body.state << run.indicatorGuidOrKey() << run.deviceGuid() << run.updateInterval()
          << run.hasBeenCalled() << run.hasUpdateBeenForced();
}
void say(Words& words, ProgressBody const& body)
{
    words << static_cast<int>(body.what) << body.run << body.state.toString() << body.result.toString()
          << body.resultNote << body.pass << body.percent << body.timeLeft << body.information
          << body.hadErrors;
    for (TestRunEventImp const& event : body.events)
        words << dump(event);
}
void say(Words& words, MessageBoxBody const& body) { words << body.id << body.run << dump(body.box.value()); }
void say(Words& words, AnswerBody const& body) { words << body.id << body.code << body.cutShort; }
void say(Words& words, UpdatesBody const& body)
{
    words << static_cast<int>(body.what) << body.device << body.key << body.state << body.alert;
}
void say(Words& words, UpdateRequestBody const& body) { words << body.device << body.property; }
void say(Words& words, TimeOutBody const& body)
{
    words << body.seconds.has_value() << body.seconds.value_or(0);
}
void say(Words& words, ErrorBody const& body) { words << body.run << body.text; }
void say(Words& words, HttpRequestBody const& body) { words << body.url << body.options; }
void say(Words& words, HttpResponseBody const& body) { words << body.succeeded << body.response; }

} // namespace

std::vector<int> allTypeCodes()
{
    return {
#define ZEL_MESSAGE(Class, wireName, code, Body, level) code,
#include <zel/ipc/Messages.def>
    };
}

std::unique_ptr<Message> randomMessage(int typeCode, unsigned seed)
{
    Random random(seed);
    switch (typeCode) {
#define ZEL_MESSAGE(Class, wireName, code, Body, level)                                                      \
    case code: {                                                                                             \
        auto message = std::make_unique<Class>();                                                            \
        fill(message->body(), random);                                                                       \
        message->setNumber(random.chance() ? bigNumber(random) : 0);                                         \
        return message;                                                                                      \
    }
#include <zel/ipc/Messages.def>
    default:
        return nullptr;
    }
}

std::string dump(Message const& message)
{
    Words words;
    words << message.typeCode() << message.number();
#define ZEL_MESSAGE(Class, wireName, code, Body, level)                                                      \
    if (auto const* const own = dynamic_cast<Class const*>(&message))                                        \
        say(words, own->body());
#include <zel/ipc/Messages.def>
    return words.text();
}

} // namespace zel::test
