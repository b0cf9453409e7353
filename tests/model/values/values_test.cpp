#include <zel/foundation/Exception.h>
#include <zel/model/texts/GlobalParameters.h>
#include <zel/model/values/Number.h>
#include <zel/model/values/ValidRange.h>
#include <zel/model/values/ValueImp.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <set>

using namespace zel;
using Type = DataTypeImp;

namespace {

constexpr auto kUint32Max = std::numeric_limits<std::uint32_t>::max();
constexpr auto kInt32Min = std::numeric_limits<std::int32_t>::min();
constexpr auto kInt32Max = std::numeric_limits<std::int32_t>::max();
constexpr auto kUint64Max = std::numeric_limits<std::uint64_t>::max();
constexpr double kTwoTo53 = 9007199254740992.0;

std::string utf8(String const& text) { return text.toUtf8(); }
ValueImp real(double number) { return ValueImp(number, Type::DOUBLE()); }
ValueImp percent(double number) { return ValueImp(number, Type::PERCENT()); }

std::vector<Type> allTypes()
{
    std::vector<Type> types;
    for (int index = 0; index < Type::count(); ++index)
        types.push_back(Type(static_cast<Type::Code>(index)));
    return types;
}

DiscreteMeasurement bytes(std::uint64_t count) { return {UnitType::BYTES(), count}; }

LocalizedStringImp textWithVariables()
{
    LocalizedStringImp text("Key", "{n} of {name}", "module");
    text.setVariable("n", ValueImp(3u));
    text.setVariable("name", ValueImp("a,b\n{n}"));
    return text;
}

/// One or more values of every type, limits included.
std::vector<ValueImp> samples()
{
    std::vector<ValueImp> values{
        ValueImp(0u),
        ValueImp(kUint32Max),
        ValueImp(kInt32Min),
        ValueImp(-1),
        ValueImp(kInt32Max),
        ValueImp(kUint64Max),
        real(0.1),
        real(-0.0),
        real(5e-324),
        real(std::numeric_limits<double>::max()),
        real(std::nan("")),
        real(-std::numeric_limits<double>::infinity()),
        percent(12.5),
        ValueImp(true),
        ValueImp(false),
        ValueImp(""),
        ValueImp("Za\u017C\u00F3\u0142\u0107 \U0001F600, \\ \"x\""),
        ValueImp(std::vector<String>{"", "a,b", "c\\"}),
        ValueImp(std::vector<std::uint32_t>{0, kUint32Max}),
        ValueImp(std::vector<std::int32_t>{kInt32Min, kInt32Max}),
        ValueImp(bytes(kUint64Max)),
        ValueImp(DiscreteMeasurement(UnitType::HEXADECIMAL16(), 31)),
        ValueImp(std::vector<DiscreteMeasurement>{bytes(1), bytes(2)}),
        ValueImp(NonDiscreteMeasurement(UnitType::VOLTS(), 3.3, UnitMagnitude::MILLI(), 2)),
        ValueImp(textWithVariables()),
        ValueImp(std::vector<LocalizedStringImp>{textWithVariables(), {}})};
    for (Type const& type : allTypes())
        values.emplace_back(type);
    return values;
}

} // namespace

