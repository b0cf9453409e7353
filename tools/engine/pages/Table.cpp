#include <engine/pages/Table.h>

#include <listing/forms/Columns.h>

#include <algorithm>
#include <numeric>

namespace engine {

namespace {

constexpr std::size_t kGap = 2, kNarrowest = 8;

std::vector<std::size_t> naturalWidths(std::vector<TableRow> const& rows)
{
    std::vector<std::size_t> widths(rows.empty() ? 0 : rows.front().size());
    for (TableRow const& row : rows)
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], listing::columnsOf(row[i]));
    return widths;
}

// From the widest, again and again, so that short cells stay whole.
void shrink(std::vector<std::size_t>& widths, std::size_t width, std::vector<std::size_t> const& whole)
{
    std::size_t total = std::accumulate(widths.begin(), widths.end(), kGap * (widths.size() - 1));
    while (total > width) {
        std::size_t widest = widths.size();
        for (std::size_t i = 0; i < widths.size(); ++i)
            if (std::find(whole.begin(), whole.end(), i) == whole.end() && widths[i] > kNarrowest &&
                (widest == widths.size() || widths[i] > widths[widest]))
                widest = i;
        if (widest == widths.size())
            return;
        --widths[widest];
        --total;
    }
}

} // namespace

std::string table(std::vector<TableRow> const& rows, std::size_t width, std::vector<std::size_t> const& whole)
{
    std::vector<std::size_t> widths = naturalWidths(rows);
    if (width > 0 && !widths.empty())
        shrink(widths, width, whole);
    std::string out;
    for (TableRow const& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < widths.size(); ++i)
            line += listing::filledTo(listing::cutTo(row[i], widths[i]), widths[i] + kGap);
        line.erase(line.find_last_not_of(' ') + 1);
        out += line + "\n";
    }
    return out;
}

} // namespace engine
