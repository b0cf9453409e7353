#include <engine/runner/ActiveRun.h>

#include <engine/runner/HeadStart.h>
#include <engine/runner/Questions.h>
#include <engine/runner/StateForRun.h>

#include <zel/foundation/System.h>

#include <algorithm>
#include <utility>

namespace engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using zel::ProgressBody;
using zel::TestResultImp;

constexpr seconds kEnding{10};     // of a process that has nothing more to say
constexpr seconds kTermination{2}; // from SIGTERM to SIGKILL
constexpr seconds kDying{5};       // of what waits in the kernel for a drive that does not answer
constexpr seconds kSettling{1};    // from the end of the process to that of its connection
constexpr milliseconds kArriving{200};
constexpr std::size_t kMostEvents = 10'000;
constexpr std::size_t kLogTailBytes = 16u << 10;
constexpr std::size_t kMostQuestions = 100;
constexpr std::size_t kQuestionUnits = 64u << 10; // of one: more than anybody reads
constexpr std::size_t kTextBytes = 16u << 10;     // of one text beside the result

std::string text(zel::String const& of) { return of.toUtf8(); }

std::string text(zel::LocalizedStringImp const& of) { return of.toString().toUtf8(); }

// On a console a module ends its line itself; in a record the line is whole without.
std::string withoutLineEnds(std::string text)
{
    text.erase(text.find_last_not_of("\r\n") + 1);
    return text;
}

RunEvent recordOf(RunId run, zel::TestRunEventImp const& event)
{
    RunEvent record;
    record.time = std::chrono::system_clock::now();
    record.run = run;
    record.type = text(event.type().toString());
    record.key = text(event.key());
    record.code = text(event.eventCodeString());
    record.message = withoutLineEnds(text(event.message()));
    record.file = text(event.sourceFile());
    record.line = event.sourceLine();
    if (event.device())
        record.deviceName = text(event.device()->m_name);
    for (std::size_t i = 0; i < event.tipCount(); ++i)
        record.tips.push_back(withoutLineEnds(text(event.tip(i))));
    return record;
}

std::string bounded(std::string text)
{
    if (text.size() <= kTextBytes)
        return text;
    std::size_t end = kTextBytes;
    while (end > 0 && (text[end] & 0xC0) == 0x80) // inside a character
        --end;
    return text.substr(0, end) + " ...";
}

bool isTooLong(zel::MessageBoxImp const& box)
{
    std::size_t units = box.title().size() + box.text().size();
    for (auto const& one : box.answers())
        units += one.text.size() + one.english.size();
    return units > kQuestionUnits;
}

// A note is one line of a table. What follows, a stack for one, stands in the module's last words and in its log.
std::string firstLine(std::string text) { return text.substr(0, text.find_first_of("\r\n")); }

void append(std::string& note, std::string const& more)
{
    if (!more.empty())
        note += (note.empty() ? "" : "; ") + more;
}

} // namespace

ActiveRun::ActiveRun(RunId id, PlannedRun const& plan, Surroundings const& surroundings)
    : m_id(id), m_plan(plan), m_around(surroundings)
{}

std::vector<std::string> wordsToRun(RunnerOptions const& options)
{
    std::vector<std::string> words{"run", "-e", "-ePid", std::to_string(zel::System::processId())};
    if (!options.logFolder.empty())
        words.insert(words.end(), {"-bd", options.logFolder});
    words.insert(words.end(), options.words.begin(), options.words.end());
    return words;
}

void ActiveRun::start(HeadStart* ahead)
{
    RunnerOptions const& options = m_around.options;
    std::vector<std::string> const words = wordsToRun(options);
    m_began = Clock::now();
    m_mustRegister = m_began + options.registration;
    if (m_plan.limit.count() > 0)
        m_limit = m_began + m_plan.limit;
    int const error =
        ahead && ahead->give(m_plan.program, words, m_child) ? 0 : m_child.start(m_plan.program, words);
    if (error == 0) {
        m_process = m_child.id();
        return;
    }
    m_ended = RunEnded{};
    m_ended->time = std::chrono::system_clock::now();
    m_ended->run = m_id;
    m_ended->result = text(TestResultImp::EXECFAILED().toString());
    m_ended->note = m_plan.program + ": " + text(zel::System::errorText(error));
    m_ended->passes = 0;
}

void ActiveRun::send(zel::Message const& message)
{
    if (m_peer)
        m_around.server.queue(*m_peer, message);
}

void ActiveRun::reply(zel::Message const& request, zel::Message&& message)
{
    message.setNumber(request.number());
    send(message);
}