// Reading as another type is exact or refused: a row names every type beside its own as which a value may be
// read.
TEST(Value, isReadAsAnotherTypeOnlyWithoutLoss)
{
    std::set<std::string> const none;
    std::set<std::string> const allNumbers{"UINT32", "INT32", "UINT64", "DOUBLE"};
    struct Row
    {
        ValueImp value;
        std::set<std::string> others;
    };
    std::vector<Row> const rows{
        {ValueImp(7u), allNumbers},
        {ValueImp(kUint32Max), {"UINT64", "DOUBLE"}},
        {ValueImp(7), allNumbers},
        {ValueImp(0), allNumbers},
        {ValueImp(-7), {"DOUBLE"}},
        {ValueImp(std::uint64_t{7}), allNumbers},
        {ValueImp(std::uint64_t{kUint32Max}), {"UINT32", "DOUBLE"}},
        {ValueImp(std::uint64_t{kUint32Max} + 1), {"DOUBLE"}},
        {real(0), {"UINT32", "INT32", "UINT64", "PERCENT"}},
        {ValueImp((std::uint64_t{1} << 53) + 1), none}, // no double holds it
        {ValueImp(std::uint64_t{1} << 63), {"DOUBLE"}},
        {ValueImp(kUint64Max), none},
        {real(7), {"UINT32", "INT32", "UINT64", "PERCENT"}},
        {real(7.5), {"PERCENT"}},
        {real(-7), {"INT32", "PERCENT"}},
        {real(2147483648.0), {"UINT32", "UINT64", "PERCENT"}},
        {real(-2147483649.0), {"PERCENT"}},
        {real(18446744073709551616.0), {"PERCENT"}}, // 2^64: one too many
        {real(std::nan("")), {"PERCENT"}},
        {real(std::numeric_limits<double>::infinity()), {"PERCENT"}},
        {percent(7), {"DOUBLE"}},
        {ValueImp(true), none},
        {ValueImp("7"), none},
        {ValueImp(bytes(7)), none},
        {ValueImp(std::vector<std::uint32_t>{7}), none},
        {ValueImp(std::vector<std::int32_t>{7}), none},
        {ValueImp(LocalizedStringImp("7")), none},
    };
    for (Row const& row : rows) {
        for (Type const& type : allTypes()) {
            bool const expected = type == row.value.type() || row.others.count(utf8(type.toString())) > 0;
            auto const converted = row.value.as(type);
            std::string const what =
                utf8(row.value.type().toString() + " " + row.value.toString() + " as " + type.toString());
            EXPECT_EQ(row.value.typeOkay(type), expected) << what;
            ASSERT_EQ(converted.has_value(), expected) << what;
            EXPECT_TRUE(!converted || converted->type() == type) << what;
        }
    }
    EXPECT_EQ(ValueImp(7).uint64(), 7u);
    EXPECT_EQ(real(-7).int32(), -7);
    EXPECT_EQ(ValueImp(kUint32Max).doubleValue(), 4294967295.0);
    EXPECT_THROW(ValueImp(-1).uint32(), InvalidArgumentException);
    EXPECT_THROW(ValueImp("x").stringArray(), InvalidArgumentException);
}

TEST(Value, ofALongTakesTheFirstTypeThatHoldsIt)
{
    std::map<std::int64_t, std::string> const rows{
        {kInt32Min, "INT32"},
        {kInt32Max, "INT32"},
        {std::int64_t{kInt32Max} + 1, "UINT32"},
        {kUint32Max, "UINT32"},
        {std::int64_t{kUint32Max} + 1, "UINT64"},
        {std::numeric_limits<std::int64_t>::max(), "UINT64"},
    };
    for (auto const& [number, type] : rows) {
        EXPECT_EQ(utf8(ValueImp(number).type().toString()), type) << number;
        EXPECT_EQ(utf8(ValueImp(number).toString()), std::to_string(number));
    }
    EXPECT_FALSE(ValueImp::fromInt64(std::int64_t{kInt32Min} - 1));
    EXPECT_THROW(ValueImp(std::int64_t{kInt32Min} - 1), InvalidArgumentException);
    EXPECT_THROW(ValueImp(1.0, Type::STRING()), InvalidArgumentException);
}

TEST(Value, crossesToTheEngineAndBackUnchanged)
{
    std::set<int> seen;
    for (ValueImp const& value : samples()) {
        String reason;
        auto const back = ValueImp::fromZELValue(value.toZELValue(), reason);
        ASSERT_TRUE(back) << utf8(value.type().toString()) << ": " << utf8(reason);
        EXPECT_TRUE(*back == value) << utf8(value.type().toString() + " " + value.toString());
        seen.insert(value.type().index());
    }
    EXPECT_EQ(static_cast<int>(seen.size()), Type::count()) << "a type has no sample";
    auto const zero = ValueImp::fromZELValue(real(-0.0).toZELValue(), *std::make_unique<String>());
    EXPECT_TRUE(std::signbit(zero->doubleValue()));
}

