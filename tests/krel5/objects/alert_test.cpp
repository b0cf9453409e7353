#include <krel5/Alert.h>
#include <krel5/InvalidDataTypeException.h>
#include <krel5/SysInfoDevice.h>
#include <krel5/Tip.h>
#include <krel5/Value.h>

#include <libKrel5/values/ModuleResource.h>

#include "../../foundation/TemporaryFolder.h"

#include <zel/foundation/Logger.h>
#include <zel/model/runs/AlertImp.h>
#include <zel/model/state/StateManager.h>
#include <zel/model/texts/LocalizedResource.h>
#include <zel/model/values/ValueImp.h>

#include <gtest/gtest.h>

using namespace krel5;

namespace {

std::string utf8(KrelString const& text) { return text.getUTF8Buffer(); }

} // namespace

TEST(Alert, variablesRefuseLocalizedStrings)
{
    Alert* const alert = Alert::createAlert("Fan", AlertType::HARDWARE_ISSUE());
    Value const nested{LocalizedString("Other", "x")};
    for (auto const set : {&Alert::setTitleVariable, &Alert::setMessageVariable}) {
        try {
            (alert->*set)("rpm", nested);
            ADD_FAILURE() << "taken";
        } catch (InvalidDataTypeException const& e) {
            char const* const name =
                set == &Alert::setTitleVariable ? "Alert::setTitleVariable" : "Alert::setMessageVariable";
            EXPECT_EQ(utf8(e.toString())
                          .find(std::string("invalid data type : in \"") + name +
                                "\" encountered invalid data type \"LOCALIZEDSTRING\"."),
                      0u);
        }
        EXPECT_FALSE(alert->imp().title().variableIsSet("rpm") && set == &Alert::setTitleVariable);
        EXPECT_FALSE(alert->imp().message().variableIsSet("rpm"));
        EXPECT_EQ((alert->*set)("rpm", Value(DataType::UINT32ARRAY())), alert) << "an array is taken";
        EXPECT_EQ((alert->*set)("rpm", 310u), alert);
    }
    alert->setMessageOverride("at {rpm} rpm");
    EXPECT_EQ(alert->imp().message().resolve().toUtf8(), "at 310 rpm");
}

TEST(Alert, sentTwiceKeepsItsTimeAndItsPlace)
{
    auto& state = zel::StateManager::instance();
    std::size_t const before = state.alertCount();
    Alert* const alert = Alert::createAlert("Disk", AlertType::MESSAGE());
    Tip* const tip = Tip::createTip("Backup", TipType::TEXT_TIP());
    alert->addTip(tip)->addTip(nullptr)->setDeviceAssociation(nullptr)->send();
    unsigned int const time = alert->imp().timeTriggered();
    EXPECT_NE(time, 0u);
    alert->setTimeTriggered(time - 1000)->send();
    EXPECT_EQ(state.alertCount(), before + 1);
    EXPECT_EQ(state.alertAtIndex(before)->timeTriggered(), time - 1000) << "a time that was set is kept";
    alert->send();
    EXPECT_EQ(state.alertAtIndex(before)->timeTriggered(), time - 1000);
    EXPECT_EQ(state.alertAtIndex(before)->tipCount(), 1u);

    Alert other(*alert);
    other.setMessageOverride("changed")->setGuid("another")->send();
    EXPECT_EQ(state.alertCount(), before + 2);
    EXPECT_FALSE(alert->imp().message().overrideText()) << "a copy is a copy";
}

// What is missing is never fatal: it is logged, in these words, and the answer is "absent" or empty.
TEST(ModuleResource, saysInTheLogWhatIsMissing)
{
    test::TemporaryFolder folder;
    zel::LocalizedResource::setDefaultPath(folder.path());
    zel::LogFactory::setOverride("0", "krel5.ModuleResource");
    zel::LogFactory::configure("", 4);
    ASSERT_TRUE(zel::LogFactory::createDefaultFileAppender(folder.path("log").c_str()));
    ModuleResource const resource("mod");
    std::string const file = folder.path("mod.w4p");

    EXPECT_FALSE(resource.exists("Key"));
    EXPECT_EQ(utf8(resource.get("Key")), "");
    folder.write("mod.w4p", "Key=a\\nb\n");
    zel::LocalizedResource::clearCache();
    EXPECT_TRUE(resource.exists("Key"));
    EXPECT_EQ(utf8(resource.get("Key")), "a\nb");
    EXPECT_FALSE(resource.exists("Other"));
    EXPECT_EQ(utf8(resource.get("Other")), "");

    std::string const log = folder.read("log");
    std::size_t from = 0;
    for (std::string const& line :
         {"Checking resource file: " + file + " if resource exists: Key", "Missing resource file: " + file,
          "Checking resource file: " + file + " for resource: Key",
          "Missing Strings file : " + file + " for string Key",
          "Checking resource file: " + file + " if resource exists: Key",
          "Checking resource file: " + file + " for resource: Key",
          "Resource string Other does not exist in file: " + file,
          "Missing resource string: Other from file: " + file}) {
        from = log.find(line, from);
        EXPECT_NE(from, std::string::npos) << line << " in\n" << log;
    }
    zel::LocalizedResource::setDefaultPath("");
}
