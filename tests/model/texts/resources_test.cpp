#include "../../foundation/TemporaryFolder.h"

#include <zel/foundation/Exception.h>
#include <zel/model/runs/AlertImp.h>
#include <zel/model/runs/TestRunEventImp.h>
#include <zel/model/texts/FileNamePart.h>
#include <zel/model/texts/GlobalParameters.h>
#include <zel/model/texts/LocalizedResource.h>
#include <zel/model/values/LocalizedStringImp.h>
#include <zel/model/values/ValueImp.h>

#include <gtest/gtest.h>

using namespace zel;

namespace {

std::string utf8(String const& text) { return text.toUtf8(); }

/// A folder of text files in which everything is looked up, and the process's language as it was, afterwards.
class Resources : public ::testing::Test
{
protected:
    void SetUp() override { LocalizedResource::setDefaultPath(m_folder.path()); }
    void TearDown() override
    {
        auto& globals = GlobalParameters::instance();
        globals.setLanguage(LanguageImp::en());
        globals.setVariant("");
        globals.setCustomer("");
        LocalizedResource::setDefaultPath("");
    }
    std::string resolved(char const* key, LanguageImp const& language, char const* defaultText = "")
    {
        LocalizedResource::clearCache();
        return utf8(LocalizedStringImp(key, defaultText, "mod").resolve(language));
    }

    test::TemporaryFolder m_folder;
};

} // namespace

TEST_F(Resources, mostParticularTextWins)
{
    // Files are added from the last place of the order to the first; each takes over from those before it.
    GlobalParameters::instance().setVariant("server");
    GlobalParameters::instance().setCustomer("acme");
    EXPECT_EQ(resolved("Key", LanguageImp::zh_cn()), "Key") << "a missing text shows its key";
    EXPECT_EQ(resolved("Key", LanguageImp::zh_cn(), "default"), "default");
    for (char const* name :
         {"mod.w4p", "mod.zh.w4p", "mod.zh-acme.w4p", "mod.zh-server.w4p", "mod.zh-server-acme.w4p",
          "mod.zh-cn.w4p", "mod.zh-cn-acme.w4p", "mod.zh-cn-server.w4p", "mod.zh-cn-server-acme.w4p"}) {
        m_folder.write(name, std::string("Key=") + name + "\n");
        EXPECT_EQ(resolved("Key", LanguageImp::zh_cn(), "default"), name);
    }
    EXPECT_EQ(resolved("Key", LanguageImp::de()), "mod.w4p");
    EXPECT_EQ(resolved("Key", LanguageImp::nil()), "mod.w4p");
    m_folder.write("mod.zh-cn-server-acme.w4p", "Other=x\n");
    EXPECT_EQ(resolved("Key", LanguageImp::zh_cn()), "mod.zh-cn-server.w4p")
        << "a file without the key is passed by";
}

TEST_F(Resources, namesFromOutsideLeadNowhereElse)
{
    m_folder.write("secret.w4p", "Key=secret\n");
    m_folder.write("mod.w4p", "Key=text\n");
    std::filesystem::create_directory(m_folder.path("sub"));
    LocalizedResource::setDefaultPath(m_folder.path("sub"));
    for (char const* guid : {"../secret", "..", "", "/", "a\nb"})
        EXPECT_FALSE(LocalizedResource::find(guid, "Key", LanguageImp::en())) << guid;
    LocalizedResource::setDefaultPath(m_folder.path());
    GlobalParameters::instance().setCustomer("x/../../../secret");
    EXPECT_EQ(resolved("Key", LanguageImp::en()), "text");
}

TEST(FileNamePart, isWhatStaysOneNameInItsFolder)
{
    for (std::string const& name : {std::string("mod"), std::string("a b.c-d"), std::string(128, 'x')})
        EXPECT_TRUE(isFileNamePart(String(name))) << name;
    for (std::string const& name :
         {std::string(), std::string(".hidden"), std::string("a/b"), std::string("a\\b"),
          std::string("a\x1F"), std::string("ab\nc"), std::string("a\x7F"), std::string(129, 'x')})
        EXPECT_FALSE(isFileNamePart(String(name))) << name;
    EXPECT_TRUE(isFileNamePart(String("a\u0080 ")));
}