TEST(Value, refusesTextsFromOutsideThatAreNoValue)
{
    std::vector<String> const key{"Key", "", "", "false", "", "1"};
    auto with = [](std::vector<String> texts, std::vector<String> const& more) {
        texts.insert(texts.end(), more.begin(), more.end());
        return texts;
    };
    std::vector<ZELValue> const rows{
        {Type(), {"1"}},
        {Type::UINT32(), {}},
        {Type::UINT32(), {"1", "2"}},
        {Type::UINT32(), {"4294967296"}},
        {Type::UINT32(), {" 1"}},
        {Type::INT32(), {"1.0"}},
        {Type::STRING(), {}},
        {Type::DOUBLE(), {}},
        {Type::DOUBLE(), {"1", "2"}},
        {Type::DOUBLE(), {"1,5"}},
        {Type::DOUBLE(), {"1e999"}},
        {Type::BOOLEAN(), {"yes"}},
        {Type::INT32ARRAY(), {"1", ""}},
        {Type::DISCRETEMEASUREMENT(), {"BYTES"}},
        {Type::DISCRETEMEASUREMENT(), {"PARSECS", "1"}},
        {Type::DISCRETEMEASUREMENT(), {"BYTES", "-1"}},
        {Type::DISCRETEMEASUREMENTARRAY(), {"BYTES", "1", "BYTES"}},
        {Type::NONDISCRETEMEASUREMENT(), {"VOLTS", "1", "HUGE", "2"}},
        {Type::NONDISCRETEMEASUREMENT(), {"VOLTS", "1", "MILLI"}},
        {Type::LOCALIZEDSTRING(), {"Key"}},
        {Type::LOCALIZEDSTRING(), key},
        {Type::LOCALIZEDSTRING(), with(key, {"n", "UINT32", "99999999999", "1"})},
        {Type::LOCALIZEDSTRING(), with(key, {"n", "UINT32", "1", "x"})},
        {Type::LOCALIZEDSTRING(), with(key, {"n", "LOCALIZEDSTRING", "6", "K", "", "", "false", "", "0"})},
        {Type::LOCALIZEDSTRING(), with(key, {"n", "UINT32", "1", "1", "left over"})},
    };
    for (ZELValue const& row : rows) {
        String reason;
        EXPECT_FALSE(ValueImp::fromZELValue(row, reason))
            << utf8(row.type().toString()) << ' ' << row.texts().size();
        EXPECT_FALSE(reason.empty());
    }
}

