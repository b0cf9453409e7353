// A program that logs in to the engine and then does what the key of its test says, as a module would that is well or
// ill made. A word on its command line says what it does before it logs in.
#include <zel/ipc/IPCClient.h>

#include <zel/foundation/Locks.h>
#include <zel/foundation/System.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <unistd.h>

using namespace zel;

namespace {

using What = ProgressBody::What;

constexpr std::uint32_t kPatience = 60'000;

ManagedSemaphore s_run, s_stop, s_answer, s_state, s_acknowledged, s_lost;
std::shared_ptr<RunTestEngineToProvider const> s_given;
int s_code = -1;

void take(std::shared_ptr<Message const> message)
{
    if (auto const run = std::dynamic_pointer_cast<RunTestEngineToProvider const>(message)) {
        s_given = run;
        s_run.post();
    } else if (auto const answer = std::dynamic_pointer_cast<MessageBoxEngineToProvider const>(message)) {
        s_code = answer->body().code;
        s_answer.post();
    } else if (message->typeCode() == InventoryTestEngineToProvider::kTypeCode) {
        s_state.post();
    } else if (message->typeCode() == StopTestEngineToProvider::kTypeCode) {
        s_stop.post();
    } else if (message->typeCode() == AcknowledgeEngineToProvider::kTypeCode) {
        s_acknowledged.post();
    }
}

IPCClient& client()
{
    static IPCClient s_client({take, [] { s_lost.post(); }});
    return s_client;
}

ProgressBody body(What what)
{
    ProgressBody body;
    body.what = what;
    body.run = s_given->body().run->guid();
    body.state = TestStateImp::RUNNING();
    return body;
}

void percent(int value, char const* text = "")
{
    ProgressBody progress = body(What::PercentDone);
    progress.percent = value;
    progress.information = text;
    client().queue(TestProgressProviderToEngine(progress));
}

void event(String const& text)
{
    ProgressBody progress = body(What::Events);
    LocalizedStringImp message;
    message.setOverride(text);
    progress.events.emplace_back(EventTypeImp::INFORMATIVE(), "told", 7, "E7", message);
    client().queue(TestProgressProviderToEngine(progress));
}

void result(TestResultImp const& value)
{
    ProgressBody final = body(What::FinalResult);
    final.result = value;
    client().queue(TestProgressProviderToEngine(final));
    s_acknowledged.wait(kPatience);
}

int end(TestResultImp const& value)
{
    result(value);
    client().doLogout();
    return value.value();
}

// Sanitizers answer such signals themselves.
int die(int signal)
{
    ::signal(signal, SIG_DFL);
    return ::raise(signal);
}

int hang()
{
    for (;;)
        ::pause();
}

int answerTo(String const& question)
{
    MessageBoxBody box;
    box.id = 17;
    box.run = s_given->body().run->guid();
    box.box = MessageBoxImp("Title", question, {{1, "Yes"}, {2, "No"}}, 0, 1, {});
    client().queue(MessageBoxProviderToEngine(box));
    s_answer.wait(kPatience);
    return s_code;
}

int ask() { return end(answerTo("Is the light on?") == 1 ? TestResultImp::PASS() : TestResultImp::FAIL()); }

// The last question is longer than the engine may ask.
int askAndAsk()
{
    bool isAnswered = true;
    for (int i = 0; i < 90; ++i)
        isAnswered = answerTo(String(std::string(60'000, '?'))) == 1 && isAnswered;
    isAnswered = answerTo(String(std::string(70'000, '?'))) == 2 && isAnswered;
    return end(isAnswered ? TestResultImp::PASS() : TestResultImp::FAIL());
}

// Waits for the engine each time before percentages would be put together.
int countForever()
{
    for (int i = 0; i < 60'000; ++i) {
        percent(i % 2 * 10);
        if (i % 500 == 0) {
            client().queue(EnumerationMessage());
            s_state.wait(kPatience);
        }
    }
    return end(TestResultImp::PASS());
}

int tellStories()
{
    std::string story = "a";
    while (story.size() < 1 << 20)
        story += "\xC3\xA4";
    client().queue(InternalErrorProviderToEngine({"", story}));
    ProgressBody final = body(What::FinalResult);
    final.result = TestResultImp::FAIL();
    final.resultNote = story;
    client().queue(TestProgressProviderToEngine(final));
    s_acknowledged.wait(kPatience);
    return client().doLogout(), 1;
}

int flood()
{
    for (int i = 0; i < 50'000; ++i)
        percent(i % 101);
    for (int i = 0; i < 20'000; ++i)
        event(String::number(i));
    return end(TestResultImp::PASS());
}

int beLoud()
{
    std::string const line(1023, 'x');
    for (int i = 0; i < 8 * 1024; ++i)
        std::puts(line.c_str());
    std::fputs("the last word\n", stderr);
    return end(TestResultImp::PASS());
}

// What it leaves behind holds everything open that it had.
int forkAndEnd()
{
    result(TestResultImp::PASS());
    if (::fork() == 0)
        hang();
    ::_exit(0);
}

int takeLonger()
{
    client().queue(TimeOutProviderToEngine(TimeOutBody{}));
    ::sleep(2);
    return end(TestResultImp::PASS());
}

int hurry()
{
    client().queue(TimeOutProviderToEngine(TimeOutBody{1}));
    return hang();
}

int tellOfState()
{
    StateManager const& state = *s_given->body().state;
    String text = "devices:";
    for (std::size_t i = 0; i < state.deviceCount(); ++i)
        text += " " + state.deviceAtIndex(i)->guid();
    text += state.nextModule(nullptr) ? ", module " + state.nextModule(nullptr)->guid() : ", no module";
    text += ", for " + String::number(s_given->body().run->minTime());
    for (auto const& one : s_given->body().run->givenParameters())
        text += ", " + one.key + "=" + one.value.toString();
    event(text);
    return end(TestResultImp::PASS());
}

void tellWhoIAm()
{
    for (auto const& one : s_given->body().run->givenParameters())
        std::ofstream(one.value.toString().toUtf8()) << ::getpid() << std::flush;
}

// A child in its group, and one that left it; both hold open all that it has.
int haveAFamily()
{
    for (auto const& one : s_given->body().run->givenParameters()) {
        pid_t const child = ::fork();
        if (child == 0) {
            if (one.key == "outside")
                ::setsid();
            std::ofstream(one.value.toString().toUtf8()) << ::getpid() << std::flush;
            hang();
        }
    }
    for (auto const& one : s_given->body().run->givenParameters())
        for (std::string id; id.empty(); ::usleep(1000))
            std::ifstream(one.value.toString().toUtf8()) >> id;
    percent(1);
    return 0;
}

// Both for a while, as by a debugger.
int stopBoth()
{
    pid_t const both[] = {::getppid(), ::getpid()};
    percent(10);
    if (::fork() == 0) {
        for (pid_t const one : both)
            ::kill(one, SIGSTOP);
        ::usleep(500'000);
        for (pid_t const one : both)
            ::kill(one, SIGCONT);
        ::_exit(0);
    }
    ::usleep(300'000);
    return end(TestResultImp::PASS());
}

int overlap() // whether another one runs at the same time
{
    int const lock = ::open(s_given->body().run->givenParameters().at(0).value.toString().toUtf8().c_str(),
                            O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    ::usleep(300'000);
    if (lock >= 0)
        ::unlink(s_given->body().run->givenParameters().at(0).value.toString().toUtf8().c_str());
    return end(lock >= 0 ? TestResultImp::PASS() : TestResultImp::WARN());
}

std::map<std::string, std::function<int()>> const& deeds()
{
    static std::map<std::string, std::function<int()>> const s_deeds{
        {"pass", [] { return percent(50, "half way"), event("hello\r\n"), end(TestResultImp::PASS()); }},
        {"fail", [] { return end(TestResultImp::FAIL()); }},
        {"crash", [] { return percent(30), die(SIGSEGV); }},
        {"silent", [] { return client().doLogout(), 0; }},
        {"error",
         [] {
             return client().queue(InternalErrorProviderToEngine({"", "the sky fell"})), client().doLogout(),
                    22;
         }},
        {"passThenCrash", [] { return result(TestResultImp::PASS()), die(SIGABRT); }},
        {"passThenStatus", [] { return end(TestResultImp::PASS()), 22; }},
        {"killed", [] { return percent(1), die(SIGKILL); }},
        {"passThenKilled", [] { return result(TestResultImp::PASS()), die(SIGKILL); }},
        {"passAndLeaveThenKilled", [] { return end(TestResultImp::PASS()), die(SIGKILL); }},
        {"stopBoth", stopBoth},
        {"passThenHang", [] { return result(TestResultImp::PASS()), hang(); }},
        {"failThenCrash", [] { return result(TestResultImp::FAIL()), die(SIGSEGV); }},
        {"obey", [] { return percent(1), s_stop.wait(kPatience), end(TestResultImp::USERABORTED()); }},
        {"passWhenStopped", [] { return percent(1), s_stop.wait(kPatience), end(TestResultImp::PASS()); }},
        {"failWhenStopped", [] { return percent(1), s_stop.wait(kPatience), end(TestResultImp::FAIL()); }},
        {"ignore", [] { return percent(1), hang(); }},
        {"ignoreAll", [] { return ::signal(SIGTERM, SIG_IGN), percent(1), hang(); }},
        {"freeze", [] { return percent(1), ::raise(SIGSTOP); }},
        {"ask", ask},
        {"askAndAsk", askAndAsk},
        {"countForever", countForever},
        {"tellStories", tellStories},
        {"flood", flood},
        {"loud", beLoud},
        {"fork", forkAndEnd},
        {"longer", takeLonger},
        {"hurry", hurry},
        {"state", tellOfState},
        {"whoAmI", [] { return tellWhoIAm(), percent(1), hang(); }},
        {"whoAmIThenPass", [] { return tellWhoIAm(), end(TestResultImp::PASS()); }},
        {"family", [] { return haveAFamily(), hang(); }},
        {"familyThenCrash", [] { return haveAFamily(), die(SIGSEGV); }},
        {"overlap", overlap},
    };
    return s_deeds;
}

} // namespace

int main(int argc, char** argv)
{
    std::int64_t engine = 0;
    std::string before = argv[argc - 1];
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::strcmp(argv[i], "-ePid") == 0)
            engine = std::atoll(argv[i + 1]);
        if (std::strcmp(argv[i], "-bd") == 0) // where a module has its log; there only if the folder is
            std::ofstream(std::string(argv[i + 1]) + "/logs/wayward_" + std::to_string(::getpid()) + ".log")
                << "last line\n";
    }
    if (before == "leave") {
        std::fputs("no licence\n", stderr);
        return 26;
    }
    if (before == "die")
        return die(SIGSEGV);
    if (before == "wait")
        return hang();
    if (before == "killedBefore")
        return die(SIGKILL);
    if (!client().doLogin(IPCClient::getLoginSHMName(engine))) {
        std::fputs(client().failure().toUtf8().c_str(), stderr);
        return 28;
    }
    if (before == "mute")
        return hang();
    if (before == "killedThen")
        return die(SIGKILL);
    client().queue(ModuleStarted({"guid", "DIAG", "1", "1", System::processId()}));
    s_run.wait(kPatience);
    if (before == "killedAfter")
        return die(SIGKILL);
    return deeds().at(s_given->body().run->testGuidOrKey().toUtf8())();
}
