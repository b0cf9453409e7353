#include <krel5/Event.h>
#include <krel5/IndexOutOfBoundsException.h>
#include <krel5/InternalException.h>
#include <krel5/InvalidCreationException.h>
#include <krel5/InvalidDataTypeException.h>
#include <krel5/InvalidKeyException.h>
#include <krel5/InvalidUnitTypeException.h>
#include <krel5/Parameter.h>
#include <krel5/ParameterNotSetException.h>
#include <krel5/ParameterNotValidException.h>
#include <krel5/Tip.h>
#include <krel5/TypeMismatchException.h>
#include <krel5/Value.h>

#include "../../foundation/TemporaryFolder.h"

#include <zel/model/runs/TestRunEventImp.h>
#include <zel/model/runs/TestRunImp.h>
#include <zel/model/runs/TipImp.h>
#include <zel/model/texts/LocalizedResource.h>
#include <zel/model/values/ValueImp.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>

using namespace krel5;

namespace {

std::string utf8(KrelString const& text) { return text.getUTF8Buffer(); }
std::string typeOf(Value const& value) { return utf8(value.type().toString()); }

/// The message of the exception that `action` throws, up to its stack trace; "none" when it throws nothing
/// and "another" when it throws something else.
template <typename Exception>
std::string messageOf(std::function<void()> const& action)
{
    try {
        action();
    } catch (Exception const& e) {
        std::string const text = utf8(e.toString());
        return text.substr(0, text.find("\nStack Trace:"));
    } catch (...) {
        return "another";
    }
    return "none";
}

template <typename Number>
std::string typeOfNumber(Number number)
{
    return typeOf(Value(number));
}

} // namespace

// Each arithmetic type has one constructor to go to; a call that has two does not compile.
TEST(Value, isMadeFromEveryIntegerType)
{
    EXPECT_EQ(typeOfNumber<signed char>(1), "INT32");
    EXPECT_EQ(typeOfNumber<unsigned char>(1), "INT32");
    EXPECT_EQ(typeOfNumber<short>(1), "INT32");
    EXPECT_EQ(typeOfNumber<unsigned short>(1), "INT32");
    EXPECT_EQ(typeOfNumber<int>(1), "INT32");
    EXPECT_EQ(typeOfNumber<unsigned int>(1), "UINT32");
    EXPECT_EQ(typeOfNumber<long>(1), "INT32");
    EXPECT_EQ(typeOfNumber<long>(3000000000), "UINT32");
    EXPECT_EQ(typeOfNumber<long>(5000000000), "UINT64");
    EXPECT_EQ(typeOfNumber<long long>(5000000000), "UINT64");
    EXPECT_EQ(typeOfNumber<unsigned long>(1), sizeof(long) == 8 ? "UINT64" : "UINT32");
    EXPECT_EQ(typeOfNumber<unsigned long>(5000000000), "UINT64");
    EXPECT_EQ(typeOfNumber<unsigned long long>(1), "UINT64");
    EXPECT_EQ(typeOfNumber<std::uint64_t>(1), "UINT64");
    EXPECT_TRUE(Value(std::uint64_t{5}) == Value(5ull)) << "one number, one type";
    EXPECT_EQ(typeOfNumber<bool>(true), "BOOLEAN");
    EXPECT_EQ(typeOf(Value(0)), "INT32");
    EXPECT_EQ(typeOf(Value("text")), "STRING");
    std::string const text = "B\xC3\xA4r";
    for (Value const& value :
         {Value(text), Value(std::string_view(text)), Value(text + ""), Value(text.c_str())})
        EXPECT_TRUE(value == Value(KrelString(text)));
    EXPECT_FALSE((std::is_constructible_v<Value, double>)) << "a real number needs its type";
    EXPECT_FALSE((std::is_constructible_v<Value, Event*>)) << "a pointer is no BOOLEAN";
    EXPECT_EQ(
        messageOf<InvalidDataTypeException>([] { Value const refused(std::numeric_limits<long>::min()); }),
        "invalid data type : in \"Value::Value(long): -9223372036854775808 fits no integer type\" "
        "encountered "
        "invalid data type \"INVALID\".");
}

