#include <engine/report/RecordJson.h>

#include <engine/report/UtcTime.h>

#include <cmath>
#include <concepts>
#include <limits>
#include <type_traits>

namespace engine {

namespace {

using listing::JsonNode;
using listing::JsonWriter;
using Kind = JsonNode::Kind;

/// Const or not: written from, read into.
template <typename Given, typename Wanted>
concept Of = std::same_as<std::remove_const_t<Given>, Wanted>;

// The members of each record. `must` are those without which it says nothing.
template <typename Visit>
void members(Of<DeviceNamed> auto& device, Visit& visit)
{
    visit.may("guid", device.guid);
    visit.may("name", device.name);
    visit.may("description", device.description);
    visit.may("type", device.type);
    visit.may("location", device.location);
}

template <typename Visit>
void members(Of<SessionBegan> auto& record, Visit& visit)
{
    visit.must("time", record.time);
    visit.may("engineVersion", record.engineVersion);
    visit.may("command", record.command);
    visit.may("machine", record.machine);
    visit.may("serial", record.serial);
    visit.may("hostname", record.hostname);
    visit.may("system", record.system);
    visit.may("facts", record.facts);
    visit.may("plan", record.plan);
    visit.may("plannedRuns", record.plannedRuns);
}

template <typename Visit>
void members(Of<RunBegan> auto& record, Visit& visit)
{
    visit.must("time", record.time);
    visit.must("run", record.run);
    visit.may("moduleGuid", record.moduleGuid);
    visit.may("moduleVersion", record.moduleVersion);
    visit.may("program", record.program);
    visit.may("test", record.test);
    visit.may("testName", record.testName);
    visit.may("device", record.device);
    visit.may("parameters", record.parameters);
    visit.may("destructive", record.destructive);
    visit.may("forSeconds", record.forSeconds);
    visit.may("limitSeconds", record.limitSeconds);
    visit.may("again", record.again);
}

template <typename Visit>
void members(Of<RunEvent> auto& record, Visit& visit)
{
    visit.must("time", record.time);
    visit.must("run", record.run);
    visit.may("type", record.type);
    visit.may("key", record.key);
    visit.may("code", record.code);
    visit.may("message", record.message);
    visit.may("file", record.file);
    visit.may("line", record.line);
    visit.may("deviceName", record.deviceName);
    visit.may("tips", record.tips);
}

template <typename Visit>
void members(Of<RunQuestion> auto& record, Visit& visit)
{
    visit.must("time", record.time);
    visit.must("run", record.run);
    visit.may("title", record.title);
    visit.may("text", record.text);
    visit.may("answer", record.answer);
    visit.may("wasAnswered", record.wasAnswered);
}

template <typename Visit>
void members(Of<RunProgress> auto& record, Visit& visit)
{
    visit.must("time", record.time);
    visit.must("run", record.run);
    visit.may("percent", record.percent);
    visit.may("pass", record.pass);
}

template <typename Visit>
void members(Of<RunEnded> auto& record, Visit& visit)
{
    visit.must("time", record.time);
    visit.must("run", record.run);
    visit.must("result", record.result);
    visit.may("note", record.note);
    visit.may("seconds", record.seconds);
    visit.may("passes", record.passes);
    visit.may("exitStatus", record.exitStatus);
    visit.may("signal", record.signal);
    visit.may("output", record.output);
    visit.may("logTail", record.logTail);
}

template <typename Visit>
void members(Of<RunSkipped> auto& record, Visit& visit)
{
    visit.must("time", record.time);
    visit.may("moduleGuid", record.moduleGuid);
    visit.may("test", record.test);
    visit.may("deviceName", record.deviceName);
    visit.must("result", record.result);
    visit.may("reason", record.reason);
}

template <typename Visit>
void members(Of<SessionEnded> auto& record, Visit& visit)
{
    visit.must("time", record.time);
    visit.must("verdict", record.verdict);
    visit.may("exitStatus", record.exitStatus);
    visit.may("seconds", record.seconds);
}

template <typename Visit>
void members(Of<WatchedValue> auto& value, Visit& visit)
{
    visit.must("key", value.key);
    visit.may("name", value.name);
    visit.may("text", value.text);
    visit.may("number", value.number);
    visit.may("unit", value.unit);
}

template <typename Visit>
void members(Of<WatchReadings> auto& record, Visit& visit)
{
    visit.must("time", record.time);
    visit.may("moduleGuid", record.moduleGuid);
    visit.must("device", record.device);
    visit.must("readings", record.readings);
}

template <typename Visit>
void members(Of<WatchNote> auto& record, Visit& visit)
{
    visit.must("time", record.time);
    visit.may("moduleGuid", record.moduleGuid);
    visit.must("what", record.what);
    visit.may("deviceName", record.deviceName);
    visit.may("title", record.title);
    visit.may("message", record.message);
    visit.may("tips", record.tips);
}

// In the order of the alternatives of Record.
constexpr char const* kWords[] = {"session-began",  "run-began", "run-event",   "run-question",
                                  "run-progress",   "run-ended", "run-skipped", "session-ended",
                                  "watch-readings", "watch-note"};
static_assert(std::size(kWords) == std::variant_size_v<Record>);

class Writer
{
public:
    explicit Writer(JsonWriter& json) : m_json(json) {}