TEST(Value, isParsedAndPrinted)
{
    struct Row
    {
        Type type;
        char const* text;
        char const* printed; ///< null: refused
    };
    std::vector<Row> const rows{
        {Type::UINT32(), " 42 ", "42"},
        {Type::UINT32(), "0x2A", "42"},
        {Type::UINT32(), "4294967295", "4294967295"},
        {Type::UINT32(), "4294967296", nullptr},
        {Type::UINT32(), "-1", nullptr},
        {Type::UINT32(), "4 2", nullptr},
        {Type::UINT32(), "", nullptr},
        {Type::UINT32(), "0x", nullptr},
        {Type::UINT32(), "0x2A.5", nullptr},
        {Type::UINT32(), "1.5", nullptr},
        {Type::INT32(), "-2147483648", "-2147483648"},
        {Type::INT32(), "-2147483649", nullptr},
        {Type::INT32(), "--1", nullptr},
        {Type::INT32(), "+1", nullptr},
        {Type::UINT64(), "18446744073709551615", "18446744073709551615"},
        {Type::UINT64(), "18446744073709551616", nullptr},
        {Type::DOUBLE(), "0.1", "0.1"},
        {Type::DOUBLE(), "-1.5e3", "-1500"},
        {Type::DOUBLE(), "1e5", "100000"},
        {Type::DOUBLE(), "-0.0001", "-0.0001"},
        {Type::DOUBLE(), "999999999999999.9", "999999999999999.9"},
        {Type::DOUBLE(), "1e15", "1e+15"},
        {Type::DOUBLE(), "0.000001", "1e-06"},
        {Type::PERCENT(), "100000", "100000%"},
        {Type::DOUBLE(), "0,1", nullptr},
        {Type::DOUBLE(), "nan", nullptr},
        {Type::DOUBLE(), "inf", nullptr},
        {Type::DOUBLE(), "1e999", nullptr},
        {Type::DOUBLE(), "1.5x", nullptr},
        {Type::PERCENT(), "12.5", "12.5%"},
        {Type::PERCENT(), "12.5 %", "12.5%"},
        {Type::PERCENT(), "%", nullptr},
        {Type::BOOLEAN(), "TRUE", "true"},
        {Type::BOOLEAN(), "0", "false"},
        {Type::BOOLEAN(), "yes", nullptr},
        {Type::STRING(), " as it is ", " as it is "},
        {Type::STRINGARRAY(), "a, b ,c\\,d,\\\\", "a, b, c,d, \\"},
        {Type::STRINGARRAY(), "", ""},
        {Type::UINT32ARRAY(), "1,2, 0x10", "1, 2, 16"},
        {Type::UINT32ARRAY(), "1,,2", nullptr},
        {Type::INT32ARRAY(), "-1", "-1"},
        {Type::DISCRETEMEASUREMENT(), "16 GiB", "16 GiB"},
        {Type::DISCRETEMEASUREMENT(), "1.5KiB", "1.5 KiB"},
        {Type::DISCRETEMEASUREMENT(), "2400 MHz", "2.4 GHz"},
        {Type::DISCRETEMEASUREMENT(), "18446744073709551615 BYTES", "16384 PiB"},
        {Type::DISCRETEMEASUREMENT(), "16384 PiB", nullptr}, // 2^64: one too many
        {Type::DISCRETEMEASUREMENT(), "0 KiB", "0 B"},
        {Type::DISCRETEMEASUREMENT(), "2.4E3 MHz", "2.4 GHz"},
        {Type::DISCRETEMEASUREMENT(), "-1 KiB", nullptr},
        {Type::DISCRETEMEASUREMENT(), "0x001f", "0x001F"},
        {Type::DISCRETEMEASUREMENT(), "0x00000000000000001", nullptr},
        {Type::DISCRETEMEASUREMENT(), "12", "12"},
        {Type::DISCRETEMEASUREMENT(), "12 parsecs", nullptr},
        {Type::DISCRETEMEASUREMENT(), "GiB", nullptr},
        {Type::DISCRETEMEASUREMENTARRAY(), "1 KiB, 1 MiB", "1 KiB, 1 MiB"},
        {Type::NONDISCRETEMEASUREMENT(), "3.30 V", "3.30 V"},
        {Type::NONDISCRETEMEASUREMENT(), "-40 \u00B0C", "-40 \u00B0C"},
        {Type::NONDISCRETEMEASUREMENT(), "0x1F", nullptr},
        {Type::LOCALIZEDSTRING(), "Some.Key", "Some.Key"},
        {Type(), "1", nullptr},
    };
    for (Row const& row : rows) {
        String reason;
        auto const value = ValueImp::parse(row.text, row.type, reason);
        std::string const what = utf8(row.type.toString()) + " \"" + row.text + "\"";
        ASSERT_EQ(value.has_value(), row.printed != nullptr) << what << ' ' << utf8(reason);
        if (value)
            EXPECT_EQ(utf8(value->toString()), row.printed) << what;
        else
            EXPECT_NE(utf8(reason).find(utf8(String(row.text).trimmed())), std::string::npos) << utf8(reason);
    }
    EXPECT_THROW(ValueImp(String("x"), Type::UINT32()), ParseException);
}

