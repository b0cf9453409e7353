#pragma once
// From whom modules may have something fetched over HTTP.

#include <engine/web/Fetcher.h>

#include <memory>
#include <string>
#include <vector>

namespace engine {

/// `hosts` as of --allow-host; none: null, and nothing is fetched. Throws InvalidArgumentException for what is no host.
std::unique_ptr<Fetcher> fetcherFor(std::vector<std::string> const& hosts);

} // namespace engine
