// The backend between two pipes: which part of what another process knows becomes part of what this one knows.
#include <foundation/ChildProcess.h>
#include <foundation/TemporaryFolder.h>
#include <model/TestDevices.h>

#include <libKrel5/internal/backends/pipes/CommXml.h>
#include <libKrel5/internal/module/CommandLine.h>

#include <zel/foundation/Logger.h>
#include <zel/model/wire/Serializable.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sstream>
#include <thread>

using namespace krel5;

namespace {

constexpr char kKnown[] = "known", kReceived[] = "received", kBelow[] = "below";

/// What the other process hands over: of the device that both know more properties, a device more with one below
/// it, and a specification that no device uses. Far larger than a pipe holds.
std::string document()
{
    zel::StateManager state;
    auto const known = zel::test::device(kKnown), received = zel::test::device(kReceived),
               below = zel::test::device(kBelow);
    zel::test::add(*known, "Size", "of theirs");
    zel::test::add(*known, "Speed", "fast");
    zel::test::add(*received, "Text", std::string(300'000, 'x').c_str());
    state.addDevice(*known, nullptr);
    state.addDevice(*received, nullptr);
    state.addDevice(*below, received.get());
    state.addPropertySpec(zel::test::specification("Colour"), false);
    return zel::Serializable::serializeUtf8(state, "StateManager");
}

/// One line: devices with their keys and short values, then the keys of all specifications.
std::string told(zel::StateManager const& state)
{
    std::ostringstream line;
    for (std::size_t i = 0; i < state.deviceCount(); ++i) {
        zel::DeviceImp& device = *state.deviceAtIndex(i);
        zel::DeviceImp const* const parent = state.parentOf(device);
        line << device.name().toUtf8() << (parent ? "<" + parent->name().toUtf8() : "") << "(";
        for (zel::PropertyImp* one = device.firstProperty(); one; one = device.nextProperty())
            line << one->key().toUtf8() << "=" << one->value().toString().toUtf8().substr(0, 20) << ";";
        line << ") ";
    }
    line << "|";
    for (std::size_t i = 0; i < state.propertySpecCount(); ++i)
        line << " " << state.propertySpecAtIndex(i)->keyInModule().toUtf8();
    return line.str();
}

struct Pipe
{
    Pipe()
    {
        if (::pipe2(ends, O_CLOEXEC) != 0)
            ::abort();
    }
    int ends[2];
};

void writeAll(int pipe, std::string const& text)
{
    for (std::size_t at = 0; at < text.size();) {
        ssize_t const count = ::write(pipe, text.data() + at, text.size() - at);
        if (count <= 0)
            break;
        at += static_cast<std::size_t>(count);
    }
    ::close(pipe);
}

std::string readAll(int pipe)
{
    std::string text;
    char buffer[65536];
    for (ssize_t count; (count = ::read(pipe, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(count));
    return text;
}

/// A process that knows one device and is handed `input` tells what it knows then, and what it answers.
test::ChildOutcome handed(bool mergesReceived, std::string const& input)
{
    return test::runInChild([&] {
        ::alarm(60); // who reads or writes nothing leaves the other end waiting
        test::TemporaryFolder const folder;
        zel::LogFactory::setOverride("debug", "krel5.Comm.Xml");
        zel::LogFactory::createDefaultFileAppender(folder.path("log").c_str());
        Pipe in, out;
        std::string const from = std::to_string(in.ends[0]), to = std::to_string(out.ends[1]);
        char const* const words[] = {"mod", "-pipeIn", from.c_str(), "-pipeOut", to.c_str()};
        CommandLine::addCommonOptions();
        CommandLine::parse(5, words);
        zel::StateManager& state = zel::StateManager::instance();
        auto const known = zel::test::device(kKnown);
        zel::test::add(*known, "Size", "of ours");
        state.addDevice(*known, nullptr);
        state.addPropertySpec(zel::test::specification("Size"), false);

        std::string answer;
        CommXml comm(mergesReceived);
        comm.openConnection();
        {
            std::jthread const writer([&] { writeAll(in.ends[1], input); });
            comm.receiveDevices();
        }
        std::printf("knows: %s\n", told(state).c_str());
        {
            std::jthread const reader([&] { answer = readAll(out.ends[0]); });
            comm.sendAddDevices();
            ::close(out.ends[1]);
        }
        comm.sendPercentDoneMessage();
        comm.receiveStopMessage();
        comm.sendVersion();
        comm.sendAddDevice(*known);
        comm.closeConnection();
        zel::StateManager answered;
        zel::Serializable::deserializeUtf8(answer, answered);
        std::printf("answers: %s\n", told(answered).c_str());
        std::string const log = folder.read("log");
        for (char const* line : {"openConnection(): 3 devices from xml transfer\n", "Failed to receive"})
            std::printf("logs %.20s: %d\n", line, log.find(line) != log.npos);
        std::string const read = std::to_string(input.size()), wrote = std::to_string(answer.size());
        for (std::string const& line :
             {"openConnection(): Read " + read + " bytes from pipe " + from,
              std::string("openConnection(): manager had 0 devices before xml transfer\n"),
              std::string("  doSerialization took "),
              "sendEnumDevices(): Wrote " + wrote + " bytes into pipeId = " + to + "\n",
              std::string("writeToPipe took "), std::string("sendPercentDoneMessage Stub\n"),
              std::string("receiveStopMessage Stub\n"), std::string("sendVersion Stub\n"),
              std::string("sendAddDevice Device Stub\n")})
            if (log.find(line) == log.npos)
                std::printf("does not log %s\n", line.c_str());
    });
}

} // namespace

TEST(XmlPipes, devicesAreTakenOverOnlyWhereTheyAreWanted)
{
    struct Case
    {
        bool mergesReceived;
        std::string knows, answers;
    };
    // An answer has no specification that nothing in it uses.
    std::string const ours = "known(Size=of ours;) |",
                      all = "known(Size=of theirs;Speed=fast;) received(Text=xxxxxxxxxxxxxxxxxxxx;) "
                            "below<received() |";
    for (Case const& one :
         {Case{true, all + " Size Colour", all}, Case{false, ours + " Size Colour", ours}}) {
        auto const outcome = handed(one.mergesReceived, document());
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.output, "knows: " + one.knows + "\nanswers: " + one.answers +
                                      "\nlogs openConnection(): 3 : 1\nlogs Failed to receive: 0\n");
        auto const refused = handed(one.mergesReceived, "nonsense");
        EXPECT_EQ(refused.status, 0);
        EXPECT_TRUE(refused.output.ends_with("\nknows: " + ours + " Size\nanswers: " + ours +
                                             "\nlogs openConnection(): 3 : 0\nlogs Failed to receive: 1\n"))
            << refused.output;
    }
}