TEST(Value, equalityNeedsSameTypeAndDatum)
{
    EXPECT_TRUE(real(std::nan("")) == real(std::nan("")));
    EXPECT_FALSE(real(std::nan("")) == real(5));
    EXPECT_FALSE(real(5) == real(std::nan("")));
    EXPECT_FALSE(ValueImp(5u) == ValueImp(5));
    EXPECT_FALSE(real(5) == percent(5));
    EXPECT_FALSE(ValueImp("a") == ValueImp(std::vector<String>{"a"}));
    EXPECT_TRUE(ValueImp(bytes(5)) == ValueImp(bytes(5)));
    EXPECT_FALSE(ValueImp(bytes(5)) == ValueImp(DiscreteMeasurement(UnitType::BITS(), 5)));
}

TEST(Value, arrayTakesOnlyItsOwnElements)
{
    ValueImp numbers(Type::UINT32ARRAY());
    numbers.append(std::uint32_t{7});
    EXPECT_THROW(numbers.append(std::int32_t{7}), InvalidArgumentException);
    EXPECT_THROW(numbers.append(String("7")), InvalidArgumentException);
    EXPECT_EQ(numbers.uint32Array(), std::vector<std::uint32_t>{7});
    ValueImp scalar("x");
    EXPECT_THROW(scalar.append(String("y")), InvalidArgumentException);
    EXPECT_EQ(scalar.elementCount(), 1u);
}

TEST(Value, arrayHasALimitOnEveryWayIn)
{
    std::vector<std::uint32_t> most(ValueImp::kMaxElements - 1);
    ValueImp appended(most);
    EXPECT_NO_THROW(appended.append(std::uint32_t{0}));
    EXPECT_THROW(appended.append(std::uint32_t{0}), InvalidArgumentException);
    for (bool const fits : {true, false}) {
        std::vector<String> texts(ValueImp::kMaxElements + (fits ? 0 : 1), String("0"));
        std::string line(texts.size() * 2 - 1, '0');
        for (std::size_t i = 1; i < line.size(); i += 2)
            line[i] = ',';
        String reason;
        EXPECT_EQ(ValueImp::parse(String(line), Type::UINT32ARRAY(), reason).has_value(), fits);
        EXPECT_EQ(ValueImp::fromZELValue(ZELValue(Type::UINT32ARRAY(), std::move(texts)), reason).has_value(),
                  fits);
    }
}