TEST_F(Resources, escapesAndLibraries)
{
    m_folder.write("mod.w4p", "A=one\\ntwo\\\\n\\t\\\n");
    EXPECT_EQ(resolved("A", LanguageImp::en()), "one\ntwo\\n\\t\\");
    m_folder.write("lib.w4p", "A=library\nB=library\n");
    EXPECT_EQ(resolved("B", LanguageImp::en()), "B");
    LocalizedResource::registerLibrary("mod", "lib");
    EXPECT_EQ(resolved("B", LanguageImp::en()), "library");
    EXPECT_NE(resolved("A", LanguageImp::en()), "library") << "the module's own text comes first";
}

// Whatever a text or a key holds, it comes back from the line that it was written as.
TEST_F(Resources, everyTextSurvivesItsLine)
{
    std::vector<String> texts{String(std::string_view("a\0b", 3))};
    for (char const* text : {"a\nb",
                             "\\n",
                             "\\",
                             "a\\\nb\n",
                             " a ",
                             "\t",
                             "\v\f a",
                             "\\u0020",
                             "\\u00",
                             "a\rb",
                             "# a = b",
                             "=",
                             "#",
                             "\\=",
                             "\\#",
                             "=\\",
                             "a=b=c",
                             "\xEF\xBB\xBFmark",
                             "\xF0\x9F\x94\xA7 \xC3\xBC",
                             "\xC2\xA0\xE2\x80\xA8",
                             "{a}",
                             "a\r\n",
                             "\f",
                             "\nabcd"})
        texts.push_back(text);
    std::string content = "# first\n";
    for (String const& text : texts)
        content +=
            utf8(LocalizedResource::escapedKey(text)) + "=" + utf8(LocalizedResource::escaped(text)) + "\r\n";
    KeyTextFile const file = KeyTextFile::parse(content, "mod.w4p");
    EXPECT_EQ(file.issues().size(), 0u);
    EXPECT_EQ(file.keys().size(), texts.size());
    for (String const& text : texts) {
        KeyTextFile::Entry const* const entry = file.find(text);
        ASSERT_TRUE(entry) << utf8(text);
        EXPECT_EQ(LocalizedResource::unescaped(entry->m_text), text) << utf8(text);
    }
    EXPECT_EQ(utf8(LocalizedResource::escaped(" a b ")), "\\u0020a b\\u0020");
    EXPECT_EQ(utf8(LocalizedResource::unescaped("\\u00af\\u00AF\\u00a9\\u00Ff")), "\u00AF\u00AF\u00A9\u00FF");
    EXPECT_EQ(utf8(LocalizedResource::unescaped("\\u00g0\\u00G0\\u00:0")), "\\u00g0\\u00G0\\u00:0");
}

TEST_F(Resources, filesAreReadOnce)
{
    m_folder.write("mod.w4p", "Key=one\n");
    EXPECT_EQ(utf8(*LocalizedResource::find("mod", "Key", LanguageImp::en())), "one");
    m_folder.write("mod.w4p", "Key=two\n");
    EXPECT_EQ(utf8(*LocalizedResource::find("mod", "Key", LanguageImp::en())), "one");
    LocalizedResource::clearCache();
    EXPECT_EQ(utf8(*LocalizedResource::find("mod", "Key", LanguageImp::en())), "two");
}

TEST(LocalizedString, variablesAreFilledInOnce)
{
    struct Row
    {
        char const* text;
        char const* shown;
    };
    std::vector<Row> const rows{
        {"{a} and {b}", "1 and {a}"}, // what a variable brings in is not looked at again
        {"{a}{a}", "11"},
        {"{c} {} { a }", "{c} {} { a }"},
        {"{{a}}", "{1}"},
        {"{a", "{a"},
        {"a}{a}", "a}1"},
        {"{x {a}", "{x 1"},
        {"", "Key (a=1, b={a})"}, // no text: nothing of what it was to say is lost
        {"plain", "plain"},
    };
    for (Row const& row : rows) {
        LocalizedStringImp text("Key", row.text);
        text.setVariable("a", ValueImp(1u));
        text.setVariable("b", ValueImp("{a}"));
        EXPECT_EQ(utf8(text.resolve()), row.shown) << row.text;
    }
    std::string const longest(255, 'n'), tooLong(256, 'n');
    LocalizedStringImp names("Key", "{" + longest + "}{" + tooLong + "}{a}");
    for (std::string const& name : {longest, tooLong, std::string("a")})
        names.setVariable(String(name), ValueImp(static_cast<unsigned>(name.size())));
    EXPECT_EQ(utf8(names.resolve()), "255{" + tooLong + "}1");
    LocalizedStringImp braces("Key", std::string(60000, '{') + "}");
    braces.setVariable("a", ValueImp(1u));
    EXPECT_EQ(braces.resolve().size(), 60001u);
}

