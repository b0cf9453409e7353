#include <engine/show/LiveRun.h>

#include <engine/report/UtcTime.h>

#include <listing/forms/Columns.h>

#include <algorithm>

namespace engine {

namespace {

constexpr std::size_t kBar = 20, kShortBar = 10;
constexpr std::size_t kShortestTitle = 12; // columns
constexpr int kFirstGuess = 5;             // percent, below which a guess from them says nothing

double secondsBetween(Moment from, Moment to) { return std::chrono::duration<double>(to - from).count(); }

std::string percentOf(LiveRun const& run)
{
    std::string const percent = run.percent < 0 ? "" : std::to_string(std::min(run.percent, 100)) + "%";
    return std::string(4 - std::min<std::size_t>(4, percent.size()), ' ') + percent;
}

std::string bar(LiveRun const& run, std::size_t width)
{
    std::size_t const full =
        run.percent < 0 ? 0 : static_cast<std::size_t>(std::min(run.percent, 100)) * width / 100;
    return "[" + std::string(full, '#') + std::string(width - full, '-') + "]";
}

std::string passOf(LiveRun const& run)
{
    return run.pass > 1 || run.forSeconds > 0 ? "pass " + std::to_string(run.pass) : std::string();
}

} // namespace

std::string timeLeft(LiveRun const& run, Moment now)
{
    double const elapsed = secondsBetween(run.began, now);
    double left = -1;
    if (run.forSeconds > 0)
        left = run.forSeconds - elapsed;
    else if (run.secondsLeft > 0)
        left = run.secondsLeft - secondsBetween(run.leftAt, now);
    else if (run.percent >= kFirstGuess && run.percent < 100)
        left = elapsed * (100 - run.percent) / run.percent;
    return left >= 0.5 ? readableSpan(left) + " left" : std::string();
}

std::string liveLine(LiveRun const& run, Moment now, std::size_t columns)
{
    std::string end = percentOf(run);
    std::size_t const room = columns > kShortestTitle ? columns - kShortestTitle : 0;
    // In the order in which they are missed.
    for (std::string const& part :
         {readableSpan(secondsBetween(run.began, now)), passOf(run), timeLeft(run, now)})
        if (!part.empty() && listing::columnsOf(end) + 2 + part.size() <= room)
            end += "  " + part;
    for (std::size_t const width : {kBar, kShortBar})
        if (listing::columnsOf(end) + width + 4 <= room) {
            end = bar(run, width) + end;
            break;
        }
    std::size_t const used = listing::columnsOf(end) + 1;
    std::size_t const forTitle = columns > used ? columns - used : 0;
    std::string title = run.title;
    if (!run.text.empty() && listing::columnsOf(title) + 4 < forTitle)
        title += ": " + run.text;
    return listing::cutTo(listing::filledTo(listing::cutTo(title, forTitle), forTitle) + " " + end, columns);
}

std::string plainLine(LiveRun const& run, Moment now)
{
    std::string line = run.title + ": " + std::to_string(std::max(run.percent, 0)) + "%, " +
                       readableSpan(secondsBetween(run.began, now));
    for (std::string const& part : {timeLeft(run, now), passOf(run)})
        line += part.empty() ? "" : ", " + part;
    return line;
}

} // namespace engine
