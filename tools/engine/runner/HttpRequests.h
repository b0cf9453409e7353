#pragma once
// What modules have fetched over HTTP.

#include <engine/web/Fetcher.h>

#include <zel/ipc/IPCServer.h>

#include <memory>
#include <string>
#include <vector>

namespace engine {

/// `hosts` as of --allow-host; none: null, and nothing is fetched. Throws InvalidArgumentException for what is no host.
std::unique_ptr<Fetcher> fetcherFor(std::vector<std::string> const& hosts);

/// Answers the module, sooner or later, from any thread; the server outlives the fetcher. `fetcher`: null when nothing is fetched.
void answerHttp(zel::HttpGetRequestProviderToEngine const& request, zel::IPCServer& server,
                zel::IPCServer::Peer peer, Fetcher* fetcher);

} // namespace engine
