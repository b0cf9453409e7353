#include <krel5/IndicatorClient.h>

#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ErrorReporting.h>

#include <krel5/CommandLineOption.h>
#include <krel5/InvalidCreationException.h>

#include <zel/ipc/direct/ProcessLinkConfigurator.h>

#include <atomic>
#include <string>
#include <vector>

namespace krel5 {
namespace {

zel::ProcessLinkConfigurator& link() { return zel::ProcessLinkConfigurator::instance(); }

static_assert(IndicatorClient::kForever == zel::ProcessLinkConfigurator::kForever);

std::atomic<bool> s_isHosting{false};

/// The words as a main may take them: its own to change, with a null behind the last.
class Words
{
public:
    Words(int argc, char const* const argv[])
    {
        for (int i = 0; argv && i < argc && argv[i]; ++i)
            m_texts.emplace_back(argv[i]);
        std::string const hosted = "-" + CommandLineOption::DIRECTLINK().command().zelString().toUtf8();
        if (std::find(m_texts.begin(), m_texts.end(), hosted) == m_texts.end())
            m_texts.push_back(hosted);
        for (std::string& text : m_texts)
            m_words.push_back(text.data());
        m_words.push_back(nullptr);
    }
    int count() const { return static_cast<int>(m_texts.size()); }
    char** words() { return m_words.data(); }

private:
    std::vector<std::string> m_texts;
    std::vector<char*> m_words;
};

int callMain(int (*moduleMain)(int, char**), Words& words)
{
    int status = TestResult::INTERNALERROR().value();
    guarded(
        "the module's main", [&] { status = moduleMain(words.count(), words.words()); },
        [](KrelException const& error) {
            ErrorReporting::tell(ErrorReporting::withoutStackTrace(error.toString().zelString()));
        });
    return status;
}

} // namespace

IndicatorClient::IndicatorClient() : m_number(link().attachClient())
{
    if (m_number == 0)
        throw InvalidCreationException("This process has a client of an indicator module already");
}

IndicatorClient::~IndicatorClient() { link().detachClient(m_number); }

int IndicatorClient::runModule(int (*moduleMain)(int argc, char** argv), int argc, char const* const argv[])
{
    int const refused = TestResult::INTERNALERROR().value();
    if (s_isHosting.exchange(true)) {
        ErrorReporting::tell("This process hosts a module already");
        return refused;
    }
    Words words(argc, argv);
    int status = refused;
    link().expectEngine();
    if (!moduleMain || !CommandLine::isOfHost(words.count(), words.words()))
        ErrorReporting::tell("A hosted module speaks to its client: neither -e nor -x goes with that");
    else
        status = callMain(moduleMain, words);
    link().setEngineHasEnded(status);
    s_isHosting = false;
    return status;
}

bool IndicatorClient::waitUntilReady(unsigned int milliseconds)
{
    return link().waitUntilEngineIsReady(milliseconds);
}

bool IndicatorClient::watch(KrelString const& device, KrelString const& indicator)
{
    return link().sendMessageClientToEngine(
        std::make_unique<zel::WatchClientToEngine>(device.zelString(), indicator.zelString()));
}

bool IndicatorClient::requestUpdate(KrelString const& device, KrelString const& indicator)
{
    return link().sendMessageClientToEngine(
        std::make_unique<zel::ForceUpdateClientToEngine>(device.zelString(), indicator.zelString()));
}

bool IndicatorClient::setUpdateInterval(double seconds, KrelString const& device, KrelString const& indicator)
{
    return link().sendMessageClientToEngine(std::make_unique<zel::SetUpdateIntervalClientToEngine>(
        device.zelString(), indicator.zelString(), seconds));
}

bool IndicatorClient::requestListing()
{
    return link().sendMessageClientToEngine(std::make_unique<zel::EnumerationRequestClientToEngine>());
}

bool IndicatorClient::stop()
{
    return link().sendMessageClientToEngine(std::make_unique<zel::StopClientToEngine>());
}

IndicatorReport IndicatorClient::receive(unsigned int milliseconds)
{
    return IndicatorReport(
        std::shared_ptr<zel::Message>(link().receiveMessageClientFromEngine(milliseconds)));
}

} // namespace krel5
