// Documents that are no serialized state, by accident or on purpose: refused with a place, and nothing of them stays.
#include "RandomState.h"
#include "StateDump.h"

#include <zel/foundation/xml/XmlReader.h>
#include <zel/model/wire/MessageBoxWire.h>
#include <zel/model/wire/Serializable.h>

#include <gtest/gtest.h>

#include <chrono>

using namespace zel;
using namespace zel::test;

namespace {

// What is wrong with it, "" for nothing.
std::string refusal(std::string_view document)
{
    StateManager state;
    try {
        Serializable::deserializeUtf8(document, state);
        return "";
    } catch (DeserializationException const& e) {
        EXPECT_TRUE(state.isEmpty());
        EXPECT_LE(e.offset(), document.size());
        return e.getMessage().toUtf8();
    }
}

std::string inState(std::string const& content)
{
    return "<StateManager format=\"zel-state\" version=\"1\">" + content + "</StateManager>";
}

std::string repeated(std::string const& text, std::size_t times)
{
    std::string all;
    for (std::size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

constexpr char kSpecs[] =
    "<specification name='s' key='s' type='STRING'/><specification name='u' key='u' type='UINT32'/>"
    "<specification name='t' key='s' type='LOCALIZEDSTRING'/>";

std::string withProperty(std::string const& content)
{
    return inState(kSpecs + ("<device guid='d'>" + content + "</device>"));
}

} // namespace

TEST(BadDocument, isRefusedWithReasonAndPlace)
{
    struct
    {
        std::string document;
        char const* reason;
    } const cases[] = {
        {"", "no element, line 1, byte 0"},
        {"Segmentation fault", "no element, line 1, byte 0"},
        {"<html/>", "no serialized state at /html, line 1, byte 0"},
        {"<s format='zel-state'/>", "version: version \"\" of the form is not known"},
        {"<s format='zel-state' version='2'/>", "version \"2\" of the form is not known, only 1 at /s"},
        {"<!DOCTYPE s [<!ENTITY a 'b'>]><s/>", "a document type, line 1, byte 0"},
        {inState("<!DOCTYPE s>"), "a document type at /StateManager"},
        {inState("") + "<s/>", "text behind the end"},
        {inState("<device guid='&lol;'/>"), "a reference to no character"},
        {inState("<device guid='&#0;'/>"), "a reference to no character"},
        {inState("<device guid='&#xD800;'/>"), "a reference to no character"},
        {inState("<device guid='&#x110000;'/>"), "a reference to no character"},
        {inState("<unknown a='&lol;'/>"), "a reference to no character"},
        {inState("&lol;"), "a reference to no character"},
        {inState("<device guid='\x01'/>"), "a character that XML excludes"},
        {inState("<device guid='\xEF\xBF\xBE'/>"), "a character that XML excludes"},
        {inState("<device guid='\xC0\x80'/>"), "no UTF-8"},
        {inState("<device guid='\xED\xA0\x80'/>"), "no UTF-8"},
        {inState("<!--\x01-->"), "a character that XML excludes"},
        {inState("<!--\xC0\x80-->"), "no UTF-8 at /StateManager, line 1, byte 49"},
        {"<!--\xE2\x82--><s/>", "no UTF-8, line 1, byte 4"},
        {inState("<![CDATA[\xFF]]>"), "no UTF-8"},
        {inState("<?pi \xEF\xBF\xBF?>"), "a character that XML excludes"},
        {inState("\xFF"), "no UTF-8"},
        {inState("<a\xFF/>"), "no UTF-8"},
        {inState("<a b\xC3=''/>"), "no UTF-8"},
        {"<?xml version='1.0' encoding='latin1'?><s/>", "the encoding \"latin1\", not UTF-8, line 1, byte 0"},
        {inState("<!-- a -- b -->"), "no \">\" at /StateManager"},
        {inState("") + "<!-- a --->", "no \">\""},
        {inState("a ]]> b"), "\"]]>\" outside a CDATA section at /StateManager"},
        {inState("<device guid='\\x'/>"), "guid: \"\\\" is followed neither"},
        {inState("<device guid='\\x0041'/>"), "guid: \"\\\" is followed neither"},
        {"<", "cut off, line 1, byte 1"},
        {inState("< a/>"), "no name"},
        {inState("<device guid='\\u12'/>"), "guid: \"\\\" is followed neither"},
        {inState("<device guid='\\u12g4'/>"), "guid: \"\\\" is followed neither"},
        {inState("<device guid='a' guid='b'/>"), "attribute \"guid\" twice"},
        {inState("<device guid='a'id='1'/>"), "no blank before an attribute"},
        {inState("<device guid=a/>"), "no quote"},
        {inState("<device guid=ab\"/>"), "no quote"},
        {inState("<device guid!\"a\"/>"), "no \"=\""},
        {inState("<device guid='a<b'/>"), "\"<\" in an attribute"},
        {inState("<device guid='a'></alert>"), "\"device\" ends as \"alert\""},
        {inState("<device/>"), "no attribute \"guid\" at /StateManager/device"},
        {inState("<device guid=''/>"), "a device without guid"},
        {inState("<device guid='a'/><device guid='a'/>"), "guid \"a\" twice"},
        {inState("<device guid='a' id='4294967296'/>"), "id: \"4294967296\" is no number of its type"},
        {inState("<device guid='a' id='-1'/>"), "id: \"-1\" is no number of its type"},
        {inState("<device guid='a' incomplete='maybe'/>"), "neither true nor false"},
        {inState("<device guid='a' state='MELTED'/>"), "state: \"MELTED\" is not known"},
        {inState("<device guid='a' parent='b'/>"),
         "device \"b\", below which another one stands, is not known"},
        {inState("<device guid='a' parent='a'/>"), "device \"a\" stands below itself"},
        {inState("<device guid='a' parent='c'/><device guid='b' parent='a'/><device guid='c' parent='b'/>"),
         "stands below itself"},
        {inState("<device guid='x'/><device guid='a' parent='b'/><device guid='b' parent='a'/>"),
         "stands below itself"},
        {inState("<device guid='d'><property spec='s' value=''/></device>"),
         "spec: \"s\" is not the name of a specification"},
        {withProperty("<property spec='x' value=''/>"), "spec: \"x\" is not the name of a specification"},
        {withProperty("<property value=''/>"), "no attribute \"spec\""},
        {withProperty("<property spec='s'/>"), "no attribute \"value\" at /StateManager/device/property"},
        {withProperty("<property spec='u' value='4294967296'/>"), "is no number of its type"},
        {withProperty("<property spec='u' value='1.5'/>"), "is no number of its type"},
        {withProperty("<property spec='u' value='1' type='COMPLEX'/>"), "type: \"COMPLEX\" is not known"},
        {withProperty("<property spec='s' value=''/><property spec='s' value=''/>"), "property \"s\" twice"},
        {withProperty("<property spec='s' value=''/><property spec='t'><text/></property>"),
         "property \"s\" twice"},
        {withProperty("<property spec='t'/>"), "no text in a value of type LOCALIZEDSTRING"},
        {withProperty("<property spec='t'><text/><text/></property>"), "a second text"},
        {withProperty(
             "<property spec='t'><text><variable name='n' type='LOCALIZEDSTRING'><text/></variable></text>"
             "</property>"),
         "cannot be of type LOCALIZEDSTRING"},
        {withProperty("<property spec='t'><text><future/><variable name='n'/></text></property>"),
         "no attribute \"type\""},
        {withProperty("<property spec='s' value=''><member key='u'/></property>"), "has no property \"u\""},
        {withProperty("<property spec='s' value=''><member key='s'/></property>"),
         "a group that stands below itself"},
        {withProperty("<property spec='s' value=''><member key='u'/></property>"
                      "<property spec='u' value='1'><member key='s'/></property>"),
         "a group that stands below itself"},
        {withProperty("<property spec='s' value=''><member key='u'/><member key='u'/></property>"
                      "<property spec='u' value='1'/>"),
         "a member of two groups"},
        {inState(kSpecs + std::string(kSpecs)), "specification \"s\" twice"},
        {inState("<specification name='a' key='a' type='STRING' group='a'/>"), "\"a\" stands below itself"},
        {inState("<specification name='a' key='a' type='STRING' group='b'/>"), "the group \"b\""},
        {inState("<specification name='a' key='k' type='STRING' listed='true'/>"
                 "<specification name='b' key='k' type='INT32' listed='true'/>"),
         "property specification \"k\" twice"},
        {inState("<module guid='m'/><module guid='m'/>"), "guid \"m\" twice"},
        {inState("<test key='t'/><test key='t'/>"), "guid \"Test.t\" twice"},
        {inState("<test key='t' guid='other'/>"), "does not follow from module and key"},
        {inState("<test key='t'><parameter key='p' type='UINT32' range='1..2' source='CLIENT' "
                 "value='3'/></test>"),
         "outside the valid range"},
        {inState("<test key='t'><requirement key='p' range='2..1'/></test>"), "range: "},
        {inState("<alert guid='a'/><alert guid='a'/>"), "guid \"a\" twice"},
        {inState("<tie/>"), "a tie between nobody"},
        {inState("<device guid='d'/><tie device='d'/>"), "a tie between nobody"},
        {inState("<device guid='d'/><tie device='d' module='m'/>"), "module: \"m\" is not known"},
        {inState("<test key='t'/><indicator key='i'/><tie test='t' indicator='i'/>"), "a tie between nobody"},
        {inState(
             "<device guid='d'/><test key='t'/><tie device='d' test='t'/><tie device='d' test='Test.t'/>"),
         "a tie twice"},
        {inState("<testRun guid=''/>"), "a test run without guid"},
        {inState("<testRun guid='r'/><testRun guid='r'/>"), "test run \"r\" twice"},
        {inState("<testRun guid='r' test='t' bound='true'/>"), "of the test \"t\", which is not known"},
        {inState("<testRun guid='r' percent='101'/>"), "percent: out of range"},
        {inState("<testRun guid='r' percent='-2'/>"), "percent: out of range"},
        {inState("<specification name='n' key='n' type='NONDISCRETEMEASUREMENT'/><device guid='d'>"
                 "<property spec='n' value='1' precision='31'/></device>"),
         "precision: out of range"},
        {inState("<specification name='n' key='n' type='NONDISCRETEMEASUREMENT'/><device guid='d'>"
                 "<property spec='n' value='1' precision='-1'/></device>"),
         "precision: out of range"},
        {inState("<indicatorRun indicator='i'/>"),
         "Indicator run is of the indicator \"i\", which is not known"},
        {inState("<indicator key='i'/><indicatorRun indicator='i'/><indicatorRun indicator='i'/>"),
         "an indicator run twice"},
        {inState("<indicator key='i'/><indicatorRun indicator='i' interval='NaN'/>"), "interval: no time"},
        {inState("<indicator key='i'/><indicatorRun indicator='i' interval='1e400'/>"),
         "is no number of its type"},
        {inState("<indicator key='i'/><indicatorRun indicator='i' interval='-1'/>"), "interval: no time"},
        {inState("<indicator key='i'/><indicatorRun indicator='i' interval='INF'/>"), "interval: no time"},
        {inState("<indicator key='i'/><indicatorRun indicator='i' interval='nan(7)'/>"), "is no number"},
        {inState("<indicator key='i'/><indicatorRun indicator='i' interval='infinity'/>"), "is no number"},
        {inState("<indicator key='i'/><indicatorRun indicator='i' interval='-NaN'/>"), "is no number"},
    };
    for (auto const& one : cases)
        EXPECT_NE(refusal(one.document).find(one.reason), std::string::npos)
            << one.document << "\n  " << refusal(one.document) << "\n  " << one.reason;
}

TEST(BadDocument, mayHoldWhatIsNotKnownHere)
{
    EXPECT_EQ(
        refusal(
            "\xEF\xBB\xBF<?xml version='1.0'?>\n<!-- a --><any format='zel-state' version='1' more='x'>text"
            "<![CDATA[<>&]]><future><device guid='d'/><deep><deeper/></deep></future><?pi?>"
            "<device guid='d' colour = \"red\"\n id\t='1' ><future><property spec='x'/></future></device>"
            "<!-- b --></any>\n<!-- c -->\n"),
        "");
    EXPECT_EQ(
        refusal(inState("<specification name='s' key='s'/><device guid='d'><property spec='s' value='v'/>"
                        "</device>")),
        "")
        << "who says no type has texts";
    EXPECT_EQ(refusal(inState("<a>b=\"c\"</a>")), "");
    EXPECT_EQ(refusal(inState("<testRun guid='r' percent='100'/><testRun guid='q' percent='-1'/>")), "");
    for (char const* name : {"a", "z", "A", "Z", "_", ":", "a0.9-", "\xC4\x80", "a\xC4\x80-"})
        EXPECT_EQ(refusal(inState("<" + std::string(name) + " " + name + "=''/>")), "") << name;
}

TEST(BadDocument, endsWhereTheLimitsAre)
{
    XmlReader::Limits limits;
    limits.bytes = 60;
    limits.depth = 3;
    limits.elements = 4;
    limits.attributes = 2;
    struct
    {
        std::string document;
        char const* reason;
    } const cases[] = {
        {"<a><a><a/></a></a>", ""},
        {"<a><a><a><a/></a></a></a>", "more than 3 elements deep"},
        {"<a><a/><a/><a/></a>", ""},
        {"<a><a/><a/><a/><a/></a>", "more than 4 elements"},
        {"<a b='' c=''/>", ""},
        {"<a b='' c='' d=''/>", "more than 2 attributes"},
        {"<a b=\"\" c=\"\"/>", ""},
        {"<a b=\"\" c=\"\" d=\"\"/>", "more than 2 attributes"},
        {"<a/>" + std::string(56, ' '), ""},
        {"<a/>" + std::string(57, ' '), "more than 60 bytes"},
    };
    for (auto const& one : cases)
        try {
            XmlReader reader(one.document, limits);
            reader.openRoot();
            reader.finish();
            EXPECT_STREQ(one.reason, "") << one.document;
        } catch (DeserializationException const& e) {
            EXPECT_EQ(e.reason(), one.reason) << one.document;
        }
}

TEST(BadDocument, isNoQuestion)
{
    auto const read = [](std::string const& text) {
        XmlReader reader(text);
        reader.openRoot();
        return wire::readMessageBox(reader).answers().size();
    };
    std::string const answer = "<answer code='1' text='yes'/></messageBox>";
    EXPECT_EQ(read("<messageBox>" + answer), 1u);
    for (char const* attributes : {"default='1'", "cancel='1'", "default='1' cancel='1'", "look='smug'"})
        EXPECT_THROW(read("<messageBox " + std::string(attributes) + ">" + answer), DeserializationException)
            << attributes;
}

TEST(GoodDocument, saysEachCharacterInAnyForm)
{
    std::string const good = "<t a='&#x10000;&#xD7FF;\\uFAfa\\u09aF&#65;\t|' b=''/>";
    XmlReader reader(good);
    reader.openRoot();
    EXPECT_EQ(reader.required("a"), String("\xF0\x90\x80\x80\xED\x9F\xBF\xEF\xAB\xBA\xE0\xA6\xAF"
                                           "A |"));
}

TEST(BadDocument, isRefusedWhereverItIsCut)
{
    std::string const document = Serializable::serializeUtf8(RandomState(5).state(), "StateManager");
    ASSERT_GT(document.size(), 3000u);
    for (std::size_t length = 0; length < document.rfind('>');
         ++length) // the rest stands there and is not read
        ASSERT_NE(refusal(std::string_view(document).substr(0, length)), "") << length;
    EXPECT_EQ(refusal(document), "");
}

TEST(BadDocument, spendsNothingOnABomb)
{
    XmlReader::Limits const limits;
    std::string const deep = repeated("<a>", 1000);
    EXPECT_NE(refusal(inState(deep)).find("more than 64 elements deep"), std::string::npos);
    std::string attributes;
    for (int i = 0; i < 100; ++i)
        attributes += " a" + std::to_string(i) + "=''";
    EXPECT_NE(refusal(inState("<device" + attributes + "/>")).find("more than 32 attributes"),
              std::string::npos);
    EXPECT_NE(refusal(inState(repeated("<a/>", limits.elements))).find("more than 8000000 elements"),
              std::string::npos);
    EXPECT_NE(refusal(std::string(limits.bytes + 1, ' ')).find("more than 268435456 bytes"),
              std::string::npos);
    struct
    {
        char const *before, *child, *after, *reason;
    } const lists[] = {
        {"<device guid='d'>", "<childBus id='", "</device>", "more than 1000 buses"},
        {"<test key='t'>", "<parameter key='", "</test>", "more than 1000 parameters"},
        {"<module guid='m'>", "<library name='", "</module>", "more than 1000 libraries"},
        {"<module guid='m'>", "<localizedLibrary name='", "</module>", "more than 1000 libraries"},
    };
    for (auto const& list : lists)
        for (int const count : {1000, 1001, 200'000}) {
            std::string children;
            for (int i = 0; i < count; ++i)
                children += list.child + std::to_string(i) + "'/>";
            std::string const answer = refusal(inState(list.before + children + list.after));
            EXPECT_EQ(answer.find(list.reason) != std::string::npos, count > 1000) << answer;
        }
    for (std::size_t const count : {ValueImp::kMaxElements, ValueImp::kMaxElements + 1}) {
        std::string const answer = refusal(withProperty(
            "<property spec='s' type='UINT32ARRAY'>" + repeated("<item value='1'/>", count) + "</property>"));
        EXPECT_EQ(answer.find("at most 1048576 elements") != std::string::npos,
                  count > ValueImp::kMaxElements)
            << answer;
    }
    std::string const variables = repeated("<variable name='n' type='STRING' value=''/>", 2);
    EXPECT_NE(
        refusal(withProperty("<property spec='t'><text>" + variables + "</text></property>")).find("twice"),
        std::string::npos);
}

// In whatever order they stand: each below the next, each below the one before, and both ends first.
TEST(BadDocument, costsLittleForAChainOfParents)
{
    constexpr int kLength = 100'000;
    auto const chain = [](auto indexAt) {
        std::string all;
        for (int i = 0; i < kLength; ++i) {
            std::string const guid = std::to_string(indexAt(i)), parent = std::to_string(indexAt(i) + 1);
            all += "<device guid='" + guid + "'" +
                   (indexAt(i) + 1 < kLength ? " parent='" + parent + "'/>" : "/>");
        }
        return all;
    };
    EXPECT_EQ(refusal(inState(chain([](int i) { return i; }))), "");
    EXPECT_EQ(refusal(inState(chain([](int i) { return kLength - 1 - i; }))), "");
    EXPECT_EQ(refusal(inState(chain([](int i) { return i % 2 ? i / 2 : kLength - 1 - i / 2; }))), "");
    std::string ring = chain([](int i) { return i; });
    ring.replace(ring.rfind("/>"), 2, " parent='0'/>");
    EXPECT_NE(refusal(inState(ring)).find("stands below itself"), std::string::npos);
}

// Whatever happens to the bytes, the answer is a state or a refusal; and a state that was read is one that can be
// written and read again.
TEST(BadDocument, survivesDamage)
{
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    std::mt19937 numbers(11);
    unsigned accepted = 0, seed = 0;
    do {
        std::string document = Serializable::serializeUtf8(RandomState(++seed).state(), "StateManager");
        std::string const other =
            Serializable::serializeUtf8(RandomState(seed + 1000).state(), "StateManager");
        for (unsigned round = 0; round < 40; ++round) {
            std::size_t const at = numbers() % document.size(), length = 1 + numbers() % 60;
            switch (numbers() % 4) {
            case 0:
                document[at] = static_cast<char>(numbers());
                break;
            case 1:
                document.erase(at, length);
                break;
            case 2:
                document.insert(at, other, numbers() % other.size(), length);
                break;
            default:
                document.replace(at, 1, {"<>\"'&;\\/= 0"[numbers() % 11]});
            }
            StateManager state;
            try {
                Serializable::deserializeUtf8(document, state);
            } catch (DeserializationException const&) {
                ASSERT_TRUE(state.isEmpty());
                if (round % 8 == 0)
                    document = Serializable::serializeUtf8(RandomState(seed + round).state(), "StateManager");
                continue;
            }
            ++accepted;
            StateManager again;
            Serializable::deserializeUtf8(Serializable::serializeUtf8(state, "StateManager"), again);
            ASSERT_EQ(dump(again), dump(state));
        }
    } while (seed < 10 || (std::chrono::steady_clock::now() < end && seed < 400));
    EXPECT_GT(accepted, 0u);
}

TEST(BadDocument, isNotReadIntoAStateThatHoldsSomething)
{
    RandomState state(2);
    EXPECT_THROW(Serializable::deserializeUtf8(inState(""), state.state()), StateException);
    for (char const* name : {"", "a b", "<", "1a", "a\xC3"})
        EXPECT_THROW(Serializable::serializeUtf8(StateManager(), name), InvalidArgumentException) << name;
}
