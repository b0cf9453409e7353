#pragma once
// What the messages of the engine link carry. Plain data; Message.cpp writes and reads it.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>
#include <zel/model/runs/IndicatorRunImp.h>
#include <zel/model/runs/MessageBoxImp.h>
#include <zel/model/runs/TestRunImp.h>
#include <zel/model/state/StateManager.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zel {

struct NoBody
{};

/// Who speaks: the first words of a module.
struct ModuleBody
{
    String guid;
    String type;           ///< of ModuleTypeImp, as text
    String version;        ///< of the module
    String libraryVersion; ///< of the library that it runs with
    std::int64_t processId = 0;
};

/// A whole state. Shared, since an engine sends one state to many modules; never null in what was read.
struct StateBody
{
    std::shared_ptr<StateManager const> state;
};

/// As it goes over the link.
ZEL_EXPORT std::string stateDocumentOf(StateManager const& state);

/// A run to make, with the state that has its device and, if the engine has it, its test. The run names test and
/// device and is bound to none.
struct TestRunBody
{
    std::shared_ptr<StateManager const> state;
    std::optional<TestRunImp> run; ///< always there in what was read
    std::string
        stateDocument{}; ///< of the state, where somebody had the time to make it before; see stateDocumentOf()
};

struct IndicatorRunBody
{
    std::shared_ptr<StateManager const> state;
    std::optional<IndicatorRunImp> run; ///< always there in what was read
};

/// How a run stands. `what` says which of the facts is news; all are those of the run as it was then.
struct ProgressBody
{
    enum class What { PercentDone, TimeLeft, Information, Events, FinalResult };

    What what = What::PercentDone;
    String run; ///< guid
    TestStateImp state = TestStateImp::NOTSTARTED();
    TestResultImp result; ///< counts with FinalResult
    String resultNote;
    bool isResultForced = false; ///< the settings gave it, and the test did not run
    unsigned pass = 1;
    int percent = -1;      ///< -1: none reported
    unsigned timeLeft = 0; ///< seconds
    String information;
    bool hadErrors = false;
    std::vector<TestRunEventImp> events; ///< with Events; taken from the run, so each goes out once
};

/// A question. `id` comes back with its answer; unique in its process.
struct MessageBoxBody
{
    std::uint64_t id = 0;
    String run;                       ///< guid; empty: asked outside a run
    std::optional<MessageBoxImp> box; ///< always there in what was read
};

struct AnswerBody
{
    std::uint64_t id = 0;
    int code = 0;          ///< of one of the answers
    bool cutShort = false; ///< nobody answered; the code is the cancel answer's
};

/// A change after enumeration. `state` has the device for what is added or changed; for Readings it has the
/// device with what an indicator returned as its only properties.
struct UpdatesBody
{
    enum class What { AddDevice, RemoveDevice, AddProperty, RemoveProperty, RemoveAlert, Changes, Readings };

    What what = What::Changes;
    String device;                             ///< guid
    String key;                                ///< of the property or the alert
    std::shared_ptr<StateManager const> state; ///< null: none
    String alert{};                            ///< guid of the alert; others may have its key
};

struct UpdateRequestBody
{
    String device;   ///< guid; may be empty: whoever gets it refuses it
    String property; ///< key
};

struct TimeOutBody
{
    std::optional<unsigned> seconds; ///< how long the run may go on from now; none: no limit any more
};

struct ErrorBody
{
    String run; ///< guid; empty: outside a run
    String text;
};

struct HttpRequestBody
{
    String url;
    String options;
};

struct HttpResponseBody
{
    bool succeeded = false;
    String response; ///< the body, or why there is none
};

} // namespace zel