TEST(Value, ofARealNumberIsDoubleOrPercent)
{
    EXPECT_EQ(Value(3.5, DataType::PERCENT()).valuePercent(), 3.5);
    EXPECT_EQ(Value(3.5, DataType::PERCENT()).valueDouble(), 3.5);
    EXPECT_EQ(Value(3, DataType::DOUBLE()).valueInt32(), 3);
    EXPECT_EQ(
        messageOf<TypeMismatchException>([] { Value(3.5, DataType::STRING()); }),
        "type mismatch : expecting one of the types \"DOUBLE or PERCENT\", but tried to use type \"STRING\" "
        "instead.");
}

TEST(Value, refusedReadNamesBothTypesAndChangesNothing)
{
    Value const text("7");
    EXPECT_EQ(messageOf<TypeMismatchException>([&] { text.valueUint32(); }),
              "type mismatch : value is type \"STRING\", but tried to use type \"UINT32\" instead.");
    EXPECT_EQ(typeOf(text), "STRING");
    EXPECT_EQ(utf8(text.valueString()), "7");
    Value number(7u);
    std::vector<std::function<void()>> const refused{
        [&] { number.valueBool(); },
        [&] { number.valueString(); },
        [&] { number.valuePercent(); },
        [&] { number.valueLocalizedString(); },
        [&] { number.valueDiscreteMeasurement(); },
        [&] { number.valueNonDiscreteMeasurement(); },
        [&] { number.append(7u); },
        [&] { number.append("x"); },
        [&] { number.stringArraySize(); },
        [&] { number.localizedStringArraySize(); },
        [&] { number.discreteMeasurementArraySize(); },
        [&] { number.getStringInArray(0); },
    };
    for (std::size_t i = 0; i < refused.size(); ++i)
        EXPECT_THROW(refused[i](), TypeMismatchException) << i;
    EXPECT_TRUE(number == Value(7u));
}

TEST(Value, arrays)
{
    Value numbers(DataType::UINT32ARRAY());
    EXPECT_EQ(messageOf<krel5::IndexOutOfBoundsException>([&] { numbers.getUint32InArray(0); }),
              utf8(zel::IndexOutOfBoundsException(0, -1, 0).toString()));
    numbers.append(7u);
    numbers.append(8u);
    EXPECT_EQ(numbers.Uint32ArraySize(), 2u);
    EXPECT_EQ(numbers.getUint32InArray(1), 8u);
    EXPECT_EQ(messageOf<krel5::IndexOutOfBoundsException>([&] { numbers.getUint32InArray(2); }),
              utf8(zel::IndexOutOfBoundsException(0, 1, 2).toString()));
    EXPECT_THROW(numbers.append(-1), TypeMismatchException);
    EXPECT_THROW(numbers.getInt32InArray(0), TypeMismatchException);

    Value signedNumbers(DataType::INT32ARRAY());
    signedNumbers.append(-7);
    EXPECT_EQ(signedNumbers.getInt32InArray(0), -7);
    EXPECT_EQ(messageOf<TypeMismatchException>([&] { signedNumbers.getInt32InArray(1); }),
              "type mismatch : value is type \"INT32ARRAY\", but tried to use type \"UINT32ARRAY\" instead.");

    Value texts(DataType::STRINGARRAY());
    texts.append("a");
    texts.append(KrelString("b"));
    EXPECT_EQ(utf8(texts.getStringInArray(0)), "a");
    EXPECT_EQ(utf8(texts.getStringInArray(1)), "b");
    EXPECT_THROW(texts.getStringInArray(2), krel5::IndexOutOfBoundsException);

    Value localized(DataType::LOCALIZEDSTRINGARRAY());
    localized.append(LocalizedString("Key", "default"));
    EXPECT_EQ(utf8(localized.getLocalizedStringInArray(0).localizedString()), "default");
    Value sizes(DataType::DISCRETEMEASUREMENTARRAY());
    sizes.append(KrelDiscreteMeasurement(KrelUnitType::BYTES(), 1024ull));
    EXPECT_EQ(sizes.getDiscreteMeasurementInArray(0).value(), 1024u);

    Value copy(texts);
    copy.append("c");
    EXPECT_EQ(texts.stringArraySize(), 2u);
    EXPECT_TRUE(copy != texts);
}

