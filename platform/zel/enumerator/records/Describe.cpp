#include <zel/enumerator/records/Describe.h>

namespace zel {

String joinedName(std::initializer_list<std::optional<std::string>> words, char const* fallback)
{
    std::string joined;
    for (auto const& word : words) {
        if (!word || joined.find(*word) != std::string::npos) // which an empty one is, too
            continue;
        if (word->rfind(joined, 0) == 0)
            joined.clear();
        joined += (joined.empty() ? "" : " ") + *word;
    }
    return joined.empty() ? String(fallback) : String(joined);
}

} // namespace zel
