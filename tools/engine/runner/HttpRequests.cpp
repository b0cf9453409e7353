#include <engine/runner/HttpRequests.h>

namespace engine {

std::unique_ptr<Fetcher> fetcherFor(std::vector<std::string> const& hosts)
{
    AllowedHosts allowed;
    for (std::string const& host : hosts)
        allowed.add(host);
    return allowed.isEmpty() ? nullptr : std::make_unique<Fetcher>(std::move(allowed));
}

void answerHttp(zel::HttpGetRequestProviderToEngine const& request, zel::IPCServer& server,
                zel::IPCServer::Peer peer, Fetcher* fetcher)
{
    auto const answer = [&server, peer, number = request.number()](bool succeeded, std::string const& text) {
        zel::HttpGetResponseEngineToProvider response({succeeded, zel::String(text)});
        response.setNumber(number);
        server.queue(peer, response);
    };
    if (!fetcher)
        return answer(false, "this engine fetches nothing: it was started without --allow-host");
    fetcher->get(request.body().url.toUtf8(), request.body().options.toUtf8(), answer);
}

} // namespace engine
