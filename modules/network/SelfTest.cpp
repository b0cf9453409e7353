#include <network/SelfTest.h>

#include <network/Events.h>

#include <common/ErrorText.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <future>
#include <memory>
#include <thread>

namespace krel5::modules::network {
namespace {

constexpr std::chrono::milliseconds kStep{20};
constexpr std::size_t kMostNames = 20;

Outcome refused(TestHost& host, std::string const& name, int error)
{
    switch (error) {
    case EOPNOTSUPP:
        host.problem({kEventSelfTestNone, {{"Interface", name}}});
        return Outcome::NotSupported;
    case ENODEV:
        host.problem({kEventGone, {{"Interface", name}}});
        return Outcome::NoDevice;
    default:
        host.problem({kEventSelfTestRefused, {{"Interface", name}, {"Reason", errorText(error)}}});
        return error == EPERM || error == EACCES ? Outcome::InsufficientPrivilege : Outcome::CannotRun;
    }
}

std::string namesOf(SelfTestAnswer const& answer)
{
    std::string names;
    for (std::size_t i = 0; i < std::min(answer.parts.size(), kMostNames); ++i)
        names += (i > 0 ? ", " : "") + answer.parts[i].name;
    return names + (answer.parts.size() > kMostNames ? ", ..." : "");
}

} // namespace

Outcome runSelfTest(TestHost& host, std::string const& name, bool isWhole, SelfTestCall const& call)
{
    auto const promise = std::make_shared<std::promise<SelfTestAnswer>>();
    std::future<SelfTestAnswer> pending = promise->get_future();
    std::thread([promise, call, isWhole] { promise->set_value(call(isWhole)); }).detach();
    while (pending.wait_for(kStep) != std::future_status::ready)
        if (host.stopRequested())
            return Outcome::Stopped;
    SelfTestAnswer const answer = pending.get();
    if (answer.error != 0)
        return refused(host, name, answer.error);
    bool isBad = false;
    for (SelfTestAnswer::Part const& part : answer.parts) {
        if (part.value == 0)
            continue;
        isBad = true;
        host.fault({kEventSelfTestPart,
                    {{"Interface", name}, {"Part", part.name}, {"Value", std::to_string(part.value)}}});
    }
    if (answer.hasFailed && !isBad)
        host.fault({kEventSelfTestFailed, {{"Interface", name}}});
    host.note(
        {kEventSelfTest,
         {{"Interface", name}, {"Parts", std::to_string(answer.parts.size())}, {"Names", namesOf(answer)}}});
    return isBad || answer.hasFailed ? Outcome::Fail : Outcome::Pass;
}

} // namespace krel5::modules::network
