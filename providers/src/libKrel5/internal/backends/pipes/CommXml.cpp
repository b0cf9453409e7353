#include <libKrel5/internal/backends/pipes/CommXml.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/StopRequest.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ErrorReporting.h>

#include <krel5/CommandLineOption.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/OStream.h>
#include <zel/foundation/Stopwatch.h>
#include <zel/foundation/System.h>
#include <zel/foundation/XmlDocument.h>
#include <zel/model/state/StateManager.h>
#include <zel/model/wire/Serializable.h>

#include <optional>

namespace krel5 {
namespace {

using zel::LogLevel;

constexpr char kElement[] = "StateManager";

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.Comm.Xml");
    return s_logger;
}

zel::StateManager& manager() { return zel::StateManager::instance(); }

bool isStopped() { return StopRequest::isMade(); }

// The log has it too; but who gave a wrong number looks at the console, and the status says nothing of it.
void tell(char const* option, std::int64_t pipe, zel::String const& reason, char const* consequence)
{
    if (isStopped())
        return; // whoever stops the module knows why it ends early
    ErrorReporting::tell(zel::String(option) + " " + zel::String::number(pipe) + ": " + reason + "; " +
                         consequence);
}

constexpr char kNothingTaken[] = "what is known already is not taken over";

// Where memory is too short even for the line that tells of it.
template <typename Action>
void keepingInside(char const* consequence, Action action) noexcept
{
    try {
        action();
    } catch (...) {
        try {
            ErrorReporting::tell(zel::String("There is too little memory: ") + consequence);
        } catch (...) {
        }
    }
}

std::optional<std::string> read(std::int64_t pipe)
{
    std::string text;
    std::size_t bytes = 0;
    if (!zel::System::readFromPipeUtf8(pipe, text, bytes, isStopped)) {
        zel::String const reason = zel::System::getSystemErrorMsg();
        ZEL_LOG(logger(), LogLevel::Critical) << "openConnection(): readFromPipe() failed" << reason;
        tell("-pipeIn", pipe, reason, kNothingTaken);
        return std::nullopt;
    }
    ZEL_LOG(logger(), LogLevel::Information) << "openConnection(): Read " << static_cast<std::uint64_t>(bytes)
                                             << " bytes from pipe " << pipe << text;
    return text;
}

void countDevices(zel::StateManager const& state, char const* before, char const* behind)
{
    ZEL_LOG(logger(), LogLevel::Information)
        << before << static_cast<std::uint64_t>(state.deviceCount()) << behind;
}

// Nothing of a text that is no state counts.
void takeIn(std::int64_t pipe, std::string const& text, bool mergesDevices)
{
    char const* consequence = kNothingTaken;
    try {
        zel::StateManager received;
        countDevices(received, "openConnection(): manager had ", " devices before xml transfer");
        zel::Serializable::deserializeUtf8(text, received);
        zel::AutoMutex const guard(libraryMutex());
        consequence = "what is known already is taken over in part";
        manager().mergePropertySpecs(received);
        if (mergesDevices)
            manager().mergeWithTracking(received);
        countDevices(received, "openConnection(): ", " devices from xml transfer");
    } catch (zel::DeserializationException const& e) {
        ZEL_LOG(logger(), LogLevel::Error) << "Failed to receive correct sysinfo.  Instead we got :\n"
                                           << text;
        ZEL_LOG(logger(), LogLevel::Error) << e.toString();
        if (!text.empty()) // else there was nothing to take over
            tell("-pipeIn", pipe, e.toString(), kNothingTaken);
    } catch (zel::Exception const& e) {
        ZEL_LOG(logger(), LogLevel::Error) << "Deserialization threw: " << e.toString();
        tell("-pipeIn", pipe, e.toString(), consequence);
    } catch (...) { // no memory for what is received
        ZEL_LOG(logger(), LogLevel::Error) << "Unknown error during deserialization";
        tell("-pipeIn", pipe, "there is too little memory for it", consequence);
    }
}

std::optional<std::string> serialize()
{
    zel::Stopwatch const watch;
    std::optional<std::string> text;
    try {
        zel::AutoMutex const guard(libraryMutex());
        text = zel::Serializable::serializeUtf8(manager(), kElement);
    } catch (zel::Exception const& e) {
        ZEL_LOG(logger(), LogLevel::Critical) << "doSerialization exception " << e.toString();
    } catch (...) {
        ZEL_LOG(logger(), LogLevel::Critical) << "doSerialization unknown exception";
    }
    ZEL_LOG(logger(), LogLevel::Information)
        << "  doSerialization took " << watch.getElapsed() << " seconds.";
    return text;
}

void write(std::int64_t pipe, std::string const& text)
{
    zel::Stopwatch const watch;
    std::size_t bytes = 0;
    if (zel::System::writeToPipeUtf8(pipe, text, bytes, isStopped))
        ZEL_LOG(logger(), LogLevel::Information)
            << "sendEnumDevices(): Wrote " << static_cast<std::uint64_t>(bytes)
            << " bytes into pipeId = " << pipe;
    else {
        zel::String const reason = zel::System::getSystemErrorMsg();
        ZEL_LOG(logger(), LogLevel::Critical)
            << "sendEnumDevices(): writeToPipe() failed pipeId = " << pipe << " : " << reason;
        tell("-pipeOut", pipe, reason, "the devices are not handed over");
    }
    ZEL_LOG(logger(), LogLevel::Information) << "writeToPipe took " << watch.getElapsed() << " seconds.";
}

void print(std::string const& text)
{
    try {
        zel::XmlDocument::Limits own; // what this process wrote is as large as it has to be
        own.bytes = own.elements = text.size();
        zel::OStream::out().write(zel::XmlDocument::print(zel::XmlDocument::parse(text, own)));
        zel::OStream::out().flush();
    } catch (zel::Exception const& e) {
        ZEL_LOG(logger(), LogLevel::Critical) << "doSerialization exception " << e.toString();
    } catch (...) {
        ZEL_LOG(logger(), LogLevel::Critical) << "doSerialization unknown exception";
    }
}

} // namespace