TEST(Value, fromTextAndFromTheEngine)
{
    EXPECT_EQ(Value("0x2A", DataType::UINT32()).valueUint32(), 42u);
    EXPECT_EQ(messageOf<InvalidCreationException>([] { Value("many", DataType::UINT32()); }),
              "\"many\" is no UINT32: expecting an integer from 0 to 4294967295");
    Value const number(42u);
    EXPECT_TRUE(Value(number.getZELValue(), nullptr) == number);
    EXPECT_TRUE(Value(number.getZELValue(), &DataType::UINT64()) == Value(42ull));
    EXPECT_TRUE(Value(number.getZELValue(), &DataType::STRING()) == Value("42"));
    EXPECT_THROW(Value(Value("x").getZELValue(), &DataType::UINT32()), InternalException);
    EXPECT_THROW(Value(zel::ZELValue(zel::DataTypeImp::UINT32(), {}), nullptr), InternalException);
}

TEST(Measurement, hexadecimalUnitsAreForCounts)
{
    KrelUnitType const& hexadecimal = KrelUnitType::HEXADECIMAL32();
    KrelUnitMagnitude const& base = KrelUnitMagnitude::BASEUNIT();
    EXPECT_EQ(utf8(KrelDiscreteMeasurement(hexadecimal, 255ull).toString(base)), "0x000000FF");
    EXPECT_EQ(messageOf<InvalidUnitTypeException>([&] { KrelDiscreteMeasurement(hexadecimal, 1.0, base); }),
              "invalid unit type : in \"KrelDiscreteMeasurement::KrelDiscreteMeasurement(const "
              "KrelUnitType&, double "
              "value, const KrelUnitMagnitude&)\" encountered invalid unit type \"HEXADECIMAL32\".");
    EXPECT_EQ(
        messageOf<InvalidUnitTypeException>([&] { KrelNonDiscreteMeasurement(hexadecimal, 1.0, base, 2); }),
        "invalid unit type : in \"KrelNonDiscreteMeasurement::KrelNonDiscreteMeasurement(const "
        "KrelUnitType&, "
        "double value, const KrelUnitMagnitude&, int precision)\" encountered invalid unit type "
        "\"HEXADECIMAL32\".");
    EXPECT_THROW(KrelDiscreteMeasurement(KrelUnitType::BYTES(), -1.0, base), InternalException);
    EXPECT_EQ(KrelDiscreteMeasurement(KrelUnitType::HERTZ(), 2.4, KrelUnitMagnitude::GIGA()).value(),
              2400000000u);
    EXPECT_TRUE(KrelUnitMagnitude::AUTOSCALEUNIT() != base);
}

// Each of these had no way from std::string to KrelString, or has two now.
TEST(Value, standardStringsStandWhereTextsAreAskedFor)
{
    std::string const text = "a b";
    std::string_view const view = text;
    Event event("SomeEvent", 1);
    event.setVariable(text, text)->setVariable("view", view);
    EXPECT_TRUE(event.imp().message().valueForVariable("a b").string() == zel::String("a b"));
    Value list(DataType::STRINGARRAY());
    list.append(text);
    list.append(view);
    EXPECT_EQ(utf8(list.toString()), "a b, a b");
    EXPECT_EQ(utf8(LocalizedString("key", text).localizedString() + text + view), "a ba ba b");
    EXPECT_EQ(KrelString("a b"), text);
    EXPECT_EQ(Value(std::string("0x2A"), DataType::UINT32()).valueUint32(), 42u);
    EXPECT_EQ(messageOf<KrelException>([&] { throw KrelException(text); }), "a b");
    EXPECT_EQ(messageOf<KrelException>([&] { throw KrelException(view); }), "a b");
    EXPECT_EQ(KrelString(std::string_view("a\0b", 3)).size(), 3u);
}

