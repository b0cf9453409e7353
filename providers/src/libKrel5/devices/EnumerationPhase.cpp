#include <libKrel5/devices/EnumerationPhase.h>

#include <atomic>

namespace krel5 {

namespace {
std::atomic<int> s_depth{0};
}

EnumerationPhase::EnumerationPhase() { ++s_depth; }
EnumerationPhase::~EnumerationPhase() { --s_depth; }
bool EnumerationPhase::isActive() noexcept { return s_depth > 0; }

} // namespace krel5
