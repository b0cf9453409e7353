#pragma once
// Temperatures over the time of a session, as a picture inside a page.

#include <engine/report/Session.h>

#include <string>
#include <vector>

namespace engine {

/// Of one device, with the times in which tests ran shaded: an SVG element that needs nothing else; empty where fewer than two
/// temperatures were read. `series`: those of the device.
std::string temperaturePicture(Session const& session, std::vector<WatchedSeries const*> const& series);

} // namespace engine