    template <typename Value>
    void may(char const* key, Value const& value)
    {
        m_json.key(key);
        write(value);
    }
    template <typename Value>
    void must(char const* key, Value const& value)
    {
        may(key, value);
    }
    template <typename Number>
    void may(char const* key, std::optional<Number> const& value) // absent where there is none
    {
        if (value)
            may(key, *value);
    }

private:
    void write(std::string const& text) { m_json.text(text); }
    void write(Time time) { m_json.text(utcText(time)); }
    void write(bool value) { m_json.truth(value); }
    void write(std::uint64_t value) { m_json.number(value); }
    void write(unsigned value) { m_json.number(std::uint64_t{value}); }
    void write(int value) { m_json.number(std::int64_t{value}); }
    void write(double value) { m_json.number(std::isfinite(value) ? value : 0.0); }
    void write(DeviceNamed const& device)
    {
        m_json.beginObject();
        members(device, *this);
        m_json.end();
    }
    void write(std::vector<WatchedValue> const& values)
    {
        m_json.beginArray();
        for (WatchedValue const& value : values) {
            m_json.beginObject();
            members(value, *this);
            m_json.end();
        }
        m_json.end();
    }
    void write(std::vector<std::string> const& texts)
    {
        m_json.beginArray();
        for (std::string const& text : texts)
            m_json.text(text);
        m_json.end();
    }
    void write(Facts const& facts) // an object would lose one of two of the same name, or their order
    {
        m_json.beginArray();
        for (auto const& [name, value] : facts)
            m_json.beginObject().key("name").text(name).key("value").text(value).end();
        m_json.end();
    }

    JsonWriter& m_json;
};

class Reader
{
public:
    Reader(JsonNode const& object, std::string const& name) : m_object(object), m_name(name) {}

    template <typename Value>
    void may(char const* key, Value& value)
    {
        if (JsonNode const* const node = m_object.member(key))
            read(key, *node, value);
    }
    template <typename Value>
    void must(char const* key, Value& value)
    {
        if (!m_object.member(key))
            refuse(std::string("no \"") + key + "\"");
        may(key, value);
    }

private:
    [[noreturn]] void refuse(std::string const& reason) const
    {
        listing::refuse(m_name, m_object.line, reason);
    }
    void want(bool isRight, char const* key, char const* what) const
    {
        if (!isRight)
            refuse(std::string("\"") + key + "\" is no " + what);
    }

