// Each message says at the other end what it said here; what is none is refused, and nothing of it counts.
#include <ipc/RandomMessage.h>

#include <zel/model/wire/Serializable.h>

#include <gtest/gtest.h>

#include <random>
#include <set>

using namespace zel;
using namespace zel::test;

namespace {

// "" when it is taken.
std::string refusal(int typeCode, std::string_view payload)
{
    try {
        return Message::deserialize(typeCode, payload) ? "" : "not known";
    } catch (DeserializationException const& e) {
        EXPECT_LE(e.offset(), payload.size());
        return e.getMessage().toUtf8();
    }
}

} // namespace

TEST(Message, saysTheSameAtTheOtherEnd)
{
    for (int const code : allTypeCodes())
        for (unsigned seed = 0; seed < 40; ++seed) {
            auto const message = randomMessage(code, seed);
            std::string const payload = message->serialize();
            auto const again = Message::deserialize(code, payload);
            ASSERT_TRUE(again) << code;
            ASSERT_EQ(dump(*message), dump(*again)) << payload;
            EXPECT_EQ(message->toString(), again->toString());
            EXPECT_EQ(message->priority(), again->priority());
        }
}

TEST(Message, hasATypeCodeOfItsOwn)
{
    std::set<int> codes;
    for (int const code : allTypeCodes())
        EXPECT_TRUE(codes.insert(code).second) << code;
    EXPECT_EQ(nullptr, Message::deserialize(9999, "anything"));
}

TEST(Message, thatIsCutOffAnywhereIsNone)
{
    for (int const code : allTypeCodes()) {
        std::string const payload = randomMessage(code, 3)->serialize();
        // A message with a state that it may do without is whole where that begins; a line end may be missing.
        std::size_t const whole = code == UpdatesProviderToEngineToUI::kTypeCode ? payload.find('\0') : 0;
        for (std::size_t size = 0; size + 1 < payload.size(); size += 1 + size / 500)
            EXPECT_EQ(size == whole && size != 0,
                      refusal(code, std::string_view(payload).substr(0, size)).empty())
                << code << " with " << size << " of " << payload.size() << " bytes";
        EXPECT_NE("", refusal(code, payload + "x")) << code;
        EXPECT_NE("", refusal(code, payload + std::string(1, '\0'))) << code;
    }
}

TEST(Message, withAnyByteChangedIsTakenOrRefused)
{
    std::mt19937 random(7);
    for (int const code : allTypeCodes()) {
        std::string const payload = randomMessage(code, 11)->serialize();
        for (int i = 0; i < 200; ++i) {
            std::string changed = payload;
            changed[random() % changed.size()] = static_cast<char>(random());
            refusal(code, changed); // or an exception of another type
        }
    }
}

TEST(Message, ofAnotherFormIsRefusedWithReasonAndPlace)
{
    std::string const state = "<S format=\"zel-state\" version=\"1\"/>";
    std::string const nul(1, '\0');
    struct
    {
        int code;
        std::string payload, reason;
    } const cases[] = {
        {36, "", "no element"},
        {36, "<StopTestEngineToProvider format='zel-message' version='1'/>", "version \"1\""},
        {36, "<StopTestEngineToProvider format='zel-message' version='2' number='-1'/>", "number"},
        {36, "<StopTestEngineToProvider format='zel-state' version='1'/>", "no message"},
        {36, "<ModuleStarted format='zel-message' version='2'/>", "no message"},
        {36, "<StopTestEngineToProvider format='zel-message' version='2'/>" + nul + state,
         "a state that does not belong here"},
        {1, "<ModuleStarted format='zel-message' version='2'/>", "process"},
        {1, "<ModuleStarted format='zel-message' version='2' process='99999999999999999999'/>", "process"},
        {20, "<EnumerationReturnedEngineToClient format='zel-message' version='2'/>", "no state"},
        {20, "<EnumerationReturnedEngineToClient format='zel-message' version='2'/>" + nul + "<S/>",
         "no serialized state at /S, byte 70"},
        {31, "<RunTestEngineToProvider format='zel-message' version='2'/>" + nul + state, "no test run"},
        {31,
         "<RunTestEngineToProvider format='zel-message' version='2'><testRun guid='a'/><testRun guid='b'/>"
         "</RunTestEngineToProvider>" +
             nul + state,
         "a second test run"},
        {48, "<RunIndicatorEngineToProvider format='zel-message' version='2'/>" + nul + state,
         "no indicator run"},
        {33, "<MessageBoxProviderToEngine format='zel-message' version='2' id='1'/>", "no message box"},
        {57, "<MessageBoxEngineToProvider format='zel-message' version='2' id='1'/>", "code"},
        {32, "<TestProgressProviderToEngine format='zel-message' version='2' run='r'/>", "what"},
        {32, "<TestProgressProviderToEngine format='zel-message' version='2' run='r' what='guess'/>",
         "guess"},
        {32, "<TestProgressProviderToEngine format='zel-message' version='2' what='events'/>", "run"},
        {32,
         "<TestProgressProviderToEngine format='zel-message' version='2' run='r' what='percentDone' "
         "percent='101'/>",
         "out of range"},
        {32, "<TestProgressProviderToEngine format='zel-message' version='2' run='r' what='finalResult'/>",
         "without a result"},
        {32,
         "<TestProgressProviderToEngine format='zel-message' version='2' run='r' what='finalResult' "
         "result='PASSED'/>",
         "PASSED"},
        {4, "<TimeOutProviderToEngine format='zel-message' version='2' seconds='-1'/>", "seconds"},
        {53, "<UpdatesProviderToEngineToUI format='zel-message' version='2'/>", "what"},
    };
    for (auto const& one : cases)
        EXPECT_NE(std::string::npos, refusal(one.code, one.payload).find(one.reason))
            << one.payload << "\n"
            << refusal(one.code, one.payload);

    std::string const run = "<testRun guid='a'/>", box = randomMessage(33, 3)->serialize();
    auto const message = [](std::string const& name, std::string const& attributes,
                            std::string const& content) {
        return "<" + name + " format='zel-message' version='2' " + attributes + "><future/>" + content +
               "</" + name + ">";
    };
    std::string const answers =
        box.substr(box.find("<messageBox"), box.rfind("</M") - box.find("<messageBox"));
    EXPECT_EQ("", refusal(31, message("RunTestEngineToProvider", "", run) + nul + state));
    EXPECT_EQ("", refusal(48, message("RunIndicatorEngineToProvider", "", "<indicatorRun indicator='i'/>") +
                                  nul + state));
    EXPECT_EQ("", refusal(33, message("MessageBoxProviderToEngine", "id='1'", answers)));
    EXPECT_EQ("", refusal(32, message("TestProgressProviderToEngine",
                                      "run='r' what='percentDone' percent='100'", "")));
}
