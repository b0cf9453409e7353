// Questions to the person: who decides that they are asked, and what reaches the backend.
#include <krel5/internal/runs/RunTest.h>

#include <foundation/TemporaryFolder.h>

#include <libKrel5/internal/runs/PromptSwitches.h>

#include <zel/model/settings/SettingsResource.h>

using namespace krel5;
using test::RunTest;
using zel::MessageBoxImp;
using Surface = MessageBoxImp::Surface;

namespace {

class QuestionTest : public RunTest
{
protected:
    void SetUp() override
    {
        RunTest::SetUp();
        m_backend->m_onMessageBox = [this](MessageBoxImp& box) { m_shown.push_back(box); };
    }
    void TearDown() override
    {
        zel::SettingsResource::setSearchFolders({});
        zel::SettingsResource::clearCache();
        RunTest::TearDown();
    }
    void settings(std::string const& text)
    {
        m_folder.write(ModuleCommon::module().guid().toUtf8() + ".w4i", text);
        zel::SettingsResource::setSearchFolders({m_folder.path()});
        zel::SettingsResource::clearCache();
    }
    /// Asks in a run of its own; what standard error says meanwhile stands in m_told.
    MsgBoxReturn ask(MsgBoxType type, MsgBoxOption option, LookAndFeel look, void* parent = nullptr)
    {
        MsgBoxReturn answer = MsgBoxReturn::IGNORE;
        ::testing::internal::CaptureStderr();
        m_result = run([&] {
            answer = DiagModule::createMessageBox(type, "Cable", "Is it in?", option, look, parent);
            return TestResult::PASS();
        });
        m_told = ::testing::internal::GetCapturedStderr();
        return answer;
    }

    test::TemporaryFolder m_folder;
    std::vector<MessageBoxImp> m_shown; // as they reached the backend
    std::string m_told;
    TestResult m_result;
};

} // namespace

TEST_F(QuestionTest, theSwitchesDecideForEveryBackend)
{
    struct Case
    {
        std::string settings;
        std::optional<Surface> surface; // absent: nobody is asked
    };
    for (Case const& one : std::vector<Case>{
             {"", Surface::Text},
             {"AlwaysUseGUIPrompt.value=true\n", Surface::Text},
             {"GUIPromptSupported.value=true\n", Surface::TextFirst},
             {"GUIPromptSupported.value=true\nAlwaysUseGUIPrompt.value=true\n", Surface::Window},
             {"PromptEnable.value=false\n", std::nullopt},
             {"PromptEnable.value=false\nGUIPromptSupported.value=true\nAlwaysUseGUIPrompt.value=true\n",
              std::nullopt},
         }) {
        settings(one.settings);
        m_shown.clear();
        EXPECT_EQ(ask(MsgBoxType::YESNO, MsgBoxOption::DEFAULTSECOND, LookAndFeel::WARNING),
                  MsgBoxReturn::NO);
        ASSERT_EQ(m_shown.size(), one.surface ? 1u : 0u) << one.settings;
        if (one.surface) {
            EXPECT_EQ(m_shown[0].appearance().surface, *one.surface) << one.settings;
        }
        EXPECT_EQ(m_told,
                  "Question \"Warning: Cable\": nobody can be asked; the default answer \"No\" is taken\n")
            << "nobody answered: " << one.settings;
    }
}

TEST_F(QuestionTest, theBoxCarriesWhatAWindowNeeds)
{
    int window = 0;
    ask(MsgBoxType::ABORTRETRYIGNORE, MsgBoxOption::DEFAULTTHIRD, LookAndFeel::ERR, &window);
    ASSERT_EQ(m_shown.size(), 1u);
    MessageBoxImp const& box = m_shown[0];
    EXPECT_EQ(box.appearance().type, MessageBoxImp::Type::AbortRetryIgnore);
    EXPECT_EQ(box.appearance().look, MessageBoxImp::Look::Error);
    EXPECT_EQ(box.appearance().parent, &window);
    EXPECT_EQ(box.title(), "Cable") << "the look is said apart from the title";
    EXPECT_EQ(box.defaultCode(), static_cast<int>(MsgBoxReturn::IGNORE));
    EXPECT_EQ(box.cancelCode(), static_cast<int>(MsgBoxReturn::ABORT));
}

TEST_F(QuestionTest, whatTheBackendAnswersCounts)
{
    m_backend->m_onMessageBox = [](MessageBoxImp& box) {
        box.setAnswer(static_cast<int>(MsgBoxReturn::YES));
    };
    EXPECT_EQ(ask(MsgBoxType::YESNO, MsgBoxOption::DEFAULTSECOND, LookAndFeel::QUESTION), MsgBoxReturn::YES);
    EXPECT_EQ(m_told, "");
    EXPECT_EQ(m_result, TestResult::PASS());
    m_backend->m_onMessageBox = [](MessageBoxImp& box) { box.cutShort(); };
    EXPECT_EQ(ask(MsgBoxType::YESNO, MsgBoxOption::DEFAULTFIRST, LookAndFeel::QUESTION), MsgBoxReturn::NO);
    EXPECT_EQ(m_result, TestResult::USERABORTED()) << "no answer is no finding";
    ask(MsgBoxType::OK, MsgBoxOption::DEFAULTFIRST, LookAndFeel::QUESTION);
    EXPECT_EQ(m_result, TestResult::PASS()) << "nothing hung on the answer";
}