    void read(char const* key, JsonNode const& node, std::string& text) const
    {
        want(node.kind == Kind::Text, key, "text");
        text = node.text;
    }
    void read(char const* key, JsonNode const& node, Time& time) const
    {
        std::optional<Time> const value = node.kind == Kind::Text ? utcTime(node.text) : std::nullopt;
        want(value.has_value(), key, "time");
        time = *value;
    }
    void read(char const* key, JsonNode const& node, bool& value) const
    {
        want(node.kind == Kind::Truth, key, "true or false");
        value = node.truth;
    }
    void read(char const* key, JsonNode const& node, std::uint64_t& value) const
    {
        want(node.kind == Kind::Unsigned, key, "whole number");
        value = node.whole;
    }
    void read(char const* key, JsonNode const& node, unsigned& value) const
    {
        want(node.kind == Kind::Unsigned && node.whole <= std::numeric_limits<unsigned>::max(), key,
             "whole number of 32 bits");
        value = static_cast<unsigned>(node.whole);
    }
    void read(char const* key, JsonNode const& node, int& value) const
    {
        constexpr std::int64_t kLow = std::numeric_limits<int>::min(),
                               kHigh = std::numeric_limits<int>::max();
        bool const isNegative =
            node.kind == Kind::Negative && node.negative >= kLow && node.negative <= kHigh;
        bool const isPositive = node.kind == Kind::Unsigned && node.whole <= std::uint64_t{kHigh};
        want(isNegative || isPositive, key, "whole number of 32 bits");
        value = isNegative ? static_cast<int>(node.negative) : static_cast<int>(node.whole);
    }
    void read(char const* key, JsonNode const& node, std::optional<int>& value) const
    {
        read(key, node, value.emplace());
    }
    void read(char const* key, JsonNode const& node, double& value) const
    {
        want(node.kind == Kind::Real || node.kind == Kind::Unsigned, key, "number that is not negative");
        value = node.kind == Kind::Real ? node.real : static_cast<double>(node.whole);
        want(value >= 0, key, "number that is not negative");
    }
    void read(char const* key, JsonNode const& node, std::optional<double>& value) const
    {
        want(node.kind == Kind::Real || node.kind == Kind::Unsigned || node.kind == Kind::Negative, key,
             "number");
        value = node.kind == Kind::Real       ? node.real
                : node.kind == Kind::Negative ? static_cast<double>(node.negative)
                                              : static_cast<double>(node.whole);
    }
    void read(char const* key, JsonNode const& node, std::vector<WatchedValue>& values) const
    {
        want(node.kind == Kind::Array, key, "list");
        for (JsonNode const& child : node.children) {
            want(child.kind == Kind::Object, key, "list of objects");
            Reader inside(child, m_name);
            members(values.emplace_back(), inside);
        }
    }
    void read(char const* key, JsonNode const& node, DeviceNamed& device) const
    {
        want(node.kind == Kind::Object, key, "object");
        Reader inside(node, m_name);
        members(device, inside);
    }
    void read(char const* key, JsonNode const& node, std::vector<std::string>& texts) const
    {
        want(node.kind == Kind::Array, key, "list");
        for (JsonNode const& child : node.children)
            read(key, child, texts.emplace_back());
    }
    void read(char const* key, JsonNode const& node, Facts& facts) const
    {
        want(node.kind == Kind::Array, key, "list");
        for (JsonNode const& child : node.children) {
            Reader inside(child, m_name);
            auto& [name, value] = facts.emplace_back();
            inside.must("name", name);
            inside.must("value", value);
        }
    }

    JsonNode const& m_object;
    std::string const& m_name;
};

// One function for each alternative: the words tell which.
template <std::size_t index = 0>
std::optional<Record> readAs(std::string const& word, Reader& reader)
{
    if constexpr (index < std::variant_size_v<Record>) {
        if (word != kWords[index])
            return readAs<index + 1>(word, reader);
        std::variant_alternative_t<index, Record> record;
        members(record, reader);
        return record;
    } else {
        return std::nullopt;
    }
}

} // namespace

char const* wordOf(Record const& record) { return kWords[record.index()]; }

void writeMembers(JsonWriter& json, Record const& record)
{
    json.key("record").text(wordOf(record));
    Writer writer(json);
    std::visit([&](auto const& one) { members(one, writer); }, record);
}

std::optional<Record> readRecord(JsonNode const& object, std::string const& name)
{
    if (object.kind != Kind::Object)
        listing::refuse(name, object.line, "no record, which is an object");
    std::string word;
    Reader reader(object, name);
    reader.must("record", word);
    return readAs(word, reader);
}

} // namespace engine
