#include <zel/model/wire/AlertWire.h>

#include <zel/model/wire/ConstantWire.h>
#include <zel/model/wire/TextWire.h>

namespace zel::wire {
namespace {

void writeTip(XmlWriter& writer, TipImp const& tip)
{
    writer.open("tip");
    writer.textIfAny("key", tip.key());
    writeConstant(writer, "type", tip.type());
    writeText(writer, "title", tip.title());
    writeText(writer, "content", tip.content());
    writeText(writer, "contentEx", tip.contentEx());
    writer.close("tip");
}

TipImp readTip(XmlReader& reader)
{
    TipImp tip(reader.text("key"), readConstant(reader, "type", TipTypeImp()));
    for (XmlReader::Children children(reader); children.next();) {
        if (reader.name() == "title")
            tip.title() = readText(reader);
        else if (reader.name() == "content")
            tip.content() = readText(reader);
        else if (reader.name() == "contentEx")
            tip.contentEx() = readText(reader);
    }
    return tip;
}

} // namespace

void writeAlert(XmlWriter& writer, AlertImp const& alert)
{
    writer.open("alert");
    if (alert.hasOwnGuid())
        writer.text("guid", alert.guid());
    writer.textIfAny("key", alert.key());
    writer.textIfAny("module", alert.moduleGuid());
    writer.textIfAny("device", alert.deviceGuid());
    writeConstant(writer, "type", alert.type());
    writer.number("time", alert.timeTriggered());
    writeText(writer, "title", alert.title());
    writeText(writer, "message", alert.message());
    for (std::size_t i = 0; i < alert.tipCount(); ++i)
        writeTip(writer, alert.tip(i));
    writer.close("alert");
}

std::unique_ptr<AlertImp> readAlert(XmlReader& reader)
{
    auto alert = std::make_unique<AlertImp>(reader.text("module"), reader.text("key"),
                                            readConstant(reader, "type", AlertTypeImp()));
    alert->setDeviceGuid(reader.text("device"));
    if (reader.has("guid"))
        alert->setGuid(reader.text("guid"));
    alert->setTimeTriggered(reader.number<std::uint32_t>("time", 0));
    for (XmlReader::Children children(reader); children.next();) {
        if (reader.name() == "title")
            alert->title() = readText(reader);
        else if (reader.name() == "message")
            alert->message() = readText(reader);
        else if (reader.name() == "tip")
            alert->addTip(readTip(reader));
    }
    return alert;
}

} // namespace zel::wire
