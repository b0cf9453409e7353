#include <zel/model/wire/RunWire.h>

#include <zel/model/wire/ConstantWire.h>
#include <zel/model/wire/DatumWire.h>
#include <zel/model/wire/TextWire.h>

#include <cmath>

namespace zel::wire {
namespace {

void writeParameter(XmlWriter& writer, TestRunImp::ParameterValue const& parameter)
{
    writer.open("parameter");
    writer.text("key", parameter.key);
    writeConstant(writer, "source", parameter.source);
    writeTypedValue(writer, parameter.value);
    writer.close("parameter");
}

double readSeconds(XmlReader const& reader, std::string_view attribute)
{
    auto const seconds = reader.number<double>(attribute, 0);
    if (!std::isfinite(seconds) || seconds < 0)
        reader.fail(attribute, "no time");
    return seconds;
}

} // namespace

void writeEvent(XmlWriter& writer, TestRunEventImp const& event)
{
    writer.open("event");
    writeConstant(writer, "type", event.type());
    writer.textIfAny("key", event.key());
    writer.number("code", event.eventCode());
    writer.textIfAny("codeText", event.eventCodeString());
    writer.textIfAny("file", event.sourceFile());
    writer.number("line", event.sourceLine());
    writeText(writer, "message", event.message());
    if (event.device()) {
        writer.open("device");
        writer.textIfAny("guid", event.device()->m_guid);
        writer.textIfAny("name", event.device()->m_name);
        writer.textIfAny("description", event.device()->m_description);
        writer.close("device");
    }
    for (std::size_t i = 0; i < event.tipCount(); ++i)
        writeText(writer, "tip", event.tip(i));
    writer.close("event");
}

TestRunEventImp readEvent(XmlReader& reader)
{
    TestRunEventImp event(readConstant(reader, "type", EventTypeImp()), reader.text("key"),
                          reader.number<int>("code", 0), reader.text("codeText"), LocalizedStringImp());
    event.setSource(reader.text("file"), reader.number<int>("line", 0));
    for (XmlReader::Children children(reader); children.next();) {
        if (reader.name() == "message")
            event.setMessage(readText(reader));
        else if (reader.name() == "device")
            event.setDevice({reader.text("guid"), reader.text("name"), reader.text("description")});
        else if (reader.name() == "tip")
            event.addTip(readText(reader));
    }
    return event;
}

void writeTestRun(XmlWriter& writer, TestRunImp const& run, bool isBound)
{
    writer.open("testRun");
    writer.text("guid", run.guid());
    writer.textIfAny("test", run.testGuidOrKey());
    writer.textIfAny("device", run.deviceGuid());
    writer.flag("bound", isBound);
    writeConstant(writer, "state", run.state());
    writeConstant(writer, "result", run.result());
    writer.textIfAny("resultNote", run.resultNote());
    if (run.isResultForced())
        writer.flag("resultForced", true);
    writer.number("pass", run.currentPass());
    writer.number("percent", run.percentComplete());
    writer.number("timeLeft", run.estimatedTimeLeft());
    writer.textIfAny("progress", run.progressInformation());
    writer.number("minTime", run.minTime());
    writer.number("began", run.beginningTime());
    writer.flag("hadErrors", run.hasErrors());
    writer.flag("interrupted", run.isInterrupted());
    for (auto const& one : run.givenParameters())
        writeParameter(writer, one);
    for (TestRunEventImp const& event : run.events())
        writeEvent(writer, event);
    writer.close("testRun");
}

TestRunImp readTestRun(XmlReader& reader)
{
    if (reader.required("guid").empty())
        reader.fail("guid", "a test run without guid");
    auto run = TestRunImp::restored(reader.text("guid"), reader.text("test"), reader.text("device"));
    run.setState(readConstant(reader, "state", TestStateImp::NOTSTARTED()));
    run.setFinalResult(readConstant(reader, "result", TestResultImp()));
    run.setResultNote(reader.text("resultNote"));
    run.setResultForced(reader.flag("resultForced"));
    run.setCurrentPass(reader.number<unsigned>("pass", 1));
    run.setPercentComplete(reader.number<int>("percent", -1));
    if (run.percentComplete() < -1 || run.percentComplete() > 100)
        reader.fail("percent", "out of range");
    run.setEstimatedTimeLeft(reader.number<unsigned>("timeLeft", 0));
    run.setProgressInformation(reader.text("progress"));
    run.setMinTime(reader.number<unsigned>("minTime", 0));
    run.setBeginningTime(reader.number<std::uint64_t>("began", 0));
    bool const hadErrors = reader.flag("hadErrors"), isInterrupted = reader.flag("interrupted");
    for (XmlReader::Children children(reader); children.next();) {
        if (reader.name() == "parameter") {
            String const key = reader.required("key");
            auto const source = readConstant(reader, "source", ParameterSourceImp::CLIENT());
            run.restoreParameter({key, readTypedValue(reader), source});
        } else if (reader.name() == "event") {
            run.addEvent(readEvent(reader));
        }
    }
    run.restoreFindings(hadErrors, isInterrupted);
    return run;
}

void writeIndicatorRun(XmlWriter& writer, IndicatorRunImp const& run)
{
    writer.open("indicatorRun");
    writer.text("indicator", run.indicatorGuidOrKey());
    writer.textIfAny("device", run.deviceGuid());
    writer.number("interval", run.updateInterval());
    writer.number("elapsed", run.elapsedSinceLastCall());
    writer.flag("called", run.hasBeenCalled());
    writer.flag("forced", run.hasUpdateBeenForced());
    writer.close("indicatorRun");
}

IndicatorRunImp readIndicatorRun(XmlReader& reader)
{
    auto run = IndicatorRunImp::restored(reader.required("indicator"), reader.text("device"),
                                         readSeconds(reader, "interval"));
    run.restoreClock(readSeconds(reader, "elapsed"), reader.flag("called"));
    if (reader.flag("forced"))
        run.forceUpdate();
    return run;
}

} // namespace zel::wire
