// The engine link against a raw Unix-domain socket, both between two processes and in turns: a request and its reply of
// the same sizes; and progress, from the module's call to the engine's handler, against the same messages built and
// parsed by pugixml. A ratio is the median of its rounds. Exchanges are measured twice, each with both pairs of processes on
// the same processors: what a kernel makes of it, whether it wakes the other side where it is or on another processor, is
// several times what anything else costs, and it does not decide the same way for both pairs.
#include <zel/foundation/Locks.h>
#include <zel/foundation/Stopwatch.h>
#include <zel/ipc/Frame.h>
#include <zel/ipc/IPCClient.h>
#include <zel/ipc/IPCServer.h>

#include <pugixml.hpp>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sched.h>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace zel;

namespace {

constexpr int kExchanges = 3000, kProgress = 30'000, kRounds = 9;

TestProgressProviderToEngine progress(ProgressBody::What what, int percent)
{
    ProgressBody body;
    body.what = what;
    body.run = "0f7a3f52-5a1c-4b0e-8a50-2f3f9d1f6a11";
    body.state = TestStateImp::RUNNING();
    body.result = TestResultImp::PASS();
    body.percent = percent;
    body.timeLeft = 120;
    body.information = "Writing pattern 0x55 to block 17 of 256";
    return TestProgressProviderToEngine(body);
}

std::size_t sizeOf(Message const& message) { return FrameHeader::kSize + message.serialize().size(); }

void expect(bool isSo, char const* what)
{
    if (isSo)
        return;
    std::fprintf(stderr, "ipc_ratio: %s\n", what);
    std::exit(1);
}

void stayOn(int processor)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<unsigned>(processor), &set);
    expect(::sched_setaffinity(0, sizeof set, &set) == 0, "no such processor");
}

/// The first two that this process may use; one twice where there is only one.
std::pair<int, int> twoProcessors()
{
    cpu_set_t set;
    expect(::sched_getaffinity(0, sizeof set, &set) == 0, "no processors");
    std::vector<int> all;
    for (int i = 0; i < CPU_SETSIZE; ++i)
        if (CPU_ISSET(static_cast<unsigned>(i), &set))
            all.push_back(i);
    return {all.front(), all[all.size() > 1 ? 1 : 0]};
}

/// A process that does `body`, killed at the end.
class Child
{
public:
    Child(int processor, std::function<void()> const& body) : m_id(::fork())
    {
        if (m_id != 0)
            return;
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        stayOn(processor);
        body();
        ::_exit(0);
    }
    ~Child()
    {
        if (m_id > 0)
            ::kill(m_id, SIGKILL);
        wait();
    }
    void wait()
    {
        if (m_id > 0)
            ::waitpid(m_id, nullptr, 0);
        m_id = -1;
    }
    pid_t id() const { return m_id; }

private:
    pid_t m_id;
};

void sendAll(int socket, char const* bytes, std::size_t size)
{
    expect(::send(socket, bytes, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size), "send");
}