TEST(LocalizedString, variablesAndOverride)
{
    LocalizedStringImp text("Key", "{n}");
    EXPECT_THROW(text.setVariable("n", ValueImp(LocalizedStringImp("x"))), InvalidArgumentException);
    EXPECT_THROW(text.setVariable("n", ValueImp(DataTypeImp::LOCALIZEDSTRINGARRAY())),
                 InvalidArgumentException);
    EXPECT_THROW(text.setVariable("n", ZELValue(DataTypeImp::UINT32(), {"x"})), InvalidArgumentException);
    EXPECT_FALSE(text.variableIsSet("n"));
    text.setVariable("n", ValueImp(1u));
    text.setVariable("n", ValueImp(2u));
    EXPECT_EQ(text.variables().size(), 1u);
    EXPECT_TRUE(text.valueForVariable("n") == ValueImp(2u));
    EXPECT_TRUE(text.valueForVariable("m") == ValueImp());
    text.setOverride("<{n}>");
    EXPECT_EQ(utf8(text.resolve(LanguageImp::de())), "<2>");
    for (unsigned i = 1; i < LocalizedStringImp::kMaxVariables; ++i)
        text.setVariable(String::number(i), ValueImp(i));
    EXPECT_THROW(text.setVariable("one more", ValueImp(1u)), InvalidArgumentException);
    EXPECT_NO_THROW(text.setVariable("n", ValueImp(3u)));
}

TEST(LocalizedString, numbersFollowTheLanguageOfTheText)
{
    LocalizedStringImp text("", "{clock} {rail} {part} {list} {count} {version}");
    text.setVariable("clock", ValueImp(DiscreteMeasurement(UnitType::HERTZ(), 2400000000u)));
    text.setVariable("rail",
                     ValueImp(NonDiscreteMeasurement(UnitType::VOLTS(), 3.3, UnitMagnitude::BASEUNIT(), 2)));
    text.setVariable("part", ValueImp(12.5, DataTypeImp::PERCENT()));
    text.setVariable("list", ValueImp(std::vector<DiscreteMeasurement>{{UnitType::BYTES(), 1536},
                                                                       {UnitType::BYTES(), 1}}));
    text.setVariable("count", ValueImp(100000));
    text.setVariable("version", ValueImp("1.5")); // a text stays as it is
    EXPECT_EQ(utf8(text.resolve(LanguageImp::de())), "2,4 GHz 3,30 V 12,5% 1,5 KiB, 1 B 100000 1.5");
    EXPECT_EQ(utf8(text.resolve(LanguageImp::en())), "2.4 GHz 3.30 V 12.5% 1.5 KiB, 1 B 100000 1.5");
}

TEST(Alert, isTheSameAlertForTheSameModuleKeyAndDevice)
{
    AlertImp const first("mod", "Fan", AlertTypeImp::MESSAGE());
    AlertImp second("mod", "Fan", AlertTypeImp::MESSAGE());
    EXPECT_EQ(first.guid(), second.guid());
    second.setDeviceGuid("device");
    EXPECT_FALSE(first.guid() == second.guid());
    second.setGuid("mine");
    second.setModuleGuid("other");
    EXPECT_EQ(utf8(second.guid()), "mine");
    EXPECT_EQ(utf8(second.title().moduleGuid()), "other");
    second.addTip(TipImp("Clean", TipTypeImp::TEXT_TIP()));
    EXPECT_EQ(utf8(second.tip(0).content().moduleGuid()), "other") << "a tip speaks with its alert's texts";
    EXPECT_EQ(utf8(second.tip(0).toString()), "Tip.Clean.Title");
    EXPECT_THROW(second.tip(1), IndexOutOfBoundsException);
}

TEST(TestRunEvent, variablesReachMessageAndTips)
{
    TestRunEventImp event(EventTypeImp::ERR(), "Bad", 3, "3",
                          LocalizedStringImp("Event.Bad.Message", "block {n}"));
    event.addTip(LocalizedStringImp("Event.Bad.Tip.1", "replace {n}"));
    event.setVariable("n", ValueImp(7u));
    EXPECT_EQ(utf8(event.message().resolve()), "block 7");
    EXPECT_EQ(utf8(event.tip(0).resolve()), "replace 7");
    EXPECT_THROW(event.tip(1), IndexOutOfBoundsException);
}
