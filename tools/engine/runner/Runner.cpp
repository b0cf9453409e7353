#include <engine/runner/Runner.h>

#include <engine/catalog/Assignment.h>
#include <engine/runner/ActiveRun.h>
#include <engine/runner/Companion.h>
#include <engine/runner/ExitStatus.h>
#include <engine/runner/HttpRequests.h>
#include <engine/runner/ModuleLink.h>

#include <zel/foundation/StopSignal.h>

#include <algorithm>
#include <deque>
#include <list>
#include <poll.h>
#include <random>

namespace engine {
namespace {

using Clock = ActiveRun::Clock;

constexpr std::chrono::milliseconds kSlice{200}; // between two looks whether a stop was asked for
constexpr int kNewsAtOnce = 1000;                // then the clock and the processes are looked at

DeviceNamed named(zel::DeviceImp const& device)
{
    return {device.guid().toUtf8(), device.name().toUtf8(), device.description().toUtf8(),
            device.deviceType().toString().toUtf8(), device.osLocator().toUtf8()};
}

RunBegan recordOf(RunId id, PlannedRun const& plan)
{
    RunBegan record;
    record.time = std::chrono::system_clock::now();
    record.run = id;
    record.moduleGuid = plan.moduleGuid;
    record.moduleVersion = plan.moduleVersion;
    record.program = plan.program;
    record.test = plan.test;
    record.testName = plan.testName;
    record.device = named(*plan.device);
    record.parameters = plan.parameters;
    record.destructive = plan.destructive;
    record.forSeconds = static_cast<unsigned>(plan.forTime.count());
    record.limitSeconds = static_cast<unsigned>(plan.limit.count());
    record.again = plan.again;
    return record;
}

// Each round has one of its own: the same again would find nothing new.
PlannedRun withSeed(PlannedRun plan)
{
    if (!plan.drawsSeed)
        return plan;
    std::random_device device;
    std::string const seed = std::to_string((std::uint64_t{device()} << 32) | device());
    plan.parameters.emplace_back(kSeedParameter, seed);
    plan.again += std::string(" --set ") + kSeedParameter + "=" + seed;
    return plan;
}

} // namespace

Grade gradeBefore(Plan const& plan)
{
    Grade grade = plan.runs.empty() ? Grade::NotTested : Grade::Passed;
    for (Refusal const& one : plan.refusals)
        if (one.isAskedFor)
            grade = std::max({grade, gradeOf(one.result), Grade::NotTested});
    return grade;
}

struct Runner::Impl
{
    Impl(zel::StateManager const& all, RunObserver& who, RunnerOptions what,
         std::unique_ptr<HeadStart> module)
        : machine(all), observer(who), options(std::move(what)), link(module ? module->takeLink() : nullptr),
          ahead(std::move(module))
    {}

    Outcome run(Plan const& plan, Companion* beside);
    void endCompanion();
    void runAll(Plan const& plan);
    void startWhatMayStart();
    PlannedRun const* next();
    bool mayStart(PlannedRun const& plan) const;
    void start(PlannedRun const& plan);
    void pump(Clock::time_point until);
    void wait(Clock::time_point until);
    void hear(News const& news);
    void askAPerson();
    static bool isQuestionOver();
    void end();
    void skip(PlannedRun const& plan, std::string const& reason);
    void keep(Record const& record);
    void count(Grade grade) { worst = std::max(worst, grade); }
    ActiveRun* runOf(zel::IPCServer::Peer peer);
    ActiveRun* runWith(RunId id);

    zel::StateManager const& machine;
    RunObserver& observer;
    RunnerOptions options;

    std::unique_ptr<ModuleLink> link; // while it runs
    std::unique_ptr<HeadStart> ahead; // until the first run begins; uses the link
    Companion* companion = nullptr;
    std::unique_ptr<Fetcher> fetcher; // uses the server
    std::list<ActiveRun> active;
    std::deque<PlannedRun const*> pending;
    RunId lastId = 0;
    RunId asking = 0;       // of whom the person is asked just now
    bool isEnding = false;  // nothing more begins
    bool isStopped = false; // a person said so
    Grade worst = Grade::Passed;