// Of several connections the first is the module's own.
void ActiveRun::connected(zel::IPCServer::Peer peer)
{
    if (m_peer) {
        m_around.server.disconnect(peer);
        return;
    }
    m_peer = peer;
    if (isStopping())
        send(zel::StopTestEngineToProvider());
}

void ActiveRun::said(zel::Message const& message)
{
    if (dynamic_cast<zel::ModuleStarted const*>(&message))
        tellWhatToRun(message);
    else if (auto const* progress = dynamic_cast<zel::TestProgressProviderToEngine const*>(&message))
        take(*progress);
    else if (auto const* box = dynamic_cast<zel::MessageBoxProviderToEngine const*>(&message))
        ask(box->body());
    else if (auto const* limit = dynamic_cast<zel::TimeOutProviderToEngine const*>(&message))
        moveLimit(limit->body());
    else if (auto const* error = dynamic_cast<zel::InternalErrorProviderToEngine const*>(&message))
        m_internalError = bounded(firstLine(text(error->body().text)));
    else if (dynamic_cast<zel::EnumerationReturnedProviderToEngine const*>(&message))
        reply(message, zel::AcknowledgeEngineToProvider());
    else if (m_peer)
        answerQuestion(message, *m_peer, {m_around.server, m_around.fetcher},
                       [this] { return stateFor(m_plan, m_around.machine); });
}

void ActiveRun::tellWhatToRun(zel::Message const& request)
{
    if (m_isTold || m_isNotKept)
        return;
    if (!m_around.observer.flush()) {
        m_isNotKept = true;
        askToEnd(Clock::now(), false);
        return;
    }
    m_isTold = true;
    prepare();
    reply(request, *std::exchange(m_toRun, std::nullopt));
}

void ActiveRun::prepare()
{
    if (m_toRun)
        return;
    auto run = zel::TestRunImp::restored(zel::TestRunImp(nullptr, nullptr).guid(), zel::String(m_plan.test),
                                         m_plan.device->guid());
    m_guid = run.guid();
    for (auto const& [key, value] : m_plan.parameters)
        run.restoreParameter(
            {zel::String(key), zel::ValueImp(zel::String(value)), zel::ParameterSourceImp::CLIENT()});
    run.setMinTime(static_cast<unsigned>(m_plan.forTime.count()));
    auto const state = stateFor(m_plan, m_around.machine);
    m_toRun.emplace(zel::TestRunBody{state, std::move(run), zel::stateDocumentOf(*state)});
}

// ---- what the module says of the run

void ActiveRun::take(zel::TestProgressProviderToEngine const& report)
{
    ProgressBody const& body = report.body();
    if (!m_isTold || body.run != m_guid) // of a run that it was not given
        return;
    m_pass = body.pass;
    switch (body.what) {
    case ProgressBody::What::PercentDone:
    case ProgressBody::What::TimeLeft:
    case ProgressBody::What::Information:
        return takeProgress(body);
    case ProgressBody::What::Events:
        return takeEvents(body);
    case ProgressBody::What::FinalResult:
        // A result after a stop is what the test makes of the stop; the first one counts.
        if (!m_final)
            m_final = body;
        if (!isStopping())
            m_mustEnd = Clock::now() + kEnding;
        m_questions.clear();
        reply(report, zel::AcknowledgeEngineToProvider());
        return;
    }
}

// A run that is stopped closes with 100 %, but has not done all.
void ActiveRun::takeProgress(ProgressBody const& body)
{
    if (isStopping())
        return;
    int const tenth = body.percent / 10;
    if (body.percent >= 0 && tenth != m_tenth) {
        m_tenth = tenth;
        m_around.keep(RunProgress{std::chrono::system_clock::now(), m_id, body.percent, body.pass});
    }
    m_around.observer.progressed(m_id, body.percent, body.pass, body.timeLeft,
                                 bounded(text(body.information)));
}

void ActiveRun::takeEvents(ProgressBody const& body)
{
    for (zel::TestRunEventImp const& event : body.events)
        if (m_events++ < kMostEvents)
            m_around.keep(recordOf(m_id, event));
}

void ActiveRun::moveLimit(zel::TimeOutBody const& body)
{
    m_ownLimit.reset();
    if (body.seconds)
        m_ownLimit = Clock::now() + seconds(*body.seconds);
}

