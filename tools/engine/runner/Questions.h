#pragma once
// What every module may ask the engine, whatever it was started for.

#include <zel/ipc/IPCServer.h>
#include <zel/model/state/StateManager.h>

#include <functional>
#include <memory>
#include <string>

namespace engine {

class Fetcher;

/// Who answers, and with what.
struct Answering
{
    zel::IPCServer& server;
    Fetcher* fetcher = nullptr; ///< null: nothing is fetched
    std::string whyNothingIsFetched = "this engine fetches nothing: it was started without --allow-host";
};

/// Answers the module when the message asks for the state or for something over HTTP, which may come later and from another
/// thread; the server outlives the fetcher. False for any other message. `state` is called only when it is asked for.
bool answerQuestion(zel::Message const& message, zel::IPCServer::Peer peer, Answering const& answering,
                    std::function<std::shared_ptr<zel::StateManager const>()> const& state);

} // namespace engine
