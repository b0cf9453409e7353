#include <network/SelfTest.h>

#include <network/Events.h>

#include <common/ErrorText.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <future>
#include <memory>
#include <thread>

namespace krel5::modules::network {
namespace {

constexpr std::chrono::milliseconds kStep{20};
constexpr std::size_t kMostNames = 20;
constexpr std::array kLinkWords{"link", "carrier",
                                "speed"}; // in names of parts that a card without a link cannot pass

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

using Part = SelfTestAnswer::Part;

/// With the values of those that have one.
std::string namesOf(std::vector<Part> const& parts)
{
    std::string names;
    for (std::size_t i = 0; i < std::min(parts.size(), kMostNames); ++i)
        names += (i > 0 ? ", " : "") + parts[i].name +
                 (parts[i].value != 0 ? " = " + std::to_string(parts[i].value) : "");
    return names + (parts.size() > kMostNames ? ", ..." : "");
}

std::vector<Part> partsThat(std::vector<Part> parts, bool (*is)(Part const&))
{
    std::erase_if(parts, [is](Part const& one) { return !is(one); });
    return parts;
}

/// Of a test that failed. Where some are negative, as error numbers are, other values are those of parts that passed.
std::vector<Part> failedParts(std::vector<Part> const& parts)
{
    auto const negative = partsThat(parts, [](Part const& one) { return one.value < 0; });
    return negative.empty() ? partsThat(parts, [](Part const& one) { return one.value != 0; })
                            : partsThat(negative, [](Part const& one) { return one.value != -EOPNOTSUPP; });
}

/// By its name: there is nothing else to know it by.
bool needsLink(Part const& part)
{
    std::string name = part.name;
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    return std::any_of(kLinkWords.begin(), kLinkWords.end(),
                       [&name](char const* word) { return name.find(word) != name.npos; });
}

Outcome judgeFailed(TestHost& host, std::string const& name, bool isWhole, SelfTestAnswer const& answer)
{
    auto const failed = failedParts(answer.parts);
    if (failed.empty() && isWhole && answer.hasLink) {
        host.fault({kEventSelfTestFailed, {{"Interface", name}}});
        return Outcome::Fail;
    }
    if (failed.empty()) {
        host.problem({kEventSelfTestNotRun, {{"Interface", name}}});
        return Outcome::CannotRun;
    }
    if (!answer.hasLink && std::all_of(failed.begin(), failed.end(), needsLink)) {
        host.problem({kEventSelfTestNoLink, {{"Interface", name}, {"Parts", namesOf(failed)}}});
        return Outcome::CannotRun;
    }
    for (Part const& part : failed)
        host.fault({kEventSelfTestPart,
                    {{"Interface", name}, {"Part", part.name}, {"Value", std::to_string(part.value)}}});
    return Outcome::Fail;
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
    auto const valued = partsThat(answer.parts, [](Part const& one) { return one.value != 0; });
    Outcome const outcome = answer.hasFailed ? judgeFailed(host, name, isWhole, answer) : Outcome::Pass;
    if (!answer.hasFailed && !valued.empty())
        host.warning({kEventSelfTestValues, {{"Interface", name}, {"Parts", namesOf(valued)}}});
    host.note({kEventSelfTest,
               {{"Interface", name},
                {"Parts", std::to_string(answer.parts.size())},
                {"Names", namesOf(answer.parts)}}});
    return outcome;
}

} // namespace krel5::modules::network
