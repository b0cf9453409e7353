#include <zel/model/values/ValidRange.h>

#include <zel/model/values/ValueImp.h>

namespace zel {
namespace {

/// One item of the list: its text without the escapes, and where its two dots stand in it.
struct RawItem
{
    std::vector<String::Unit> m_units;
    std::size_t m_dots = String::npos;

    String part(std::size_t from, std::size_t to) const
    {
        return String(m_units.data() + from, to - from).trimmed();
    }
    String whole() const { return part(0, m_units.size()); }
    String low() const { return part(0, m_dots); }
    String high() const { return part(m_dots + 2, m_units.size()); }
};

std::vector<RawItem> splitItems(String const& text)
{
    std::vector<RawItem> items(1);
    for (std::size_t i = 0; i < text.size(); ++i) {
        RawItem& item = items.back();
        if (text[i] == '\\' && text[i + 1] != 0) { // a zero stands behind the last
            item.m_units.push_back(text[++i]);
            continue;
        }
        if (text[i] == ',') {
            items.emplace_back();
            continue;
        }
        if (text[i] == '.' && text[i + 1] == '.' && item.m_dots == String::npos) {
            item.m_dots = item.m_units.size();
            item.m_units.push_back(text[i++]);
        }
        item.m_units.push_back(text[i]);
    }
    return items;
}

} // namespace

std::optional<ValidRange> ValidRange::parse(String const& text, String& reason)
{
    ValidRange range;
    range.m_text = text;
    if (text.trimmed().empty())
        return range;
    std::vector<RawItem> const items = splitItems(text);
    if (items.size() > kMaxItems) {
        reason = String("a valid range has at most 4096 items");
        return std::nullopt;
    }
    for (RawItem const& raw : items) {
        bool const isSpan = raw.m_dots != String::npos;
        auto item = isSpan ? span(raw.low(), raw.high(), reason) : single(raw.whole(), reason);
        if (!item)
            return std::nullopt;
        range.m_items.push_back(*std::move(item));
    }
    return range;
}

std::optional<ValidRange::Item> ValidRange::single(String const& text, String& reason)
{
    if (text.empty()) {
        reason = String("the valid range has an empty item");
        return std::nullopt;
    }
    auto const number = Number::parse(text);
    return Item{text, number, number, false};
}

std::optional<ValidRange::Item> ValidRange::span(String const& low, String const& high, String& reason)
{
    String const shown = String("\"") + low + String("..") + high + String("\" of the valid range ");
    Item item{String(), Number::parse(low), Number::parse(high), true};
    if (low.empty() && high.empty()) {
        reason = shown + String("has neither end");
        return std::nullopt;
    }
    if ((!low.empty() && !item.m_low) || (!high.empty() && !item.m_high)) {
        reason = shown + String("has an end that is no number (plain units, as in 64..4096)");
        return std::nullopt;
    }
    if (item.m_low && item.m_high && *item.m_low > *item.m_high) {
        reason = shown + String("begins above its end");
        return std::nullopt;
    }
    return item;
}

bool ValidRange::isNumeric() const noexcept
{
    for (Item const& item : m_items)
        if (!item.m_low && !item.m_high)
            return false;
    return true;
}

bool ValidRange::containsNumber(Number const& number) const
{
    for (Item const& item : m_items) {
        bool const numeric = item.m_low || item.m_high;
        if (numeric && (!item.m_low || number >= *item.m_low) && (!item.m_high || number <= *item.m_high))
            return number == number; // a NaN is in no range
    }
    return false;
}

bool ValidRange::containsText(String const& text) const
{
    for (Item const& item : m_items)
        if (!item.m_isSpan && item.m_text == text)
            return true;
    return false;
}

template <typename T, typename Check>
bool ValidRange::containsAll(std::vector<T> const& elements, Check check) const
{
    for (T const& element : elements)
        if (!check(element))
            return false;
    return true;
}

bool ValidRange::contains(ValueImp const& value) const
{
    using Code = DataTypeImp::Code;
    if (takesEverything())
        return true;
    auto const inText = [this](String const& text) { return containsText(text); };
    auto const inCount = [this](DiscreteMeasurement const& one) {
        return containsNumber(Number::ofUnsigned(one.value()));
    };
    switch (value.type().code()) {
    case Code::UINT32:
    case Code::INT32:
    case Code::UINT64:
    case Code::DOUBLE:
    case Code::PERCENT:
        return containsNumber(*value.number());
    case Code::STRING:
        return containsText(value.string());
    case Code::BOOLEAN:
        return containsText(String(value.boolean() ? "true" : "false")) ||
               containsText(String(value.boolean() ? "1" : "0"));
    case Code::STRINGARRAY:
        return containsAll(value.stringArray(), inText);
    case Code::UINT32ARRAY:
        return containsAll(value.uint32Array(),
                           [this](std::uint32_t one) { return containsNumber(Number::ofUnsigned(one)); });
    case Code::INT32ARRAY:
        return containsAll(value.int32Array(),
                           [this](std::int32_t one) { return containsNumber(Number::ofInteger(one)); });
    case Code::DISCRETEMEASUREMENT:
        return inCount(value.discreteMeasurement());
    case Code::DISCRETEMEASUREMENTARRAY:
        return containsAll(value.discreteMeasurementArray(), inCount);
    case Code::NONDISCRETEMEASUREMENT:
        return containsNumber(
            Number::ofReal(value.nonDiscreteMeasurement().value(UnitMagnitude::BASEUNIT())));
    case Code::LOCALIZEDSTRING: // what it says depends on the language: nobody can list that
    case Code::LOCALIZEDSTRINGARRAY:
        break;
    }
    return true;
}

} // namespace zel