void ActiveRun::ask(zel::MessageBoxBody const& body)
{
    bool const isTooMuch = m_questions.size() >= kMostQuestions || isTooLong(*body.box);
    if (isTooMuch)
        ++m_notAsked;
    if (isStopping() || isTooMuch) {
        send(zel::MessageBoxEngineToProvider({body.id, body.box->cancelCode(), true}));
        return;
    }
    if (m_questions.empty())
        m_asking = Clock::now();
    m_questions.push_back(body);
}

void ActiveRun::answer(zel::MessageBoxBody const& question)
{
    std::erase_if(m_questions, [&](auto const& one) { return one.id == question.id; });
    zel::MessageBoxImp const& box = *question.box;
    bool const isAnswered = box.hasAnswer() && !box.wasCutShort();
    RunQuestion record{
        std::chrono::system_clock::now(), m_id, text(box.title()), text(box.text()), {}, isAnswered};
    int const code = box.answer(); // the default where nobody was asked
    for (auto const& one : box.answers())
        if (one.code == code)
            record.answer = text(one.text);
    m_around.keep(record);
    send(zel::MessageBoxEngineToProvider({question.id, code, box.wasCutShort()}));
    if (m_questions.empty() && m_asking) { // a limit is for the test, not for the person
        for (auto* const limit : {&m_limit, &m_ownLimit})
            if (*limit)
                **limit += Clock::now() - *m_asking;
        m_asking.reset();
    }
}

void ActiveRun::gone(zel::String const& reason)
{
    m_isGone = true;
    m_brokenRule = reason;
    m_questions.clear();
    if (!m_mustEnd)
        m_mustEnd = Clock::now() + kEnding;
}

// ---- its end

void ActiveRun::stop(StopReason reason)
{
    if (isStopping() || m_ended)
        return;
    if (!m_final) // else it has come to its end already
        m_stopReason = reason;
    askToEnd(Clock::now(), m_peer && !m_isGone);
}

void ActiveRun::askToEnd(Clock::time_point now, bool isConnected)
{
    m_step = Step::Asked;
    m_nextStep = now;
    if (isConnected) {
        send(zel::StopTestEngineToProvider());
        m_nextStep += seconds(m_plan.shutdownSeconds);
    }
    for (auto const& one : m_questions)
        send(zel::MessageBoxEngineToProvider({one.id, one.box->cancelCode(), true}));
    m_questions.clear();
    m_asking.reset();
}

void ActiveRun::escalate(Clock::time_point now)
{
    if (now < m_nextStep)
        return;
    switch (m_step) {
    case Step::None:
        return;
    case Step::Asked:
        m_child.terminate();
        m_step = Step::Terminated;
        m_nextStep = now + kTermination;
        return;
    case Step::Terminated:
        m_child.kill();
        m_step = Step::Killed;
        m_nextStep = now + kDying;
        return;
    case Step::Killed:
        m_child.giveUp();
        m_processEnd = Child::End{};
        m_settled = now;
        return;
    }
}

static bool isPast(std::optional<std::chrono::steady_clock::time_point> const& limit,
                   std::chrono::steady_clock::time_point now)
{
    return limit && now >= *limit;
}

void ActiveRun::lookAtLimits(Clock::time_point now)
{
    if (isStopping())
        return;
    if (!m_isTold && now >= m_mustRegister) {
        m_isLate = true;
        askToEnd(now, false);
    } else if (m_mustEnd && now >= *m_mustEnd) {
        m_isLate = true;
        askToEnd(now, false);
    } else if (!m_asking && !m_final && (isPast(m_limit, now) || isPast(m_ownLimit, now))) {
        m_isOwnLimit = !isPast(m_limit, now);
        stop(StopReason::Limit);
    }
}

void ActiveRun::look(Clock::time_point now)
{
    if (m_ended)
        return;
    if (!m_processEnd) {
        if (auto const end = m_child.reap()) {
            m_processEnd = *end;
            m_settled = now + (m_peer ? Clock::duration(kSettling) : Clock::duration(kArriving));
        } else {
            lookAtLimits(now);
            escalate(now);
        }
    }
    // What it said before it ended is heard first.
    if (m_processEnd && (m_isGone || now >= m_settled))
        finish(*m_processEnd);
}

ActiveRun::Clock::time_point ActiveRun::nextLook() const
{
    if (m_ended)
        return Clock::now();
    if (m_processEnd)
        return m_settled;
    if (isStopping())
        return m_nextStep;
    auto next = Clock::now() + seconds(1);
    if (!m_isTold)
        next = std::min(next, m_mustRegister);
    for (auto const& one : {m_limit, m_ownLimit, m_mustEnd})
        if (one)
            next = std::min(next, *one);
    return next;
}