bool readAll(int socket, char* to, std::size_t size)
{
    return ::recv(socket, to, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

/// Answers a final result; everything else is heard and forgotten.
void beEngine(int ready)
{
    IPCServer* self = nullptr;
    int volatile heard = 0;
    IPCServer server({nullptr, nullptr,
                      [&](IPCServer::Peer peer, std::shared_ptr<Message const> message) {
                          auto const* const one =
                              dynamic_cast<TestProgressProviderToEngine const*>(message.get());
                          if (one->body().what == ProgressBody::What::FinalResult)
                              self->queue(peer, AcknowledgeEngineToProvider());
                          else
                              heard = heard + one->body().percent;
                      },
                      nullptr});
    self = &server;
    sendAll(ready, "x", 1);
    char end; // until the other side is done
    readAll(ready, &end, 1);
}

void echo(int socket, std::size_t request, std::size_t reply)
{
    std::string in(request, ' '), out(reply, 'r');
    while (readAll(socket, in.data(), in.size()))
        sendAll(socket, out.data(), out.size());
}

struct Counted : pugi::xml_writer
{
    std::string text;
    void write(void const* data, std::size_t size) override
    {
        text.append(static_cast<char const*>(data), size);
    }
};

void sendByPugixml(int socket, ProgressBody const& body)
{
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("TestProgressProviderToEngine");
    root.append_attribute("format") = "zel-message";
    root.append_attribute("version") = 2;
    root.append_attribute("what") = body.what == ProgressBody::What::FinalResult ? "finalResult" : "events";
    root.append_attribute("run") = body.run.toUtf8().c_str();
    root.append_attribute("state") = body.state.toString().toUtf8().c_str();
    root.append_attribute("result") = body.result.toString().toUtf8().c_str();
    root.append_attribute("pass") = body.pass;
    root.append_attribute("percent") = body.percent;
    root.append_attribute("timeLeft") = body.timeLeft;
    root.append_attribute("information") = body.information.toUtf8().c_str();
    Counted writer;
    writer.text.resize(sizeof(std::uint32_t));
    document.save(writer, "", pugi::format_raw | pugi::format_no_declaration);
    auto const size = static_cast<std::uint32_t>(writer.text.size() - sizeof(std::uint32_t));
    std::copy_n(reinterpret_cast<char const*>(&size), sizeof size, writer.text.data());
    sendAll(socket, writer.text.data(), writer.text.size());
}

void parseByPugixml(int socket)
{
    std::string text;
    int volatile heard = 0;
    for (std::uint32_t size; readAll(socket, reinterpret_cast<char*>(&size), sizeof size);) {
        text.resize(size);
        expect(readAll(socket, text.data(), size), "a message");
        pugi::xml_document document;
        expect(bool(document.load_buffer(text.data(), text.size())), "no XML");
        pugi::xml_node const root = document.first_child();
        ProgressBody body; // as the engine gets it
        body.run = root.attribute("run").value();
        body.state = TestStateImp::getConstantByString(root.attribute("state").value());
        body.result = TestResultImp::getConstantByString(root.attribute("result").value());
        body.pass = root.attribute("pass").as_uint();
        body.percent = root.attribute("percent").as_int();
        body.timeLeft = root.attribute("timeLeft").as_uint();
        body.information = root.attribute("information").value();
        heard = heard + body.percent;
        if (std::string_view(root.attribute("what").value()) == "finalResult")
            sendAll(socket, "x", 1);
    }
}

void print(char const* what, std::vector<std::pair<double, double>> rounds, char const* unit)
{
    auto const ratio = [](std::pair<double, double> const& one) { return one.first / one.second; };
    std::sort(rounds.begin(), rounds.end(),
              [&](auto const& a, auto const& b) { return ratio(a) < ratio(b); });
    auto const& middle = rounds[rounds.size() / 2];
    std::printf("%-50s %10.2f / %10.2f = %5.2f   (%s)\n", what, middle.first, middle.second, ratio(middle),
                unit);
}

/// From this process, on one processor, to those that answer, on another or the same.
void measure(char const* name, int own, int other, bool withProgress)
{
    stayOn(own);
    int ready[2], raw[2], xml[2];
    for (int* const pair : {ready, raw, xml})
        expect(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) == 0, "socketpair");
    auto const final = progress(ProgressBody::What::FinalResult, 100);
    AcknowledgeEngineToProvider const acknowledge;
    std::size_t const request = sizeOf(final), reply = sizeOf(acknowledge);

    Child engine(other, [&] { beEngine(ready[1]); });
    Child const echoing(other, [&] { echo(raw[1], request, reply); });
    Child const parsing(other, [&] { parseByPugixml(xml[1]); });
    for (int* const pair : {ready, raw, xml})
        ::close(pair[1]);
    char one;
    expect(readAll(ready[0], &one, 1), "no engine");

    ManagedSemaphore answered;
    IPCClient client({[&](std::shared_ptr<Message const>) { answered.post(); }, nullptr});
    expect(client.doLogin(IPCClient::getLoginSHMName(engine.id())), "no login");
    auto const ask = [&] {
        IPCClient::Reading reading(client); // as the module's side does
        expect(client.queue(final), "not sent");
        auto const isAnswered = [&] { return answered.wait(0); };
        expect(reading.isOurs() ? reading.wait(10'000, isAnswered) : answered.wait(10'000), "no answer");
    };
    std::string const sent(request, 's');
    std::string received(reply, 'r');
    auto const askRaw = [&] {
        sendAll(raw[0], sent.data(), sent.size());
        expect(readAll(raw[0], received.data(), received.size()), "no echo");
    };

    std::vector<std::pair<double, double>> exchanges, rates;
    for (int round = 0; round < kRounds; ++round) {
        Stopwatch watch;
        for (int i = 0; i < kExchanges; ++i)
            ask();
        double const ours = watch.getElapsed();
        watch.reset();
        for (int i = 0; i < kExchanges; ++i)
            askRaw();
        exchanges.emplace_back(ours * 1e6 / kExchanges, watch.getElapsed() * 1e6 / kExchanges);

        if (!withProgress)
            continue;
        watch.reset();
        for (int i = 0; i < kProgress; ++i) // of the kind of which none is left out
            expect(client.queue(progress(ProgressBody::What::Events, i % 101)), "not sent");
        ask();
        double const progressed = watch.getElapsed();
        watch.reset();
        for (int i = 0; i < kProgress; ++i)
            sendByPugixml(xml[0], progress(ProgressBody::What::Events, i % 101).body());
        sendByPugixml(xml[0], final.body());
        expect(readAll(xml[0], &one, 1), "no end");
        rates.emplace_back(kProgress / progressed / 1000, kProgress / watch.getElapsed() / 1000);
    }
    print(name, exchanges, "microseconds");
    if (withProgress)
        print("progress / by pugixml (at least 0.4)", rates, "thousand messages a second");
    client.doLogout();
    ::shutdown(ready[0], SHUT_RDWR);
    engine.wait(); // removes its login area
    ::close(ready[0]);
}

} // namespace

int main()
{
    auto const [first, second] = twoProcessors();
    measure("request, reply / raw, one processor (at most 1.5)", first, first, false);
    measure("request, reply / raw, two processors (at most 1.5)", first, second, true);
}
