#include <listing/saved/SavedValue.h>

#include <zel/foundation/Exception.h>

#include <limits>

namespace listing {

using namespace zel;

namespace {

using Kind = JsonNode::Kind;

[[noreturn]] void mismatch(char const* what)
{
    throw InvalidArgumentException(String(std::string("the value is not ") + what));
}

template <typename Number>
Number wholeOf(JsonNode const& node)
{
    using Limits = std::numeric_limits<Number>;
    if (node.kind == Kind::Unsigned && node.whole <= std::uint64_t{Limits::max()})
        return static_cast<Number>(node.whole);
    if constexpr (Limits::is_signed)
        if (node.kind == Kind::Negative && node.negative >= Limits::min())
            return static_cast<Number>(node.negative);
    mismatch(Limits::is_signed ? "a whole number of its size" : "a whole number of its size, or below zero");
}

double realOf(JsonNode const& node)
{
    switch (node.kind) {
    case Kind::Real:
        return node.real;
    case Kind::Unsigned:
        return static_cast<double>(node.whole);
    case Kind::Negative:
        return static_cast<double>(node.negative);
    case Kind::Null: // JSON has no other word for what is not finite
        return std::numeric_limits<double>::quiet_NaN();
    case Kind::Truth:
    case Kind::Text:
    case Kind::Array:
    case Kind::Object:
        break;
    }
    mismatch("a number");
}

String textOf(JsonNode const& node)
{
    if (node.kind != Kind::Text)
        mismatch("a text");
    return String(node.text);
}

bool truthOf(JsonNode const& node)
{
    if (node.kind != Kind::Truth)
        mismatch("true or false");
    return node.truth;
}

// A localized string is saved as the text that it had; in any language it is that text.
LocalizedStringImp localizedOf(JsonNode const& node)
{
    LocalizedStringImp text;
    text.setOverride(textOf(node));
    return text;
}

JsonNode const& memberOf(JsonNode const& node, char const* key)
{
    JsonNode const* const found = node.kind == Kind::Object ? node.member(key) : nullptr;
    if (!found)
        mismatch("a measurement, an object with \"value\" and \"unit\"");
    return *found;
}

UnitType unitOf(JsonNode const& node)
{
    String const word = textOf(memberOf(node, "unit"));
    UnitType const unit = UnitType::getConstantByString(word);
    if (!unit.isValid())
        throw InvalidArgumentException("there is no unit \"" + word + "\"");
    return unit;
}

DiscreteMeasurement measurementOf(JsonNode const& node)
{
    return {unitOf(node), wholeOf<std::uint64_t>(memberOf(node, "value"))};
}

NonDiscreteMeasurement readingOf(JsonNode const& node)
{
    JsonNode const* const precision = node.member("precision"); // absent in the form before there was a head
    double const value = realOf(memberOf(node, "value"));
    return {unitOf(node), value, UnitMagnitude::BASEUNIT(),
            precision ? wholeOf<std::int32_t>(*precision) : 3};
}

template <typename Element>
ValueImp listOf(JsonNode const& node, Element element)
{
    if (node.kind != Kind::Array || node.children.size() > ValueImp::kMaxElements)
        mismatch("a list");
    std::vector<decltype(element(node))> elements;
    elements.reserve(node.children.size());
    for (JsonNode const& child : node.children)
        elements.push_back(element(child));
    return ValueImp(std::move(elements));
}

} // namespace

ValueImp valueOf(JsonNode const& node, std::string const& type)
{
    DataTypeImp const wanted = DataTypeImp::getConstantByString(String(type));
    if (!wanted.isValid())
        throw InvalidArgumentException(String("there is no type \"" + type + "\""));
    switch (wanted.code()) {
    case DataTypeImp::Code::UINT32:
        return ValueImp(wholeOf<std::uint32_t>(node));
    case DataTypeImp::Code::INT32:
        return ValueImp(wholeOf<std::int32_t>(node));
    case DataTypeImp::Code::UINT64:
        return ValueImp(wholeOf<std::uint64_t>(node));
    case DataTypeImp::Code::DOUBLE:
    case DataTypeImp::Code::PERCENT:
        return ValueImp(realOf(node), wanted);
    case DataTypeImp::Code::BOOLEAN:
        return ValueImp(truthOf(node));
    case DataTypeImp::Code::STRING:
        return ValueImp(textOf(node));
    case DataTypeImp::Code::LOCALIZEDSTRING:
        return ValueImp(localizedOf(node));
    case DataTypeImp::Code::STRINGARRAY:
        return listOf(node, textOf);
    case DataTypeImp::Code::LOCALIZEDSTRINGARRAY:
        return listOf(node, localizedOf);
    case DataTypeImp::Code::UINT32ARRAY:
        return listOf(node, wholeOf<std::uint32_t>);
    case DataTypeImp::Code::INT32ARRAY:
        return listOf(node, wholeOf<std::int32_t>);
    case DataTypeImp::Code::DISCRETEMEASUREMENT:
        return ValueImp(measurementOf(node));
    case DataTypeImp::Code::DISCRETEMEASUREMENTARRAY:
        return listOf(node, measurementOf);
    case DataTypeImp::Code::NONDISCRETEMEASUREMENT:
        return ValueImp(readingOf(node));
    }
    mismatch("of a known type"); // no type of the table comes here
}

} // namespace listing
