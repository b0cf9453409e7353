#include <sensors/Poller.h>

#include <sensors/BackgroundThread.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

namespace krel5::modules::sensors {

namespace {

using Clock = Poller::Clock;

/// Passes with errors. A drive that is asked for its health has had a minute, and is asked seldom.
unsigned silentAfter(Part const& part) { return part.isHealth ? 1 : 3; }
constexpr std::chrono::seconds kFirstRest{5};
constexpr std::chrono::milliseconds kHolds{50}; ///< who needs longer holds up the others of its lane
constexpr std::chrono::milliseconds kFast{20};  ///< who was slow and answers within this is waited for again

std::string secondsOf(Clock::duration time)
{
    return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(time).count());
}

struct Lane;

/// What is known of a part between two passes. The counters belong to whoever reads the lane, the rest to the poller's lock.
struct Watched
{
    std::shared_ptr<Part const> part;
    std::weak_ptr<Lane> lane; ///< in which it is read
    Counters counters;
    Readings last;
    std::string failure;
    unsigned failures = 0; ///< in a row
    Clock::time_point notBefore{};
    bool isNew = false, hasAnswered = false;
    unsigned long taken = 0; ///< pass after which it was
};

struct Lane
{
    std::vector<std::shared_ptr<Watched>> parts;
    bool isBusy = false;              ///< waits for a thread or is being read
    bool hasThread = false;           ///< is being read
    bool isSlow = false;              ///< is not waited for: it was not done when the patience was over
    bool isLate = false;              ///< was not done within the deadline
    Watched const* current = nullptr; ///< is being read
    Clock::duration deadline = Poller::kDeadline;
    Clock::time_point since{};        ///< waits for a thread, or has had it
    Clock::time_point currentSince{}; ///< the current part is being read
    Clock::time_point restsUntil{};   ///< of a lane that was late
};

} // namespace

struct Poller::State
{
    explicit State(std::string const& root) : files(root) {}

    MachineFiles const files;
    std::mutex lock;
    std::condition_variable work, done;
    std::map<std::string, std::shared_ptr<Lane>>
        lanes; ///< by name; of a part that held up others by that and its id
    std::map<std::string, std::shared_ptr<Watched>> parts; ///< by id
    Clock::duration healthInterval = std::chrono::minutes(10);
    std::deque<std::shared_ptr<Lane>> waiting;
    std::size_t threads = 0, idle = 0;
    bool isOver = false;
    unsigned long pass = 0;

    void note(Watched& watched, Readings readings);
    void readLane(std::shared_ptr<Lane> const& lane, std::vector<std::shared_ptr<Watched>> const& parts);
    void enqueue(std::shared_ptr<Lane> const& lane, Clock::time_point now);
    void separate();
    std::size_t separatedFrom(std::string const& name) const;
    void serve();
    std::size_t awaited() const;
};

void Poller::State::note(Watched& watched, Readings readings)
{
    std::lock_guard const guard(lock);
    bool const answers = !readings.values.empty() || readings.failure.empty();
    watched.failure = std::move(readings.failure);
    if (answers) {
        watched.failures = 0;
        watched.hasAnswered = watched.isNew = true;
        watched.last = std::move(readings);
        if (watched.part->isHealth)
            watched.notBefore = Clock::now() + healthInterval;
        return;
    }
    auto const rest = kFirstRest * (1 << std::min(watched.failures, 6u));
    bool const mayRest = ++watched.failures >= silentAfter(*watched.part);
    watched.notBefore = watched.part->isHealth ? Clock::now() + healthInterval
                        : mayRest              ? Clock::now() + std::min<Clock::duration>(rest, kLongestRest)
                                               : Clock::time_point();
}

void Poller::State::readLane(std::shared_ptr<Lane> const& lane,
                             std::vector<std::shared_ptr<Watched>> const& watchedParts)
{
    PassFiles passFiles(files);
    for (auto const& watched : watchedParts) {
        std::shared_ptr<Part const> part;
        {
            std::lock_guard const guard(lock);
            if (watched->lane.lock() != lane) // another thread reads it by now
                continue;
            lane->current = watched.get();
            lane->currentSince = Clock::now();
            part = watched->part;
            if (lane->currentSince < watched->notBefore)
                continue;
        }
        Readings readings;
        try {
            part->read(*part, passFiles, watched->counters, readings);
        } catch (std::exception const& e) { // memory is short
            readings = Readings();
            readings.failure = e.what();
        }
        note(*watched, std::move(readings));
    }
}

