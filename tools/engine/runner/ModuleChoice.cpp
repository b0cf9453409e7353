#include <engine/runner/ModuleChoice.h>

#include <engine/catalog/linux/PrivateFolder.h>
#include <engine/runner/Questions.h>
#include <engine/runner/linux/Child.h>
#include <engine/runner/linux/Inbox.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/System.h>

#include <algorithm>

namespace engine {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kSettling{500};

using StatePointer = std::shared_ptr<zel::StateManager const>;

/// What the module answers counts for its own tests and the devices of this machine.
void take(zel::StateManager const& answer, Module& module, zel::StateManager& machine)
{
    for (ModuleTest& test : module.tests) {
        zel::TestImp const* const theirs = answer.test(test.record.keyInModule());
        for (std::size_t i = 0; theirs && i < answer.deviceCountByTest(*theirs); ++i)
            if (auto* const device = machine.device(answer.deviceByTestAtIndex(*theirs, i)->guid()))
                machine.associate(*device, test.record, false);
    }
}

std::string reason(Child::End const& end, bool hasAnswered)
{
    if (!end.signal.empty())
        return "it was ended by " + end.signal;
    if (end.status != 0)
        return "it ended with status " + std::to_string(end.status.value_or(-1));
    return hasAnswered ? "" : "it ended without an answer";
}

} // namespace

/// With one module, from its start to its end.
struct ModuleChoice::Conversation
{
    Inbox& inbox;
    zel::IPCServer& server;
    StatePointer const& devices;
    Child child{};
    std::optional<zel::IPCServer::Peer> peer{};
    StatePointer answer{};
    std::string error{}; // that it has told
    bool isGone = false;

    void hear(News const& news)
    {
        if (news.kind == News::Kind::Connected && news.process == child.id() && !peer)
            peer = news.peer;
        if (news.peer != peer)
            return;
        isGone = news.kind == News::Kind::Gone;
        if (news.kind != News::Kind::Said)
            return;
        if (auto const* told = dynamic_cast<zel::InternalErrorProviderToEngine const*>(news.message.get()))
            error = told->body().text.toUtf8();
        if (dynamic_cast<zel::ModuleStarted const*>(news.message.get()))
            reply(*news.message, zel::EnumerationReturnedEngineToClient({devices}));
        answerQuestion(*news.message, *peer,
                       {server, nullptr, "nothing is fetched while a module chooses its tests"},
                       [this] { return devices; });
        auto const* const listing =
            dynamic_cast<zel::EnumerationReturnedProviderToEngine const*>(news.message.get());
        if (!listing)
            return;
        answer = listing->body().state;
        reply(*listing, zel::AcknowledgeEngineToProvider());
    }

    void reply(zel::Message const& request, zel::Message&& message)
    {
        message.setNumber(request.number());
        server.queue(*peer, message);
    }

    void wait(Clock::time_point until)
    {
        std::vector<pollfd> waiting{{inbox.descriptor(), POLLIN, 0}};
        child.waitsFor(waiting);
        constexpr std::int64_t kSlice =
            200; // milliseconds, where the kernel does not tell of a process's end
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
        ::poll(waiting.data(), waiting.size(), static_cast<int>(std::clamp<std::int64_t>(left, 0, kSlice)));
        child.listen();
        while (auto const news = inbox.take())
            hear(*news);
    }

    /// Why there is no answer that counts; empty when there is.
    std::string hold(std::string const& program, std::string const& folder,
                     std::chrono::milliseconds patience)
    {
        auto const end = Clock::now() + patience;
        {
            auto const door = inbox.hold();
            int const failure = child.start(
                program, {"enum", "-e", "-ePid", std::to_string(zel::System::processId()), "-bd", folder});
            if (failure != 0)
                return zel::System::errorText(failure).toUtf8();
            inbox.know(child.id());
        }
        long const process = child.id();
        std::optional<Child::End> ended;
        while (!(ended = child.reap()) && Clock::now() < end)
            wait(end);
        inbox.forget(process);
        for (auto const settled = Clock::now() + kSettling; peer && !isGone && Clock::now() < settled;)
            wait(settled); // what it said before it ended
        std::string text = ended ? reason(*ended, answer != nullptr) : "it took too long";
        std::string const said = error.empty() ? child.lastLine() : error;
        if (!text.empty() && !said.empty())
            text += ", and said: " + said;
        return text;
    }
};

ModuleChoice::ModuleChoice(std::chrono::milliseconds patience) : m_patience(patience) {}

ModuleChoice::~ModuleChoice()
{
    if (m_inbox)
        m_inbox->close();
}

void ModuleChoice::open(zel::StateManager const& machine)
{
    if (m_server)
        return;
    auto devices = std::make_shared<zel::StateManager>();
    devices->completeDevices(machine);
    m_devices = std::move(devices);
    m_inbox = std::make_unique<Inbox>();
    m_server = std::make_unique<zel::IPCServer>(m_inbox->handlers());
}

std::string ModuleChoice::choose(Module& module, zel::StateManager& machine)
{
    PrivateFolder const folder; // of its log
    if (!folder.problem().empty())
        return folder.problem();
    try {
        open(machine);
    } catch (zel::Exception const& error) {
        return error.getMessage().toUtf8();
    }
    Conversation conversation{*m_inbox, *m_server, m_devices};
    std::string problem = conversation.hold(module.program, folder.path(), m_patience);
    if (conversation.peer)
        m_server->disconnect(*conversation.peer);
    if (problem.empty())
        take(*conversation.answer, module, machine);
    return problem;
}

} // namespace engine
