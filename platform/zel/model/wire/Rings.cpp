#include <zel/model/wire/Rings.h>

namespace zel::wire {

// Walks up from each; what a walk has seen carries its number, so that one that meets its own number is in a ring, and
// one that meets an older number stops.
std::vector<std::size_t> ringClosers(std::vector<std::size_t> const& parents)
{
    constexpr std::size_t kUnseen = 0;
    std::vector<std::size_t> walkOf(parents.size(), kUnseen), closers;
    for (std::size_t start = 0; start < parents.size(); ++start) {
        for (std::size_t at = start; walkOf[at] == kUnseen;) {
            walkOf[at] = start + 1;
            std::size_t const up = parents[at];
            if (up == kNoParent)
                break;
            if (walkOf[up] == start + 1)
                closers.push_back(at);
            at = up;
        }
    }
    return closers;
}

} // namespace zel::wire