void Poller::State::serve()
{
    std::unique_lock guard(lock);
    for (;;) {
        ++idle;
        work.wait(guard, [this] { return isOver || !waiting.empty(); });
        --idle;
        if (isOver)
            break;
        std::shared_ptr<Lane> const lane = std::move(waiting.front());
        waiting.pop_front();
        lane->hasThread = true;
        lane->since = Clock::now();
        auto const those = lane->parts;
        guard.unlock();
        readLane(lane, those);
        guard.lock();
        if (lane->isLate) // who was late once is asked again after as long a rest
            lane->restsUntil =
                Clock::now() + std::min<Clock::duration>(Clock::now() - lane->since, kLongestRest);
        lane->isLate = Clock::now() - lane->since >= lane->deadline;
        lane->isSlow = lane->isSlow && Clock::now() - lane->since >= kFast;
        lane->isBusy = lane->hasThread = false;
        lane->current = nullptr;
        done.notify_all();
    }
    --threads;
}

void Poller::State::enqueue(std::shared_ptr<Lane> const& lane, Clock::time_point now)
{
    lane->isBusy = true;
    lane->since = now;
    waiting.push_back(lane);
}

constexpr char kOwn = '\n'; // between the name of a lane and the id of the part that has one of its own

std::size_t Poller::State::separatedFrom(std::string const& name) const
{
    std::string const prefix = name + kOwn;
    std::size_t count = 0;
    for (auto at = lanes.lower_bound(prefix); at != lanes.end() && at->first.starts_with(prefix); ++at)
        count += at->second->isBusy;
    return count;
}

/// Of a chip one input may wait for a line that is not connected while the others answer. Where several do, the driver waits for its
/// bus, and threads for the others would wait as well.
void Poller::State::separate()
{
    auto const now = Clock::now();
    std::vector<std::string> names;
    for (auto const& [name, lane] : lanes)
        if (lane->hasThread && lane->current && now - lane->currentSince >= kHolds && lane->parts.size() > 1)
            names.push_back(name);
    for (std::string const& name : names) {
        if (separatedFrom(name) + 1 >= kMostOfLane)
            continue;
        auto const stuck = lanes.at(name);
        auto const own = std::find_if(stuck->parts.begin(), stuck->parts.end(),
                                      [&](auto const& one) { return one.get() == stuck->current; });
        if (own == stuck->parts.end()) // it is not watched any more
            continue;
        auto const others = std::make_shared<Lane>();
        others->deadline = stuck->deadline;
        std::rotate(stuck->parts.begin(), own, own + 1);
        others->parts.assign(stuck->parts.begin() + 1, stuck->parts.end());
        stuck->parts.resize(1);
        for (auto const& watched : others->parts)
            watched->lane = others;
        lanes[name + kOwn + stuck->parts.front()->part->id()] = stuck;
        lanes[name] = others;
        stuck->isSlow = true;
        enqueue(others, now);
    }
}

std::size_t Poller::State::awaited() const
{
    return static_cast<std::size_t>(std::count_if(lanes.begin(), lanes.end(), [](auto const& one) {
        return one.second->isBusy && !one.second->isSlow;
    }));
}

Poller::Poller(std::string const& root) : m_state(std::make_shared<State>(root)) {}

Poller::~Poller()
{
    std::lock_guard const guard(m_state->lock);
    m_state->isOver = true;
    m_state->work.notify_all();
}

void Poller::setHealthInterval(std::chrono::milliseconds interval)
{
    std::lock_guard const guard(m_state->lock);
    m_state->healthInterval = interval;
}

MachineFiles const& Poller::files() const { return m_state->files; }

