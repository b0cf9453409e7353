#include <engine/watch/WatchSet.h>

#include <engine/runner/HttpRequests.h>
#include <engine/runner/ModuleLink.h>

#include <zel/model/texts/GlobalParameters.h>

#include <algorithm>

namespace engine {
namespace {

constexpr std::chrono::milliseconds kSlice{200}; // between two looks whether a stop was asked for
constexpr int kNewsAtOnce = 1000;                // then the clock and the processes are looked at

} // namespace

WatchSet::WatchSet(std::vector<ModuleToWatch> modules, zel::StateManager const& machine,
                   WatchObserver& observer, WatchOptions options)
    : m_toWatch(std::move(modules)), m_machine(machine), m_observer(observer), m_options(std::move(options))
{}

void WatchSet::begin(Engine const& engine)
{
    zel::GlobalParameters::instance().setLanguage(m_options.language); // of alerts' texts
    auto const devices = std::make_shared<zel::StateManager>();
    devices->completeDevices(m_machine);
    for (ModuleToWatch const& module : m_toWatch) {
        m_modules.emplace_back(module, WatchedModule::Surroundings{engine, devices, m_options, m_observer});
        m_modules.back().begin();
    }
}

void WatchSet::waitsFor(std::vector<pollfd>& waiting) const
{
    for (WatchedModule const& one : m_modules)
        one.child().waitsFor(waiting);
}

WatchSet::Clock::time_point WatchSet::nextLook() const
{
    auto next = Clock::time_point::max();
    for (WatchedModule const& one : m_modules)
        next = std::min(next, one.nextLook());
    return next;
}

void WatchSet::listen()
{
    for (WatchedModule& one : m_modules)
        one.child().listen();
}

bool WatchSet::hear(News const& news)
{
    for (WatchedModule& one : m_modules) {
        bool const isNew = news.kind == News::Kind::Connected && one.process() == news.process;
        if (one.isOver() || (!isNew && one.peer() != news.peer))
            continue;
        switch (news.kind) {
        case News::Kind::Connected:
            one.connected(news.peer);
            return true;
        case News::Kind::Said:
            one.said(*news.message);
            return true;
        case News::Kind::Gone:
            one.gone(news.reason);
            return true;
        }
    }
    return false;
}

void WatchSet::look(Clock::time_point now)
{
    for (WatchedModule& one : m_modules)
        one.look(now);
}

void WatchSet::stop()
{
    for (WatchedModule& one : m_modules)
        one.stop();
}

bool WatchSet::isOver() const
{
    return std::all_of(m_modules.begin(), m_modules.end(), [](auto& one) { return one.isOver(); });
}

bool WatchSet::hasFailed() const
{
    return std::any_of(m_modules.begin(), m_modules.end(), [](auto& one) { return one.hasFailed(); });
}

void WatchSet::run(std::function<bool()> const& isStopping)
{
    ModuleLink link;
    auto const fetcher = fetcherFor(m_options.allowedHosts); // goes before the link
    struct Closing // before the fetcher goes, for whom the link's thread may wait
    {
        Inbox& inbox;
        ~Closing() { inbox.close(); }
    } const closing{link.inbox};
    begin({*link.server, link.inbox, link.keeper, fetcher.get()});
    while (!isOver()) {
        std::vector<pollfd> waiting{{link.inbox.descriptor(), POLLIN, 0}};
        waitsFor(waiting);
        auto const until = std::min(nextLook(), Clock::now() + kSlice);
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
        ::poll(waiting.data(), waiting.size(), static_cast<int>(std::max<std::int64_t>(left, 0)));
        listen();
        for (int i = 0; i < kNewsAtOnce; ++i) {
            auto const news = link.inbox.take();
            if (!news)
                break;
            hear(*news);
        }
        if (isStopping() && !m_isStopping) {
            m_isStopping = true;
            stop();
        }
        look(Clock::now());
    }
    link.keeper.endOrphans();
}

} // namespace engine
