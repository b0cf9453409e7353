#include <zel/model/wire/TextWire.h>

#include <zel/foundation/Exception.h>
#include <zel/model/values/ValueImp.h>
#include <zel/model/wire/DatumWire.h>

namespace zel::wire {

void writeText(XmlWriter& writer, std::string_view element, LocalizedStringImp const& text)
{
    writer.open(element);
    writer.textIfAny("key", text.key());
    writer.textIfAny("default", text.defaultText());
    writer.textIfAny("module", text.moduleGuid());
    if (text.overrideText())
        writer.text("override", *text.overrideText());
    for (auto const& variable : text.variables()) {
        writer.open("variable");
        writer.text("name", variable.first);
        writeTypedValue(writer, text.valueForVariable(variable.first));
        writer.close("variable");
    }
    writer.close(element);
}

LocalizedStringImp readText(XmlReader& reader)
{
    LocalizedStringImp text(reader.text("key"), reader.text("default"), reader.text("module"));
    if (reader.has("override"))
        text.setOverride(reader.text("override"));
    for (XmlReader::Children children(reader); children.next();) {
        if (reader.name() != "variable")
            continue;
        String const name = reader.required("name");
        if (text.variableIsSet(name))
            reader.fail("name", "variable \"" + name + "\" twice");
        try {
            text.setVariable(name, readTypedValue(reader));
        } catch (InvalidArgumentException const& e) {
            reader.fail(e.getMessage());
        }
    }
    return text;
}

} // namespace zel::wire
