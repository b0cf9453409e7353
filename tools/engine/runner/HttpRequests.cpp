#include <engine/runner/HttpRequests.h>

namespace engine {

std::unique_ptr<Fetcher> fetcherFor(std::vector<std::string> const& hosts)
{
    AllowedHosts allowed;
    for (std::string const& host : hosts)
        allowed.add(host);
    return allowed.isEmpty() ? nullptr : std::make_unique<Fetcher>(std::move(allowed));
}

} // namespace engine