std::string ActiveRun::howItEnded(Child::End const& end) const
{
    if (!end.signal.empty() && m_step >= Step::Terminated)
        return std::string("did not end by itself and was ended by ") + end.signal;
    if (!end.signal.empty())
        return "ended by " + end.signal;
    if (end.status)
        return "ended with status " + std::to_string(*end.status);
    return m_step == Step::Killed ? "does not end, even when killed" : "nobody knows how it ended";
}

ActiveRun::Judgement ActiveRun::withoutResult(Child::End const& end) const
{
    if (m_isNotKept)
        return {TestResultImp::CANNOTRUN(),
                "not run, since its beginning could not be written to the report"};
    std::string note = howItEnded(end);
    if (!m_isTold) {
        note += m_isLate ? std::string(", after it had not registered with the engine in time")
                         : std::string(" before it registered with the engine");
        append(note, m_child.lastLine());
        return {TestResultImp::MODULEFAILEDTOSTART(), note};
    }
    note += " and gave no result";
    return {TestResultImp::EXITEDABNORMALLY(), note};
}

// A result is believed when the process that gave it ends as it should. A FAIL is never taken back.
ActiveRun::Judgement ActiveRun::withResult(Child::End const& end) const
{
    TestResultImp const& result = m_final->result;
    bool const isPass = result == TestResultImp::PASS();
    bool const hasEndedWell = end.signal.empty() && !m_isLate &&
                              (end.status ? *end.status == 0 || !isPass : m_step != Step::Killed);
    std::string note = bounded(text(m_final->resultNote));
    if (hasEndedWell && isPass && m_final->isResultForced) // nothing was tested; the note says so
        return {TestResultImp::SKIPPED(), note};
    if (hasEndedWell)
        return {result, note};
    append(note, "gave " + text(result.toString()) + ", then " + howItEnded(end));
    return {result == TestResultImp::FAIL() ? result : TestResultImp::EXITEDABNORMALLY(), note};
}

ActiveRun::Judgement ActiveRun::judge(Child::End const& end) const
{
    Judgement judgement = m_final ? withResult(end) : withoutResult(end);
    if (m_stopReason && judgement.result != TestResultImp::FAIL()) {
        judgement.result = *m_stopReason == StopReason::Limit ? TestResultImp::MAXTIMEEXCEEDED()
                                                              : TestResultImp::USERABORTED();
        judgement.note.clear();
        if (*m_stopReason == StopReason::Limit)
            judgement.note = m_isOwnLimit
                                 ? std::string("stopped after the time that the test itself set")
                                 : "stopped after " + std::to_string(m_plan.limit.count()) + " s, its limit";
        // Status 24 is what a stop makes of a module; where SIGTERM was needed, that is worth saying.
        if (m_step >= Step::Terminated || end.status != TestResultImp::USERABORTED().value())
            append(judgement.note, howItEnded(end));
    }
    if (!m_brokenRule.empty())
        append(judgement.note, "its connection was closed: " + text(m_brokenRule));
    if (m_notAsked > 0)
        append(judgement.note, "questions that were not asked, being too many at once or too long: " +
                                   std::to_string(m_notAsked));
    append(judgement.note, m_internalError);
    return judgement;
}

std::string ActiveRun::logTail() const
{
    std::string const folder = m_around.options.logFolder.empty() ? "." : m_around.options.logFolder;
    return tailOf(folder + "/logs", m_plan.moduleGuid + "_" + std::to_string(m_process) + ".log",
                  kLogTailBytes);
}

void ActiveRun::finish(Child::End const& end)
{
    if (m_events > kMostEvents) {
        RunEvent left;
        left.time = std::chrono::system_clock::now();
        left.run = m_id;
        left.type = text(zel::EventTypeImp::WARNING().toString());
        left.key = "eventsLeftOut";
        left.message = std::to_string(m_events - kMostEvents) + " more events were left out";
        m_around.keep(left);
    }
    Judgement const judgement = judge(end);
    RunEnded ended;
    ended.time = std::chrono::system_clock::now();
    ended.run = m_id;
    ended.result = text(judgement.result.toString());
    ended.note = judgement.note;
    ended.seconds = std::chrono::duration<double>(Clock::now() - m_began).count();
    ended.passes = m_pass;
    ended.exitStatus = end.status;
    ended.signal = end.signal;
    ended.output = m_child.said();
    if (judgement.result != TestResultImp::PASS())
        ended.logTail = logTail();
    m_ended = std::move(ended);
    if (m_peer && !m_isGone) // a process that it forked off holds the connection
        m_around.server.disconnect(*m_peer);
}

} // namespace engine