// What the module starts inherits no pipe: the other process waits for the end of the document.
bool CommXml::openConnection()
{
    zel::TraceScope const trace(logger(), "openConnection", __LINE__);
    for (auto const& pipe : {CommandLine::integer(CommandLineOption::PIPEIN()),
                             CommandLine::integer(CommandLineOption::PIPEOUT())})
        if (pipe)
            zel::System::keepPipeFromChildren(*pipe);
    return true;
}

bool CommXml::closeConnection()
{
    zel::TraceScope const trace(logger(), "closeConnection", __LINE__);
    return true;
}

bool CommXml::receiveTestRun()
{
    ErrorReporting::tell("-x hands over devices and runs no test");
    return CommInterface::receiveTestRun();
}

void CommXml::receiveDevices()
{
    keepingInside("devices are not received", [this] {
        auto const pipe = CommandLine::integer(CommandLineOption::PIPEIN());
        if (!pipe)
            return;
        if (auto const text = read(*pipe))
            takeIn(*pipe, *text, m_mergesReceived);
    });
}

void CommXml::sendPercentDoneMessage()
{
    ZEL_LOG(logger(), LogLevel::Debug) << "sendPercentDoneMessage Stub";
}

bool CommXml::receiveStopMessage()
{
    ZEL_LOG(logger(), LogLevel::Debug) << "receiveStopMessage Stub";
    return false;
}

void CommXml::sendVersion() { ZEL_LOG(logger(), LogLevel::Debug) << "sendVersion Stub"; }

void CommXml::sendEnumTests()
{
    ErrorReporting::tell("-x hands over devices and lists no tests");
    CommInterface::sendEnumTests();
}

void CommXml::sendAddDevice(zel::DeviceImp&)
{
    ZEL_LOG(logger(), LogLevel::Debug) << "sendAddDevice Device Stub";
}

void CommXml::sendAddDevices()
{
    keepingInside("devices are not handed over", [] {
        zel::TraceScope const trace(logger(), "sendEnumDevices", __LINE__);
        {
            zel::AutoMutex const guard(libraryMutex());
            manager().clearPropertySpecs();
        }
        auto const pipe = CommandLine::integer(CommandLineOption::PIPEOUT());
        auto const text = serialize();
        if (!text)
            return;
        if (pipe)
            write(*pipe, *text);
        else
            print(*text);
    });
}

} // namespace krel5
