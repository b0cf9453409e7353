// Copies of the handles that own a record, and the rules of the factories that make them.
#include <krel5/Alert.h>
#include <krel5/AlreadyCreatedException.h>
#include <krel5/CommandLineOption.h>
#include <krel5/DeviceCapability.h>
#include <krel5/InvalidKeyException.h>
#include <krel5/KrelDiscreteMeasurement.h>
#include <krel5/KrelNonDiscreteMeasurement.h>
#include <krel5/PropertyCategory.h>
#include <krel5/Tip.h>

#include <libKrel5/devices/DeclaredProperties.h>
#include <libKrel5/objects/Factories.h>

#include "../../foundation/TemporaryFolder.h"

#include <zel/foundation/Logger.h>
#include <zel/model/module/IndicatorImp.h>
#include <zel/model/module/TestImp.h>
#include <zel/model/runs/AlertImp.h>
#include <zel/model/runs/TestRunEventImp.h>
#include <zel/model/runs/TipImp.h>
#include <zel/model/settings/ParameterImp.h>
#include <zel/model/values/LocalizedStringImp.h>

#include <gtest/gtest.h>

#include <functional>

using namespace krel5;

namespace {

TestResult passes(DiagDevice const&) { return TestResult::PASS(); }
IndicatorReturnData samples(DiagDevice const&) { return {}; }

// `read` tells what `change` changes. Neither a copy nor an assigned handle may share the original's record.
template <typename Handle>
void expectDeepCopies(Handle const& original, std::function<void(Handle&)> const& change,
                      std::function<bool(Handle const&)> const& isChanged)
{
    ASSERT_FALSE(isChanged(original));
    Handle copy(original), assigned(original);
    change(copy);
    EXPECT_TRUE(isChanged(copy));
    EXPECT_FALSE(isChanged(original)) << "a copy shares its original's record";
    assigned = copy;
    Handle const& itself = assigned;
    assigned = itself;
    EXPECT_TRUE(isChanged(assigned));
    assigned = original;
    EXPECT_FALSE(isChanged(assigned));
    EXPECT_TRUE(isChanged(copy)) << "an assigned handle shares its source's record";
}

template <typename Exception, typename Action>
void expectRefused(Action action, std::string const& message)
{
    try {
        action();
        ADD_FAILURE() << "taken; expected: " << message;
    } catch (Exception const& e) {
        EXPECT_EQ(std::string(e.toString().getUTF8Buffer()).rfind(message + "\nStack Trace:\n", 0), 0u)
            << e.toString().getUTF8Buffer();
    }
}

} // namespace

TEST(Handle, ofATestOrAnIndicatorCopiesItsRecord)
{
    Parameter const loops("loops", "1", DataType::UINT32(), "", false, false);
    expectDeepCopies<krel5::Test>(
        krel5::Test("copied", "copied", DeviceCapability::Memory(), passes),
        [&](krel5::Test& test) {
            test.setDestructive(true)->addParameter(&loops)->addOptionalDeviceCapabilities(
                DeviceCapability::USB());
        },
        [](krel5::Test const& test) {
            EXPECT_EQ(test.imp().flags().destructive, !test.imp().parameters().empty());
            return test.imp().flags().destructive;
        });
    expectDeepCopies<Indicator>(
        Indicator("copied", DeviceCapability::Memory(), samples),
        [&](Indicator& indicator) { indicator.addParameter(&loops); },
        [](Indicator const& indicator) { return !indicator.imp().parameters().empty(); });
    expectDeepCopies<Parameter>(
        loops,
        [](Parameter& parameter) {
            EXPECT_FALSE(parameter.imp().setValueText("7", zel::ParameterSourceImp::CLIENT()));
        },
        [](Parameter const& parameter) { return parameter.value() == Value(7u); });
    EXPECT_EQ(sizeof(krel5::Test), sizeof(void*));
    EXPECT_EQ(sizeof(Indicator), sizeof(void*));
    EXPECT_EQ(sizeof(Parameter), 2 * sizeof(void*));
}

TEST(Handle, ofATextCopiesItsVariables)
{
    expectDeepCopies<LocalizedString>(
        LocalizedString("copied", "at {n}"), [](LocalizedString& text) { text.setVariable("n", 7u); },
        [](LocalizedString const& text) { return text.variableIsSet("n"); });
    expectDeepCopies<Event>(
        Event("copied", 3), [](Event& event) { event.setVariable("n", 7u); },
        [](Event const& event) { return event.imp().message().variableIsSet("n"); });
    expectDeepCopies<Tip>(
        *Tip::createTip("copied", TipType::TEXT_TIP()), [](Tip& tip) { tip.setContentVariable("n", 7u); },
        [](Tip const& tip) { return tip.imp().content().variableIsSet("n"); });
    Tip* const tip = Tip::createTip("given", TipType::TEXT_TIP());
    Alert* const alert = Alert::createAlert("copied", AlertType::MESSAGE());
    expectDeepCopies<Alert>(
        *alert, [&](Alert& one) { one.addTip(tip)->setMessageVariable("n", 7u); },
        [](Alert const& one) {
            EXPECT_EQ(one.imp().tipCount() == 0, !one.imp().message().variableIsSet("n"));
            return one.imp().tipCount() > 0;
        });
    alert->addTip(tip);
    tip->setTitleVariable("n", 7u);
    EXPECT_FALSE(alert->imp().tip(0).title().variableIsSet("n")) << "an alert keeps a copy of its tip";
    EXPECT_EQ(sizeof(LocalizedString), 2 * sizeof(void*));
    EXPECT_EQ(sizeof(Event), sizeof(void*));
    EXPECT_EQ(sizeof(Alert), sizeof(void*));
    EXPECT_EQ(sizeof(Tip), sizeof(void*));
}