    static inline Impl* s_asking = nullptr; // while a person is asked
};

void Runner::Impl::keep(Record const& record)
{
    if (!observer.take(record))
        count(Grade::Broken);
}

ActiveRun* Runner::Impl::runOf(zel::IPCServer::Peer peer)
{
    auto const found =
        std::find_if(active.begin(), active.end(), [&](auto& one) { return one.peer() == peer; });
    return found == active.end() ? nullptr : &*found;
}

ActiveRun* Runner::Impl::runWith(RunId id)
{
    auto const found = std::find_if(active.begin(), active.end(), [&](auto& one) { return one.id() == id; });
    return found == active.end() ? nullptr : &*found;
}

// ---- which run begins

bool Runner::Impl::mayStart(PlannedRun const& plan) const
{
    if (active.empty())
        return true;
    if (!plan.parallel || active.size() >= options.parallel)
        return false;
    return std::none_of(active.begin(), active.end(), [&](ActiveRun const& one) {
        return !one.plan().parallel || one.plan().device->guid() == plan.device->guid();
    });
}

// Those behind may go first where only their devices differ; what must run alone waits for its turn, and they behind it.
PlannedRun const* Runner::Impl::next()
{
    for (auto one = pending.begin(); one != pending.end(); ++one) {
        if (mayStart(**one)) {
            PlannedRun const* const plan = *one;
            pending.erase(one);
            return plan;
        }
        if (!(*one)->parallel)
            break;
    }
    return nullptr;
}

void Runner::Impl::startWhatMayStart()
{
    while (!isEnding) {
        PlannedRun const* const plan = next();
        if (!plan)
            return;
        start(*plan);
    }
}

void Runner::Impl::start(PlannedRun const& planned)
{
    PlannedRun const plan = withSeed(planned);
    RunId const id = ++lastId;
    // What was running when the machine went down must stand on disk before it begins; meanwhile its module starts.
    if (!observer.take(recordOf(id, plan))) { // nor could any other be recorded
        count(Grade::Broken);
        isEnding = true;
        skip(planned, "its beginning could not be written to the report");
        return;
    }
    active.emplace_back(id, plan,
                        ActiveRun::Surroundings{*link->server, machine, observer, options,
                                                [this](Record const& one) { keep(one); }, fetcher.get()});
    {
        auto const door = link->inbox.hold();
        active.back().start(ahead.get());
        if (long const process = active.back().process(); process > 0) {
            link->keeper.watch(static_cast<pid_t>(process));
            link->inbox.know(process);
        }
    }
    ahead.reset();
    active.back().prepare(); // while the module starts
}

// ---- what happens

void Runner::Impl::hear(News const& news)
{
    if (companion && companion->hear(news))
        return;
    switch (news.kind) {
    case News::Kind::Connected:
        for (ActiveRun& one : active)
            if (one.process() == news.process)
                one.connected(news.peer);
        return;
    case News::Kind::Said:
        if (ActiveRun* const run = runOf(news.peer))
            run->said(*news.message);
        return;
    case News::Kind::Gone:
        if (ActiveRun* const run = runOf(news.peer))
            run->gone(news.reason);
        return;
    }
}

void Runner::Impl::wait(Clock::time_point until)
{
    std::vector<pollfd> waiting{{link->inbox.descriptor(), POLLIN, 0}};
    for (ActiveRun& one : active) {
        one.child().waitsFor(waiting);
        until = std::min(until, one.nextLook());
    }
    if (companion) {
        companion->waitsFor(waiting);
        until = std::min(until, companion->nextLook());
    }
    auto const left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
    if (::poll(waiting.data(), waiting.size(), static_cast<int>(std::max<std::int64_t>(left, 0))) <= 0)
        return;
    for (ActiveRun& one : active)
        one.child().listen();
    if (companion)
        companion->listen();
}

void Runner::Impl::pump(Clock::time_point until)
{
    wait(until);
    for (int i = 0; i < kNewsAtOnce; ++i) {
        auto const news = link->inbox.take();
        if (!news)
            break;
        hear(*news);
    }
    if (zel::StopSignal::requested() && !isStopped) {
        isStopped = isEnding = true;
        for (ActiveRun& one : active)
            one.stop(ActiveRun::StopReason::Person);
    }
    auto const now = Clock::now();
    for (ActiveRun& one : active)
        one.look(now);
    if (companion)
        companion->look(now);
    end();
}

// Takes leave of what has ended.
void Runner::Impl::end()
{
    for (auto one = active.begin(); one != active.end();) {
        if (!one->ended()) {
            ++one;
            continue;
        }
        RunEnded const& ended = *one->ended();
        Grade const grade = gradeOf(ended.result);
        count(grade);
        isEnding |= !options.keepGoing && grade != Grade::Passed;
        keep(ended);
        link->inbox.forget(one->process());
        if (one->process() > 0)
            link->keeper.forget(static_cast<pid_t>(one->process()));
        one = active.erase(one);
        if (active.empty() && (!companion || companion->isOver())) // nobody could tell whose they are
            link->keeper.endOrphans();
    }
}

// ---- questions

bool Runner::Impl::isQuestionOver()
{
    Impl& self = *s_asking;
    self.startWhatMayStart();
    self.pump(Clock::now());
    ActiveRun* const run = self.runWith(self.asking);
    return !run || run->isStopping() || run->questions().empty();
}

void Runner::Impl::askAPerson()
{
    for (ActiveRun& one : active) {
        if (one.questions().empty())
            continue;
        zel::MessageBoxBody question = one.questions().front();
        asking = one.id();
        s_asking = this;
        observer.ask(asking, *question.box, isQuestionOver);
        s_asking = nullptr;
        // Meanwhile it may have ended, and others have come and gone.
        if (ActiveRun* const run = runWith(asking); run && !run->questions().empty())
            run->answer(question);
        return;
    }
}

// ---- the whole

void Runner::Impl::skip(PlannedRun const& plan, std::string const& reason)
{
    count(isStopped ? Grade::Stopped : Grade::NotTested);
    keep(RunSkipped{std::chrono::system_clock::now(), plan.moduleGuid, plan.test,
                    nameAndPlaceOf(*plan.device), zel::TestResultImp::SKIPPED().toString().toUtf8(), reason});
}

void Runner::Impl::runAll(Plan const& plan)
{
    unsigned const rounds = std::max(options.repeat, 1u);
    unsigned round = 0;
    for (; round < rounds && !isEnding; ++round) {
        for (PlannedRun const& one : plan.runs)
            pending.push_back(&one);
        for (startWhatMayStart(); !active.empty(); startWhatMayStart()) {
            pump(Clock::now() + kSlice);
            askAPerson();
        }
    }
    for (PlannedRun const* const one : pending)
        skip(*one,
             isStopped ? "the session was stopped before it began" : "the session ended before it began");
    pending.clear();
    // A stop between two rounds, or in the last run of one, is a stop all the same.
    if (round < rounds)
        for (PlannedRun const& one : plan.runs)
            skip(one, std::string(isStopped ? "the session was stopped" : "the session ended") +
                          " in round " + std::to_string(round) + " of " + std::to_string(rounds));
}

void Runner::Impl::endCompanion()
{
    if (!companion)
        return;
    companion->stop();
    while (!companion->isOver())
        pump(Clock::now() + kSlice);
    link->keeper.endOrphans();
    companion = nullptr;
}

Outcome Runner::Impl::run(Plan const& plan, Companion* beside)
{
    count(gradeBefore(plan));
    for (Refusal const& one : plan.refusals)
        if (one.isAskedFor)
            keep(RunSkipped{std::chrono::system_clock::now(), one.moduleGuid, one.test, one.deviceName,
                            one.result, one.reason});
    if (!link)
        link = std::make_unique<ModuleLink>();
    fetcher = fetcherFor(options.allowedHosts);
    companion = plan.runs.empty() ? nullptr : beside;
    if (companion)
        companion->begin({*link->server, link->inbox, link->keeper, fetcher.get()});
    runAll(plan);
    endCompanion();
    return {wordOf(worst), exitStatusOf(worst)};
}

Runner::Runner(zel::StateManager const& machine, RunObserver& observer, RunnerOptions options,
               std::unique_ptr<HeadStart> ahead)
    : m_impl(std::make_unique<Impl>(machine, observer, std::move(options), std::move(ahead)))
{}

Runner::~Runner()
{
    m_impl->ahead.reset();
    if (m_impl->link && m_impl->active.empty())
        m_impl->link->keeper.release();
    if (m_impl->link)
        m_impl->link->inbox.close();
    m_impl->fetcher.reset();
    if (m_impl->link)
        m_impl->link->close();
}

Outcome Runner::run(Plan const& plan, Companion* companion) { return m_impl->run(plan, companion); }

} // namespace engine
