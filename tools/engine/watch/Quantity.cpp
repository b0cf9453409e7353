#include <engine/watch/Quantity.h>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace engine {

// Words with which a key says that it counts what has happened since some beginning.
char const* const kCounting[] = {"count",    "counts",     "errors",  "error",   "events",
                                 "failures", "total",      "packets", "dropped", "resets",
                                 "cycles",   "interrupts", "faults",  "written", "read"};
std::size_t const kCountingCount = std::size(kCounting);

namespace {

struct Base
{
    zel::UnitType unit;
    char const* word;
    double factor; // of the unit in the base unit
};

Base const* baseOf(zel::UnitType const& unit)
{
    static Base const s_bases[] = {
        {zel::UnitType::NOUNIT(), "", 1},
        {zel::UnitType::HERTZ(), "hertz", 1},
        {zel::UnitType::BITS(), "bytes", 0.125},
        {zel::UnitType::BYTES(), "bytes", 1},
        {zel::UnitType::AMPS(), "amperes", 1},
        {zel::UnitType::VOLTS(), "volts", 1},
        {zel::UnitType::WATTS(), "watts", 1},
        {zel::UnitType::WATTHOURS(), "joules", 3600},
        {zel::UnitType::BITSPERSECOND(), "bytes_per_second", 0.125},
        {zel::UnitType::CELSIUS(), "celsius", 1},
        {zel::UnitType::METERS(), "meters", 1},
        {zel::UnitType::SECONDS(), "seconds", 1},
        {zel::UnitType::RPM(), "rpm", 1},
        {zel::UnitType::AMPEREHOURS(), "coulombs", 3600},
        {zel::UnitType::TRANSFERSPERSECOND(), "transfers_per_second", 1},
    };
    auto const found = std::find_if(std::begin(s_bases), std::end(s_bases),
                                    [&unit](Base const& one) { return one.unit == unit; });
    return found == std::end(s_bases) ? nullptr : found;
}

bool counts(std::string const& key)
{
    std::string const words = "_" + snakeCase(key);
    return std::any_of(kCounting, kCounting + kCountingCount,
                       [&words](std::string_view word) { return words.ends_with("_" + std::string(word)); });
}

Quantity inUnit(std::string const& key, zel::UnitType const& unit, double number, bool isWhole)
{
    Base const* const base = baseOf(unit);
    bool const mayCount = isWhole && (unit == zel::UnitType::NOUNIT() || unit == zel::UnitType::BYTES());
    return {number * base->factor, base->word, mayCount && counts(key)};
}

std::optional<Quantity> anyQuantity(std::string const& key, zel::ValueImp const& value)
{
    using Type = zel::DataTypeImp;
    if (value.type() == Type::BOOLEAN())
        return Quantity{value.boolean() ? 1.0 : 0.0, "", false};
    if (value.type() == Type::PERCENT())
        return Quantity{value.doubleValue() / 100, "ratio", false};
    if (value.type() == Type::DISCRETEMEASUREMENT()) {
        zel::DiscreteMeasurement const& one = value.discreteMeasurement();
        if (!baseOf(one.unitType()))
            return std::nullopt;
        return inUnit(key, one.unitType(), static_cast<double>(one.value()), true);
    }
    if (value.type() == Type::NONDISCRETEMEASUREMENT()) {
        zel::NonDiscreteMeasurement const& one = value.nonDiscreteMeasurement();
        if (!baseOf(one.unitType()))
            return std::nullopt;
        return inUnit(key, one.unitType(), one.value(zel::UnitMagnitude::BASEUNIT()), false);
    }
    if (value.type() == Type::DOUBLE())
        return Quantity{value.doubleValue(), "", false};
    if (value.type() == Type::UINT32() || value.type() == Type::UINT64())
        return inUnit(key, zel::UnitType::NOUNIT(), static_cast<double>(value.uint64()), true);
    if (value.type() == Type::INT32())
        return Quantity{static_cast<double>(value.int32()), "", false};
    return std::nullopt;
}

} // namespace

std::optional<Quantity> quantityOf(std::string const& key, zel::ValueImp const& value)
{
    auto const quantity = anyQuantity(key, value);
    return quantity && std::isfinite(quantity->number) ? quantity : std::nullopt;
}

// A new word begins at a capital behind a small letter or a digit, and at the last of several that a small letter follows.
std::string snakeCase(std::string const& key)
{
    auto const isUpper = [](char c) { return c >= 'A' && c <= 'Z'; };
    auto const isLower = [](char c) { return c >= 'a' && c <= 'z'; };
    auto const isDigit = [](char c) { return c >= '0' && c <= '9'; };
    std::string out;
    for (std::size_t i = 0; i < key.size(); ++i) {
        char const c = key[i];
        bool const startsWord = isUpper(c) && i > 0 &&
                                (isLower(key[i - 1]) || isDigit(key[i - 1]) ||
                                 (isUpper(key[i - 1]) && i + 1 < key.size() && isLower(key[i + 1])));
        bool const isPart = isUpper(c) || isLower(c) || isDigit(c);
        if ((startsWord || !isPart) && !out.empty() && out.back() != '_')
            out += '_';
        if (isPart)
            out += isUpper(c) ? static_cast<char>(c - 'A' + 'a') : c;
    }
    while (out.ends_with('_'))
        out.pop_back();
    return out;
}

} // namespace engine