TEST(Number, isAnIntegerWhereOneOf64BitsHoldsIt)
{
    auto const integer = [](char const* text) { return Number::parse(text)->asInteger(); };
    EXPECT_EQ(integer("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(integer("9223372036854775808"), std::nullopt);
    EXPECT_EQ(integer("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(integer("-9223372036854775809"), std::nullopt);
    EXPECT_EQ(integer("9223372036854775808.0"), std::nullopt);
    EXPECT_EQ(integer("-9223372036854775808.0"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(integer("1e300"), std::nullopt);
    EXPECT_EQ(integer("-2.0"), -2);
    EXPECT_EQ(integer("-2.5"), std::nullopt);
}

TEST(ValidRange, contains)
{
    struct Row
    {
        char const* range;
        ValueImp value;
        bool inside;
    };
    std::vector<Row> const rows{
        {"", ValueImp("anything"), true},
        {"1..16, 32, 64..", ValueImp(16u), true},
        {"1..16, 32, 64..", ValueImp(17u), false},
        {"1..16, 32, 64..", ValueImp(32), true},
        {"1..16, 32, 64..", ValueImp(kUint64Max), true},
        {"5..5", ValueImp(5), true},
        {"..-1", ValueImp(-1), true},
        {"..-1", ValueImp(0), false},
        {"0x10..0x1F", ValueImp(31u), true},
        {"9007199254740993", ValueImp(std::uint64_t{9007199254740993}),
         true}, // 2^53 + 1, which no double holds
        {"9007199254740993", ValueImp(std::uint64_t{9007199254740992}), false},
        {"..9007199254740992", real(kTwoTo53), true},
        {"..9007199254740991", real(kTwoTo53), false},
        {"..18446744073709551615", real(18446744073709551616.0), false},
        {"..0.0", ValueImp(0), true},
        {"0.5..1.5", ValueImp(1), true},
        {"0.5..1.5", ValueImp(2), false},
        {"-1.5..-0.5", ValueImp(-1), true},
        {"-1.5..-0.5", ValueImp(0), false},
        {"..", real(0), false}, // is malformed; see below
        {"0..", real(std::nan("")), false},
        {"0..100", percent(100), true},
        {"0..100", percent(100.1), false},
        {"fast, thorough", ValueImp("thorough"), true},
        {"fast, thorough", ValueImp("Fast"), false},
        {"fast, 5", ValueImp(7), false},
        {"a\\,", ValueImp("a,"), true},
        {"a\\", ValueImp("a\\"), true}, // escapes nothing
        {"a\\,b, c\\..d", ValueImp("a,b"), true},
        {"a\\,b, c\\..d", ValueImp("c..d"), true},
        {"1..9", ValueImp("5"), false}, // a text is no number
        {"true", ValueImp(true), true},
        {"true", ValueImp(false), false},
        {"1..3", ValueImp(std::vector<std::uint32_t>{1, 3}), true},
        {"1..3", ValueImp(std::vector<std::uint32_t>{1, 4}), false},
        {"1..3", ValueImp(Type::INT32ARRAY()), true},
        {"a,b", ValueImp(std::vector<String>{"b", "x"}), false},
        {"1024..", ValueImp(bytes(1024)), true},
        {"1024..", ValueImp(bytes(1023)), false},
        {"3.2..3.4", ValueImp(NonDiscreteMeasurement(UnitType::VOLTS(), 3300, UnitMagnitude::MILLI(), 0)),
         true},
        {"x", ValueImp(LocalizedStringImp("Key")), true},
    };
    for (Row const& row : rows) {
        String reason;
        auto const range = ValidRange::parse(row.range, reason);
        EXPECT_EQ(range && range->contains(row.value), row.inside)
            << row.range << " with " << utf8(row.value.toString()) << ' ' << utf8(reason);
    }
}

TEST(ValidRange, reportsWhatIsMalformed)
{
    std::string many = "1";
    for (int i = 1; i < 4096; ++i)
        many += ",1";
    String none;
    EXPECT_TRUE(ValidRange::parse(many, none)) << utf8(none);
    many += ",1";
    for (std::string const& text :
         {std::string(".."), std::string("1..2,,3"), std::string(","), std::string("a..b"),
          std::string("1..x"), std::string("5..1"), std::string("1..2..3"), many}) {
        String reason;
        EXPECT_FALSE(ValidRange::parse(text, reason)) << text.substr(0, 20);
        EXPECT_FALSE(reason.empty());
    }
}

TEST(Measurement, isScaledAndPrinted)
{
    using U = UnitType;
    using M = UnitMagnitude;
    struct Row
    {
        U unit;
        std::uint64_t count;
        M magnitude;
        char const* printed;
    };
    std::vector<Row> const rows{
        {U::BYTES(), 17179869184u, M::AUTOSCALEUNIT(), "16 GiB"},
        {U::BYTES(), 1023, M::AUTOSCALEUNIT(), "1023 B"},
        {U::BYTES(), 1024, M::AUTOSCALEUNIT(), "1 KiB"},
        {U::BYTES(), 1500, M::AUTOSCALEUNIT(), "1500 B"}, // short and not round: nothing is lost
        {U::BYTES(), 9216, M::AUTOSCALEUNIT(), "9 KiB"},
        {U::BYTES(), 9999, M::AUTOSCALEUNIT(), "9999 B"},
        {U::BYTES(), 10752, M::AUTOSCALEUNIT(), "10.5 KiB"},
        {U::BYTES(), 1536, M::KILO(), "1.5 KiB"},
        {U::BYTES(), 1048570, M::AUTOSCALEUNIT(), "1023.99 KiB"},
        {U::BYTES(), 1048575, M::AUTOSCALEUNIT(), "1 MiB"},
        {U::BYTES(), 1048575, M::KILO(), "1024 KiB"}, // asked for
        {U::HERTZ(), 999999999, M::AUTOSCALEUNIT(), "1 GHz"},
        {U::METERS(), 999999, M::AUTOSCALEUNIT(), "1000 km"}, // nothing above it
        {U::BYTES(), 500107862016u, M::GIGA(), "465.76 GiB"},
        {U::BYTES(), 1, M::KILO(), "0.000977 KiB"},
        {U::BYTES(), 3, M::MILLI(), "3072 mB"},
        {U::BYTES(), 0, M::AUTOSCALEUNIT(), "0 B"},
        {U::HERTZ(), 0, M::AUTOSCALEUNIT(), "0 Hz"},
        {U::BYTES(), kUint64Max, M::BASEUNIT(), "18446744073709551615 B"},
        {U::BITS(), 2048, M::AUTOSCALEUNIT(), "2 Kibit"},
        {U::BITSPERSECOND(), 1000000000, M::AUTOSCALEUNIT(), "1 Gbit/s"},
        {U::HERTZ(), 2400000000u, M::AUTOSCALEUNIT(), "2.4 GHz"},
        {U::HERTZ(), 2399999999u, M::MEGA(), "2400 MHz"},
        {U::RPM(), 7200, M::AUTOSCALEUNIT(), "7200 rpm"},
        {U::TRANSFERSPERSECOND(), 2666000000u, M::AUTOSCALEUNIT(), "2666 MT/s"},
        {U::TRANSFERSPERSECOND(), 8000000000u, M::GIGA(), "8 GT/s"},
        {U::SECONDS(), 3600, M::AUTOSCALEUNIT(), "3600 s"},
        {U::SECONDS(), 3600, M::KILO(), "3.6 ks"},
        {U::NOUNIT(), 1000000, M::AUTOSCALEUNIT(), "1000000"},
        {U::HEXADECIMAL8(), 0x1F, M::AUTOSCALEUNIT(), "0x1F"},
        {U::HEXADECIMAL16(), 0x1F, M::MEGA(), "0x001F"},
        {U::HEXADECIMAL32(), 0xDEADBEEF, M::BASEUNIT(), "0xDEADBEEF"},
        {U::HEXADECIMAL64(), 0, M::BASEUNIT(), "0x0000000000000000"},
        {U::HEXADECIMAL8(), 0x1FF, M::BASEUNIT(), "0x1FF"}, // wider than its unit: nothing is cut
    };
    for (Row const& row : rows)
        EXPECT_EQ(utf8(DiscreteMeasurement(row.unit, row.count).toString(row.magnitude)), row.printed)
            << row.printed;

    EXPECT_EQ(DiscreteMeasurement(U::HERTZ(), 2.4, M::GIGA()).value(), 2400000000u);
    EXPECT_EQ(DiscreteMeasurement(U::BYTES(), 1.5, M::KILO()).value(), 1536u);
    EXPECT_EQ(DiscreteMeasurement(U::BYTES(), 0.0, M::KILO()).value(), 0u);
    EXPECT_EQ(bytes(17179869184u).value(M::AUTOSCALEUNIT()), 16.0);
    for (double impossible : {-1.0, 1e300, std::nan(""), 18446744073709551616.0})
        EXPECT_THROW(DiscreteMeasurement(U::BYTES(), impossible, M::BASEUNIT()), InvalidArgumentException);
}

TEST(Measurement, ofARealNumberKeepsItsPrecision)
{
    using U = UnitType;
    using M = UnitMagnitude;
    NonDiscreteMeasurement const rail(U::VOLTS(), 3.3, M::BASEUNIT(), 2);
    EXPECT_EQ(utf8(rail.toString(-1, M::BASEUNIT())), "3.30 V");
    EXPECT_EQ(utf8(rail.toString(1, M::MILLI())), "3300.0 mV");
    EXPECT_EQ(utf8(rail.toString()), "3.30 V");
    EXPECT_EQ(rail.precision(M::MILLI()), 0);
    EXPECT_EQ(rail.precision(M::KILO()), 5);
    EXPECT_EQ(rail.value(M::MILLI()), 3300.0);
    EXPECT_EQ(utf8(NonDiscreteMeasurement(U::AMPS(), -0.25, M::BASEUNIT(), 3).toString()), "-250 mA");
    EXPECT_EQ(utf8(NonDiscreteMeasurement(U::CELSIUS(), 0.5, M::BASEUNIT(), 1).toString()), "0.5 \u00B0C");
    EXPECT_EQ(utf8(NonDiscreteMeasurement(U::SECONDS(), 1e-15, M::BASEUNIT(), 15).toString(-1)), "0.001 ps");

    NonDiscreteMeasurement const link(U::TRANSFERSPERSECOND(), 8, M::GIGA(), 1);
    EXPECT_EQ(utf8(link.toString()), "8.0 GT/s") << "beyond what counts of transfers are scaled to";
    EXPECT_EQ(utf8(link.toString(-1, M::MEGA())), "8000 MT/s");
    NonDiscreteMeasurement const nearlyOne(U::VOLTS(), 999.96, M::MILLI(), 1);
    EXPECT_EQ(utf8(nearlyOne.toString()), "1.0000 V");
    EXPECT_EQ(utf8(nearlyOne.toString(0)), "1 V");
    EXPECT_EQ(utf8(nearlyOne.toString(2)), "999.96 mV");
    EXPECT_EQ(utf8(NonDiscreteMeasurement(U::CELSIUS(), -0.04, M::BASEUNIT(), 1).toString()), "0.0 \u00B0C");

    // In the magnitude it was given in a value comes back as it was; in others it is rounded once.
    for (double value : {0.1, 0.7, 1e-300, 1e300})
        for (M const& magnitude : {M::PICO(), M::MILLI(), M::KILO(), M::PETA()})
            EXPECT_EQ(NonDiscreteMeasurement(U::VOLTS(), value, magnitude, 3).value(magnitude), value);
    EXPECT_EQ(NonDiscreteMeasurement(U::VOLTS(), 0.7, M::MILLI(), 1).value(M::BASEUNIT()), 0.0007);
    EXPECT_EQ(utf8(NonDiscreteMeasurement(U::VOLTS(), 1e300, M::PETA(), 0).toString(30, M::PICO())),
              "inf pV");
    EXPECT_EQ(NonDiscreteMeasurement(U::VOLTS(), 1e300, M::BASEUNIT(), 0).toString(99, M::BASEUNIT()).size(),
              301u + 1 + 30 + 2)
        << "the most digits there can be";

    EXPECT_TRUE(NonDiscreteMeasurement(U::VOLTS(), 1.5, M::KILO(), 3) ==
                NonDiscreteMeasurement(U::VOLTS(), 1500, M::BASEUNIT(), 0));
    EXPECT_FALSE(rail == NonDiscreteMeasurement(U::VOLTS(), 3.3, M::BASEUNIT(), 3));
    EXPECT_FALSE(rail == NonDiscreteMeasurement(U::AMPS(), 3.3, M::BASEUNIT(), 2));
    NonDiscreteMeasurement const noNumber(U::VOLTS(), std::nan(""), M::BASEUNIT(), 2);
    EXPECT_TRUE(noNumber == noNumber);
    EXPECT_FALSE(noNumber == rail || rail == noNumber);
}

TEST(Measurement, localizedUsesTheSeparatorOfTheLanguage)
{
    DiscreteMeasurement const clock(UnitType::HERTZ(), 2400000000u);
    GlobalParameters::instance().setLanguage(LanguageImp::de());
    EXPECT_EQ(utf8(clock.localizedString()), "2,4 GHz");
    EXPECT_EQ(utf8(clock.toString()), "2.4 GHz");
    GlobalParameters::instance().setLanguage(LanguageImp::en());
    EXPECT_EQ(utf8(clock.localizedString()), "2.4 GHz");
}
