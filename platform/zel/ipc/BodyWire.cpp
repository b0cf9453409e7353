#include <zel/ipc/BodyWire.h>

#include <zel/model/wire/ConstantWire.h>
#include <zel/model/wire/MessageBoxWire.h>
#include <zel/model/wire/RunWire.h>
#include <zel/model/wire/WordWire.h>

#include <utility>

namespace zel::wire {
namespace {

using Progress = ProgressBody::What;
using Update = UpdatesBody::What;

constexpr Word<Progress> kProgress[] = {{Progress::PercentDone, "percentDone"},
                                        {Progress::TimeLeft, "timeLeft"},
                                        {Progress::Information, "information"},
                                        {Progress::Events, "events"},
                                        {Progress::FinalResult, "finalResult"}};
constexpr Word<Update> kUpdates[] = {
    {Update::AddDevice, "addDevice"},     {Update::RemoveDevice, "removeDevice"},
    {Update::AddProperty, "addProperty"}, {Update::RemoveProperty, "removeProperty"},
    {Update::RemoveAlert, "removeAlert"}, {Update::Changes, "changes"},
    {Update::Readings, "readings"}};

constexpr std::pair<std::string_view, String ModuleBody::*> kModuleTexts[] = {
    {"guid", &ModuleBody::guid},
    {"type", &ModuleBody::type},
    {"moduleVersion", &ModuleBody::version},
    {"libraryVersion", &ModuleBody::libraryVersion}};

template <typename Enum, std::size_t Count>
Enum requiredWord(XmlReader const& reader, std::string_view attribute, Word<Enum> const (&words)[Count])
{
    if (!reader.has(attribute))
        reader.fail(String("no attribute \"") + String(attribute) + "\"");
    return readWord(reader, attribute, words[0].value, words);
}

} // namespace

void writeBody(XmlWriter&, NoBody const&) {}
void readBody(XmlReader&, NoBody&) {}
void writeBody(XmlWriter&, StateBody const&) {}
void readBody(XmlReader&, StateBody&) {}

void writeBody(XmlWriter& writer, ModuleBody const& body)
{
    for (auto const& [name, text] : kModuleTexts)
        writer.textIfAny(name, body.*text);
    writer.number("process", body.processId);
}

void readBody(XmlReader& reader, ModuleBody& body)
{
    for (auto const& [name, text] : kModuleTexts)
        body.*text = reader.text(name);
    body.processId = reader.number<std::int64_t>("process");
}

void writeBody(XmlWriter& writer, TestRunBody const& body)
{
    if (body.run)
        writeTestRun(writer, body.run->unbound(), false);
}

void readBody(XmlReader& reader, TestRunBody& body)
{
    for (XmlReader::Children children(reader); children.next();) {
        if (!reader.is("testRun"))
            continue;
        if (body.run)
            reader.fail("a second test run");
        body.run = readTestRun(reader);
    }
    if (!body.run)
        reader.fail("no test run");
}

void writeBody(XmlWriter& writer, IndicatorRunBody const& body)
{
    if (body.run)
        writeIndicatorRun(writer, *body.run);
}

void readBody(XmlReader& reader, IndicatorRunBody& body)
{
    for (XmlReader::Children children(reader); children.next();) {
        if (!reader.is("indicatorRun"))
            continue;
        if (body.run)
            reader.fail("a second indicator run");
        body.run = readIndicatorRun(reader);
    }
    if (!body.run)
        reader.fail("no indicator run");
}

void writeBody(XmlWriter& writer, ProgressBody const& body)
{
    writeWord(writer, "what", body.what, kProgress);
    writer.text("run", body.run);
    writeConstant(writer, "state", body.state);
    writeConstant(writer, "result", body.result);
    writer.textIfAny("resultNote", body.resultNote);
    if (body.isResultForced)
        writer.flag("resultForced", true);
    writer.number("pass", body.pass);
    writer.number("percent", body.percent);
    writer.number("timeLeft", body.timeLeft);
    writer.textIfAny("information", body.information);
    writer.flag("hadErrors", body.hadErrors);
    for (TestRunEventImp const& event : body.events)
        writeEvent(writer, event);
}

void readBody(XmlReader& reader, ProgressBody& body)
{
    body.what = requiredWord(reader, "what", kProgress);
    body.run = reader.required("run");
    body.state = readConstant(reader, "state", TestStateImp::NOTSTARTED());
    // A result that is not there must not become one that is.
    if (body.what == Progress::FinalResult && !reader.has("result"))
        reader.fail("a final result without a result");
    body.result = readConstant(reader, "result", TestResultImp());
    body.resultNote = reader.text("resultNote");
    body.isResultForced = reader.flag("resultForced");
    body.pass = reader.number<unsigned>("pass", 1);
    body.percent = reader.number<int>("percent", -1);
    if (body.percent < -1 || body.percent > 100)
        reader.fail("percent", "out of range");
    body.timeLeft = reader.number<unsigned>("timeLeft", 0);
    body.information = reader.text("information");
    body.hadErrors = reader.flag("hadErrors");
    for (XmlReader::Children children(reader); children.next();)
        if (reader.is("event"))
            body.events.push_back(readEvent(reader));
}

void writeBody(XmlWriter& writer, MessageBoxBody const& body)
{
    writer.number("id", body.id);
    writer.textIfAny("run", body.run);
    if (body.box)
        writeMessageBox(writer, *body.box);
}

void readBody(XmlReader& reader, MessageBoxBody& body)
{
    body.id = reader.number<std::uint64_t>("id");
    body.run = reader.text("run");
    for (XmlReader::Children children(reader); children.next();) {
        if (!reader.is("messageBox"))
            continue;
        if (body.box)
            reader.fail("a second message box");
        body.box = readMessageBox(reader);
    }
    if (!body.box)
        reader.fail("no message box");
}

void writeBody(XmlWriter& writer, AnswerBody const& body)
{
    writer.number("id", body.id);
    writer.number("code", body.code);
    writer.flag("cutShort", body.cutShort);
}

void readBody(XmlReader& reader, AnswerBody& body)
{
    body.id = reader.number<std::uint64_t>("id");
    body.code = reader.number<int>("code");
    body.cutShort = reader.flag("cutShort");
}

void writeBody(XmlWriter& writer, UpdatesBody const& body)
{
    writeWord(writer, "what", body.what, kUpdates);
    writer.textIfAny("device", body.device);
    writer.textIfAny("key", body.key);
    writer.textIfAny("alert", body.alert);
}

void readBody(XmlReader& reader, UpdatesBody& body)
{
    body.what = requiredWord(reader, "what", kUpdates);
    body.device = reader.text("device");
    body.key = reader.text("key");
    body.alert = reader.text("alert");
}

void writeBody(XmlWriter& writer, UpdateRequestBody const& body)
{
    writer.textIfAny("device", body.device);
    writer.textIfAny("property", body.property);
}

void readBody(XmlReader& reader, UpdateRequestBody& body)
{
    body.device = reader.text("device");
    body.property = reader.text("property");
}

void writeBody(XmlWriter& writer, TimeOutBody const& body)
{
    if (body.seconds)
        writer.number("seconds", *body.seconds);
}

void readBody(XmlReader& reader, TimeOutBody& body)
{
    if (reader.has("seconds"))
        body.seconds = reader.number<unsigned>("seconds");
}

void writeBody(XmlWriter& writer, ErrorBody const& body)
{
    writer.textIfAny("run", body.run);
    writer.textIfAny("text", body.text);
}

void readBody(XmlReader& reader, ErrorBody& body)
{
    body.run = reader.text("run");
    body.text = reader.text("text");
}

void writeBody(XmlWriter& writer, HttpRequestBody const& body)
{
    writer.textIfAny("url", body.url);
    writer.textIfAny("options", body.options);
}

void readBody(XmlReader& reader, HttpRequestBody& body)
{
    body.url = reader.text("url");
    body.options = reader.text("options");
}

void writeBody(XmlWriter& writer, HttpResponseBody const& body)
{
    writer.flag("succeeded", body.succeeded);
    writer.textIfAny("response", body.response);
}

void readBody(XmlReader& reader, HttpResponseBody& body)
{
    body.succeeded = reader.flag("succeeded");
    body.response = reader.text("response");
}

} // namespace zel::wire
