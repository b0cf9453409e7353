#include <zel/foundation/Spelling.h>

#include <algorithm>
#include <numeric>

namespace zel {

namespace {

constexpr std::size_t kMaxSlips = 3;
constexpr std::size_t kLeastBeginning = 3;
constexpr std::size_t kMaxUnits = 256; // of a word that is compared at all

} // namespace

// Row by row of the table of all prefixes (Wagner, Fischer: The String-to-String Correction Problem, 1974).
std::size_t editDistance(String const& a, String const& b)
{
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0]; // what stood in row[j - 1] before this round
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            std::size_t const replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

std::vector<String> nearestSpellings(String const& word, std::vector<String> const& known)
{
    std::vector<String> found;
    if (word.size() > kMaxUnits)
        return found;
    // Of a short word, a few slips leave nothing.
    std::size_t least = std::min(kMaxSlips, std::max<std::size_t>(word.size() / 2, 1));
    String const lowered = word.lowered();
    // Who cuts a word short has typed its beginning, perhaps with slips of its own; that counts as one slip.
    auto const slipsTo = [&](String const& one) {
        std::size_t slips = editDistance(lowered, one);
        if (word.size() >= kLeastBeginning && word.size() < one.size())
            slips = std::min(slips, 1 + editDistance(lowered, one.substr(0, word.size())));
        return slips;
    };
    for (String const& one : known) {
        if (one.size() > kMaxUnits + kMaxSlips || word.size() > one.size() + least)
            continue;
        std::size_t const slips = slipsTo(one.lowered());
        if (slips > least)
            continue;
        if (slips < least)
            found.clear();
        least = slips;
        found.push_back(one);
    }
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace zel