TEST(Handle, ofAValueCopiesItsRecord)
{
    Value const text("one");
    expectDeepCopies<Value>(
        text, [](Value& value) { value = Value("two"); }, [&](Value const& value) { return value != text; });
    KrelDiscreteMeasurement const bytes(KrelUnitType::BYTES(), 1ull);
    expectDeepCopies<KrelDiscreteMeasurement>(
        bytes,
        [](KrelDiscreteMeasurement& one) { one = KrelDiscreteMeasurement(KrelUnitType::BYTES(), 2ull); },
        [&](KrelDiscreteMeasurement const& one) { return one != bytes; });
    auto const rpm = [](double value) {
        return KrelNonDiscreteMeasurement(KrelUnitType::RPM(), value, KrelUnitMagnitude::BASEUNIT(), 1);
    };
    KrelNonDiscreteMeasurement const slow = rpm(1.5);
    expectDeepCopies<KrelNonDiscreteMeasurement>(
        slow, [&](KrelNonDiscreteMeasurement& one) { one = rpm(2.5); },
        [&](KrelNonDiscreteMeasurement const& one) { return one != slow; });
    CommandLineOption const& help = CommandLineOption::HELP();
    expectDeepCopies<CommandLineOption>(
        help, [](CommandLineOption& option) { option = CommandLineOption::ENUM(); },
        [](CommandLineOption const& option) { return option.command() == "enum"; });
}

TEST(Factories, refuseKeysThatAreTakenOrHoldABlank)
{
    auto const capability = DeviceCapability::Memory();
    struct
    {
        char const* kind;
        std::function<void(KrelString const&)> create;
    } const rows[] = {
        {"Test", [&](KrelString const& key) { Factories::createTest(key, capability, passes); }},
        {"Indicator", [&](KrelString const& key) { Factories::createIndicator(key, capability, samples); }},
        {"Parameter",
         [](KrelString const& key) {
             Factories::createParameter(key, DataType::UINT32(), "", false, false, "");
         }},
        {"Event", [](KrelString const& key) { Factories::createEvent(key); }},
        {"LocalizedString", [](KrelString const& key) { Factories::createLocalizedString(key, ""); }},
    };
    for (auto const& row : rows) {
        std::string const kind = row.kind;
        expectRefused<InvalidKeyException>([&] { row.create("a key"); },
                                           "Invalid Key: create" + kind +
                                               "(...) - \"a key\" cannot contain any spaces");
        row.create("taken");
        expectRefused<AlreadyCreatedException>([&] { row.create("taken"); },
                                               "A " + kind +
                                                   " with the key \"taken\" already exists in this module.");
    }
}

TEST(Factories, giveTheFirstPropertyOfAKeyAgain)
{
    test::TemporaryFolder folder;
    ASSERT_TRUE(zel::LogFactory::createDefaultFileAppender(folder.path("log")));
    zel::LogFactory::configure("", static_cast<int>(zel::LogLevel::Warning));
    auto const category = PropertyCategory::Key();
    auto const capability = DeviceCapability::Memory();
    DeviceProperty* const first =
        DeclaredProperties::create("Size", category, DataType::UINT32(), capability);
    EXPECT_EQ(folder.read("log"), "");
    EXPECT_EQ(DeclaredProperties::create("Size", category, DataType::STRING(), capability), first);
    EXPECT_EQ(DeclaredProperties::createFake("Size", category, DataType::STRING(), capability, "alias"),
              first);
    EXPECT_EQ(first->type(), DataType::UINT32());
    std::string const log = folder.read("log");
    std::size_t at = 0;
    for (char const* line : {"1399", "1417"}) {
        at =
            log.find(std::string("warning krel5.ModuleCommon ") + line +
                         " createDeviceProperty(): A property with key = Size already exists in this module, "
                         "this property type, category, and datatype WILL HAVE NO EFFECT!\n",
                     at);
        EXPECT_NE(at, std::string::npos) << line << " in its turn in: " << log;
    }
    expectRefused<InvalidKeyException>(
        [&] { DeclaredProperties::create("a key", category, DataType::UINT32(), capability); },
        "Invalid Key: createDeviceProperty(...) - \"a key\" cannot contain any spaces");
    zel::LogFactory::configure("", static_cast<int>(zel::LogLevel::Error));
}
