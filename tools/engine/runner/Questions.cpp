#include <engine/runner/Questions.h>

#include <engine/web/Fetcher.h>

namespace engine {
namespace {

void answerHttp(zel::HttpGetRequestProviderToEngine const& request, zel::IPCServer::Peer peer,
                Answering const& answering)
{
    auto const answer = [&server = answering.server, peer,
                         number = request.number()](bool succeeded, std::string const& text) {
        zel::HttpGetResponseEngineToProvider response({succeeded, zel::String(text)});
        response.setNumber(number);
        server.queue(peer, response);
    };
    if (!answering.fetcher)
        return answer(false, answering.whyNothingIsFetched);
    answering.fetcher->get(request.body().url.toUtf8(), request.body().options.toUtf8(), answer);
}

} // namespace

bool answerQuestion(zel::Message const& message, zel::IPCServer::Peer peer, Answering const& answering,
                    std::function<std::shared_ptr<zel::StateManager const>()> const& state)
{
    if (dynamic_cast<zel::EnumerationMessage const*>(&message)) {
        zel::InventoryTestEngineToProvider inventory({state()});
        inventory.setNumber(message.number());
        answering.server.queue(peer, inventory);
        return true;
    }
    auto const* const get = dynamic_cast<zel::HttpGetRequestProviderToEngine const*>(&message);
    if (get)
        answerHttp(*get, peer, answering);
    return get != nullptr;
}

} // namespace engine