// A localized string inside a text is refused everywhere, under the operation's own name, and nothing
// changes.
TEST(Texts, variablesRefuseLocalizedStrings)
{
    LocalizedString text("Key", "{v}");
    Event event("Bad", 1);
    Tip* const tip = Tip::createTip("Clean", TipType::TEXT_TIP());
    Value const nested{LocalizedString("Other", "x")};
    Value const nestedArray(DataType::LOCALIZEDSTRINGARRAY());
    struct Row
    {
        char const* where;
        std::function<void(Value const&)> set;
        std::function<zel::LocalizedStringImp const*()> text;
    };
    std::vector<Row> const rows{
        {"LocalizedString::setVariable", [&](Value const& v) { text.setVariable("v", v); },
         [&] { return &text.imp(); }},
        {"Event::setVariable", [&](Value const& v) { event.setVariable("v", v); },
         [&] { return &event.imp().message(); }},
        {"Tip::setTitleVariable", [&](Value const& v) { tip->setTitleVariable("v", v); },
         [&] { return &tip->imp().title(); }},
        {"Tip::setMessageVariable", [&](Value const& v) { tip->setContentVariable("v", v); },
         [&] { return &tip->imp().content(); }},
        {"Tip::setMessageVariable", [&](Value const& v) { tip->setContentExVariable("v", v); },
         [&] { return &tip->imp().contentEx(); }},
    };
    for (Row const& row : rows) {
        std::string const expected = std::string("invalid data type : in \"") + row.where +
                                     "\" encountered invalid data type \"LOCALIZEDSTRING";
        EXPECT_EQ(messageOf<InvalidDataTypeException>([&] { row.set(nested); }), expected + "\".");
        EXPECT_EQ(messageOf<InvalidDataTypeException>([&] { row.set(nestedArray); }), expected + "ARRAY\".");
        EXPECT_FALSE(row.text()->variableIsSet("v")) << row.where;
        row.set(Value(7u));
        EXPECT_TRUE(row.text()->valueForVariable("v") == zel::ValueImp(7u)) << row.where;
    }
    EXPECT_EQ(utf8(KrelString(text)), "7");
    EXPECT_TRUE(text.valueForVariable("v") == Value(7u));
    EXPECT_FALSE(text.variableIsSet("w"));
}

TEST(Texts, keysHoldNoBlanks)
{
    EXPECT_EQ(messageOf<InvalidKeyException>([] { LocalizedString("a key", ""); }),
              "Invalid Key: createLocalizedString(...) - \"a key\" cannot contain any spaces");
    EXPECT_THROW(Event("a key", 1), InvalidKeyException);
    EXPECT_THROW(Parameter("a key", "", DataType::UINT32(), "", false, false), InvalidKeyException);
}

TEST(Event, bringsTipsAndCustomerCodeFromTheTextFiles)
{
    test::TemporaryFolder folder;
    zel::LocalizedResource::setDefaultPath(folder.path());
    Event event("Bad", 3);
    event.setVariable("n", 17u);
    auto send = [&] { return event.createEventToSend(zel::EventTypeImp::ERR(), "mod", "test.cpp", 42); };
    EXPECT_EQ(send().tipCount(), 0u);
    EXPECT_EQ(utf8(send().eventCodeString()), "3");

    folder.write("mod.w4p", "Event.Bad.Message=Block {n}\nEvent.Bad.Tip.1=Replace {n}\nEvent.Bad.Tip.2=Call\n"
                            "Event.Bad.Tip.4=never reached\nEvent.Bad.CustomerEventCode=E-17\n");
    zel::LocalizedResource::clearCache();
    auto const sent = send();
    EXPECT_TRUE(sent.type() == zel::EventTypeImp::ERR());
    EXPECT_EQ(utf8(sent.message().resolve()), "Block 17");
    EXPECT_EQ(utf8(sent.eventCodeString()), "E-17");
    EXPECT_EQ(sent.eventCode(), 3);
    EXPECT_EQ(utf8(sent.sourceFile()), "test.cpp");
    EXPECT_EQ(sent.sourceLine(), 42);
    ASSERT_EQ(sent.tipCount(), 2u);
    EXPECT_EQ(utf8(sent.tip(0).resolve()), "Replace 17");
    EXPECT_EQ(utf8(sent.tip(1).resolve()), "Call");
    EXPECT_TRUE(event.imp().message().moduleGuid().empty()) << "sending changes nothing in the event";

    event.imp().setModuleGuid("mod");
    EXPECT_EQ(event.localizedTipCount(), 2u);
    EXPECT_EQ(utf8(event.getLocalizedTip(1)), "Call");
    EXPECT_EQ(messageOf<krel5::IndexOutOfBoundsException>([&] { event.getLocalizedTip(2); }),
              utf8(zel::IndexOutOfBoundsException(0, 1, 2).toString()));
    EXPECT_EQ(utf8(event.customerEventCode()), "E-17");
    zel::LocalizedResource::setDefaultPath("");
}