void Poller::setParts(std::vector<std::shared_ptr<Part const>> parts)
{
    std::lock_guard const guard(m_state->lock);
    auto const before = std::move(m_state->parts);
    m_state->parts.clear();
    for (auto& [name, lane] : m_state->lanes)
        lane->parts.clear();
    for (auto& part : parts) {
        auto const known = before.find(part->id());
        auto watched = known != before.end() ? known->second : std::make_shared<Watched>();
        if (known != before.end() && !(*watched->part == *part)) { // a thread may be reading the old one
            auto const old = std::exchange(watched, std::make_shared<Watched>());
            watched->last = old->last;
            watched->hasAnswered = old->hasAnswered;
            if (old->part->lane == part->lane)
                watched->lane = old->lane;
        }
        if (!watched->part) {
            watched->part = part;
            watched->taken = m_state->pass;
        }
        auto lane = watched->lane.lock();
        if (!lane) {
            auto& named = m_state->lanes[part->lane];
            lane = named ? named : named = std::make_shared<Lane>();
            watched->lane = lane;
        }
        lane->deadline = part->isHealth ? kHealthDeadline : kDeadline;
        lane->parts.push_back(watched);
        m_state->parts[part->id()] = std::move(watched);
    }
    std::erase_if(m_state->lanes,
                  [](auto const& one) { return one.second->parts.empty() && !one.second->isBusy; });
}

void Poller::tend()
{
    std::unique_lock guard(m_state->lock);
    if (m_state->waiting.empty() || m_state->idle > 0 || m_state->threads >= kMostThreads)
        return;
    ++m_state->threads;
    if (!startInBackground([state = m_state] { state->serve(); }))
        --m_state->threads;
}

void Poller::read(std::chrono::milliseconds patience)
{
    constexpr std::chrono::milliseconds kStep{
        10}; // a thread that needs longer for one lane is not waited for by the next
    auto const begin = Clock::now();
    std::unique_lock guard(m_state->lock);
    ++m_state->pass;
    for (auto& [name, lane] : m_state->lanes) {
        if (lane->isBusy) {
            lane->isLate = lane->isLate || (lane->hasThread && begin - lane->since >= lane->deadline);
            continue;
        }
        bool const restsAll = std::all_of(lane->parts.begin(), lane->parts.end(),
                                          [begin](auto const& one) { return begin < one->notBefore; });
        if (begin < lane->restsUntil || restsAll)
            continue;
        m_state->enqueue(lane, begin);
    }
    m_state->separate();
    while (m_state->awaited() > 0 && Clock::now() - begin < patience) {
        guard.unlock();
        tend();
        m_state->work.notify_one();
        guard.lock();
        m_state->done.wait_for(guard, kStep, [this] { return m_state->awaited() == 0; });
        m_state->separate();
    }
    m_state->work.notify_all();
    for (auto& [name, lane] : m_state->lanes)
        lane->isSlow = lane->isSlow || lane->isBusy;
}

std::optional<Poller::Last> Poller::take(std::string const& id)
{
    std::lock_guard const guard(m_state->lock);
    auto const found = m_state->parts.find(id);
    if (found == m_state->parts.end())
        return std::nullopt;
    Watched& watched = *found->second;
    auto const lane = watched.lane.lock();
    bool const isOver = lane && lane->isBusy && Clock::now() - lane->since >= lane->deadline;
    bool const isUnasked = isOver && !lane->hasThread; // which is not its fault
    bool const isLate = lane && !isUnasked && (lane->isLate || isOver);
    std::string const path = (watched.part->isHealth ? "smartctl /dev/" : "/") + watched.part->path;
    Last last{watched.last,
              watched.isNew,
              isLate || isUnasked || watched.failures >= silentAfter(*watched.part),
              isLate && lane->current == &watched,
              watched.hasAnswered,
              isLate ? path + ": no answer within " + secondsOf(lane->deadline) + " s"
              : isUnasked
                  ? path + ": not asked, since " + std::to_string(kMostThreads) + " others do not answer"
                  : watched.failure};
    watched.isNew = false;
    watched.taken = m_state->pass;
    return last;
}

bool Poller::wasTaken(std::string const& id) const
{
    std::lock_guard const guard(m_state->lock);
    auto const found = m_state->parts.find(id);
    return found == m_state->parts.end() || found->second->taken == m_state->pass;
}

} // namespace krel5::modules::sensors
