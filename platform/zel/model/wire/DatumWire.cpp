#include <zel/model/wire/DatumWire.h>

#include <zel/foundation/Exception.h>
#include <zel/model/wire/ConstantWire.h>
#include <zel/model/wire/TextWire.h>

namespace zel::wire {
namespace {

using Code = DataTypeImp::Code;

void writeMeasurement(XmlWriter& writer, DiscreteMeasurement const& measurement)
{
    writer.number("value", measurement.value());
    writeConstant(writer, "unit", measurement.unitType());
}

void writeMeasurement(XmlWriter& writer, NonDiscreteMeasurement const& measurement)
{
    writer.number("value", measurement.givenValue());
    writeConstant(writer, "unit", measurement.unitType());
    writeConstant(writer, "magnitude", measurement.givenMagnitude());
    writer.number("precision", measurement.givenPrecision());
}

DiscreteMeasurement readDiscrete(XmlReader const& reader)
{
    auto const unit = readConstant(reader, "unit", UnitType::NOUNIT());
    return DiscreteMeasurement(unit, reader.number<std::uint64_t>("value"));
}

NonDiscreteMeasurement readNonDiscrete(XmlReader const& reader)
{
    auto const unit = readConstant(reader, "unit", UnitType::NOUNIT());
    auto const magnitude = readConstant(reader, "magnitude", UnitMagnitude::BASEUNIT());
    int const precision = reader.number<int>("precision", 0);
    if (precision < 0 || precision > NonDiscreteMeasurement::kMaxPrecision)
        reader.fail("precision", "out of range");
    return NonDiscreteMeasurement(unit, reader.number<double>("value"), magnitude, precision);
}

template <typename Element, typename Write>
void writeItems(XmlWriter& writer, std::vector<Element> const& elements, Write write)
{
    for (Element const& element : elements) {
        writer.open("item");
        write(element);
        writer.close("item");
    }
}

void writeNumber(XmlWriter& writer, Number const& number, Code code)
{
    if (code == Code::DOUBLE || code == Code::PERCENT)
        writer.number("value", number.nearestReal());
    else if (code == Code::INT32)
        writer.number("value", number.asInteger().value());
    else
        writer.number("value", number.asUnsigned().value());
}

} // namespace

void writeValue(XmlWriter& writer, ValueImp const& value)
{
    Code const code = value.type().code();
    auto const asNumber = [&writer](auto number) { writer.number("value", number); };
    switch (code) {
    case Code::STRING:
        return writer.text("value", value.string());
    case Code::UINT32:
    case Code::INT32:
    case Code::UINT64:
    case Code::DOUBLE:
    case Code::PERCENT:
        return writeNumber(writer, value.number().value(), code);
    case Code::BOOLEAN:
        return writer.raw("value", value.boolean() ? "true" : "false");
    case Code::DISCRETEMEASUREMENT:
        return writeMeasurement(writer, value.discreteMeasurement());
    case Code::NONDISCRETEMEASUREMENT:
        return writeMeasurement(writer, value.nonDiscreteMeasurement());
    case Code::LOCALIZEDSTRING:
        return writeText(writer, "text", value.localizedString());
    case Code::STRINGARRAY:
        return writeItems(writer, value.stringArray(),
                          [&writer](String const& one) { writer.text("value", one); });
    case Code::UINT32ARRAY:
        return writeItems(writer, value.uint32Array(), asNumber);
    case Code::INT32ARRAY:
        return writeItems(writer, value.int32Array(), asNumber);
    case Code::DISCRETEMEASUREMENTARRAY:
        return writeItems(writer, value.discreteMeasurementArray(),
                          [&writer](auto const& one) { writeMeasurement(writer, one); });
    case Code::LOCALIZEDSTRINGARRAY:
        for (LocalizedStringImp const& one : value.localizedStringArray())
            writeText(writer, "text", one);
        return;
    }
}

void writeTypedValue(XmlWriter& writer, ValueImp const& value)
{
    writeConstant(writer, "type", value.type());
    writeValue(writer, value);
}

namespace {

// What stands in attributes of the element; empty where it stands in children.
ValueImp readAttributes(XmlReader const& reader, DataTypeImp const& type)
{
    switch (type.code()) {
    case Code::STRING:
        return ValueImp(reader.required("value"));
    case Code::UINT32:
        return ValueImp(reader.number<std::uint32_t>("value"));
    case Code::INT32:
        return ValueImp(reader.number<std::int32_t>("value"));
    case Code::UINT64:
        return ValueImp(reader.number<std::uint64_t>("value"));
    case Code::DOUBLE:
    case Code::PERCENT:
        return ValueImp(reader.number<double>("value"), type);
    case Code::BOOLEAN:
        if (!reader.has("value"))
            reader.fail("no attribute \"value\"");
        return ValueImp(reader.flag("value"));
    case Code::DISCRETEMEASUREMENT:
        return ValueImp(readDiscrete(reader));
    case Code::NONDISCRETEMEASUREMENT:
        return ValueImp(readNonDiscrete(reader));
    case Code::LOCALIZEDSTRING:
    case Code::STRINGARRAY:
    case Code::UINT32ARRAY:
    case Code::INT32ARRAY:
    case Code::DISCRETEMEASUREMENTARRAY:
    case Code::LOCALIZEDSTRINGARRAY:
        break;
    }
    return ValueImp(type);
}

} // namespace

ValueReader::ValueReader(XmlReader& reader, DataTypeImp const& type)
    : m_reader(reader), m_value(readAttributes(reader, type.isValid() ? type : DataTypeImp::STRING())),
      m_isComplete(type != DataTypeImp::LOCALIZEDSTRING())
{}

void ValueReader::take()
{
    if (m_reader.is("text"))
        takeText();
    else if (m_reader.is("item"))
        takeItem();
}

void ValueReader::takeText()
{
    if (m_value.type() == DataTypeImp::LOCALIZEDSTRINGARRAY())
        return append(readText(m_reader));
    if (m_value.type() != DataTypeImp::LOCALIZEDSTRING())
        return;
    if (m_isComplete)
        m_reader.fail("a second text");
    m_isComplete = true;
    m_value = ValueImp(readText(m_reader));
}

void ValueReader::takeItem()
{
    DataTypeImp const& type = m_value.type();
    if (type == DataTypeImp::STRINGARRAY())
        append(m_reader.required("value"));
    else if (type == DataTypeImp::UINT32ARRAY())
        append(m_reader.number<std::uint32_t>("value"));
    else if (type == DataTypeImp::INT32ARRAY())
        append(m_reader.number<std::int32_t>("value"));
    else if (type == DataTypeImp::DISCRETEMEASUREMENTARRAY())
        append(readDiscrete(m_reader));
}

template <typename Element>
void ValueReader::append(Element&& element)
{
    try {
        m_value.append(std::forward<Element>(element));
    } catch (InvalidArgumentException const& e) {
        m_reader.fail(e.getMessage());
    }
}

ValueImp ValueReader::finish()
{
    if (!m_isComplete)
        m_reader.fail("no text in a value of type " + m_value.type().toString());
    return std::move(m_value);
}

ValueImp readTypedValue(XmlReader& reader)
{
    if (!reader.has("type"))
        reader.fail("no attribute \"type\"");
    ValueReader value(reader, readConstant(reader, "type", DataTypeImp::STRING()));
    for (XmlReader::Children children(reader); children.next();)
        value.take();
    return value.finish();
}

} // namespace zel::wire