TEST(Parameter, followsTheTestRun)
{
    Parameter parameter("loops", "10", DataType::UINT32(), "1..100", true, false);
    zel::TestImp with("pattern", zel::CapabilityImp());
    with.addParameter(parameter.imp());
    zel::TestImp without("other", zel::CapabilityImp());
    zel::TestRunImp run(&with, nullptr), otherRun(&without, nullptr);
    Value out("untouched");

    EXPECT_FALSE(parameter.value(out)) << "no run yet";
    parameter.resetForTestRun(run);
    EXPECT_FALSE(parameter.value(out)) << "nothing set it";
    EXPECT_EQ(parameter.value().valueUint32(), 10u) << "the default";
    EXPECT_EQ(messageOf<ParameterNotSetException>([&] { parameter.toString(); }),
              "Parameter \"loops\" not set in the settings file for Test \"pattern\"");
    EXPECT_TRUE(out == Value("untouched"));

    EXPECT_FALSE(run.parameter("loops")->setValueText("50", zel::ParameterSourceImp::CLIENT()));
    parameter.resetForTestRun(run);
    EXPECT_TRUE(parameter.isset());
    EXPECT_EQ(utf8(parameter.toString()), "50");
    EXPECT_TRUE(parameter.value(out));
    EXPECT_TRUE(out == Value(50u));
    EXPECT_TRUE(parameter.valueSource() == ParameterSource::CLIENT());

    out = Value("untouched");
    parameter.resetForTestRun(otherRun);
    EXPECT_FALSE(parameter.value(out));
    EXPECT_TRUE(out == Value("untouched"));
    EXPECT_EQ(parameter.value().valueUint32(), 10u) << "the declaration is back in force";
    EXPECT_EQ(messageOf<ParameterNotValidException>([&] {
                  parameter.toString();
              }).find("Parameter \"loops\" not valid"),
              0u);
}

TEST(Parameter, readsTheSettingsFile)
{
    test::TemporaryFolder folder;
    folder.write("mod.w4i",
                 "Parameter.n.value=3\nTest.a.n.value=4\nTest.b.n.value=99\nIndicator.d.n.value=5\n");
    zel::SettingsResource::setSearchFolders({folder.path()});
    Parameter parameter("n", "", DataType::UINT32(), "1..9", false, true);
    parameter.imp().setModuleGuid("mod");
    Value out("untouched");
    EXPECT_FALSE(parameter.getFileSettingForParent("c", out));
    EXPECT_EQ(messageOf<ParameterNotValidException>([&] { parameter.getFileSettingForParent("b", out); }),
              "Parameter \"n\" not valid for Test \"b\"");
    EXPECT_TRUE(out == Value("untouched"));
    EXPECT_TRUE(parameter.getFileSettingForParent("a", out));
    EXPECT_TRUE(out == Value(4u));
    EXPECT_TRUE(parameter.getFileGlobalSetting(out));
    EXPECT_TRUE(out == Value(3u));
    EXPECT_TRUE(parameter.getFileSettingForParent("d", out)) << "an indicator's";
    EXPECT_TRUE(out == Value(5u));
    EXPECT_FALSE(parameter.isset()) << "reading a setting sets nothing";

    // What a run binds belongs to the module, also when the test took it before the module had its guid.
    Parameter early("n", "", DataType::UINT32(), "1..9", false, true);
    zel::TestImp test("t", zel::CapabilityImp());
    test.addParameter(early.imp());
    test.setModuleGuid("mod");
    early.resetForTestRun(zel::TestRunImp(&test, nullptr));
    EXPECT_TRUE(early.getFileGlobalSetting(out));
    EXPECT_TRUE(out == Value(3u));
    zel::SettingsResource::setSearchFolders({});
}
