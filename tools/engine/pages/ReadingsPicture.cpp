#include <engine/pages/ReadingsPicture.h>

#include <engine/report/UtcTime.h>

#include <listing/forms/Columns.h>
#include <listing/forms/Escapes.h>
#include <listing/forms/Listing.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace engine {
namespace {

// In units of the picture, which is scaled to the page.
constexpr double kWidth = 800, kHeight = 220, kLeft = 52, kRight = 12, kTop = 12, kBottom = 34;
constexpr std::size_t kMostLines = 6;
constexpr std::size_t kMostRuns = 500; // that are shaded
constexpr std::size_t kNameColumns = 20;
constexpr double kLeastSpan = 5; // degrees

std::string escaped(std::string const& text) { return listing::escaped(listing::harmless(text)); }

std::string numberText(double value, int decimals)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
    return text.data();
}

/// From values to places in the picture.
struct Scale
{
    double seconds = 1, least = 0, most = 1;
    Time begin;

    double x(Time time) const
    {
        double const at = std::chrono::duration<double>(time - begin).count() / seconds;
        return kLeft + std::clamp(at, 0.0, 1.0) * (kWidth - kLeft - kRight);
    }
    double y(double value) const
    {
        return kTop + (most - value) / (most - least) * (kHeight - kTop - kBottom);
    }
};

// Round numbers, a few of them.
double stepFor(double span)
{
    double step = 1;
    for (double const next : {2.0, 5.0, 10.0, 20.0, 50.0, 100.0, 200.0, 500.0, 1000.0})
        if (span / step > 5)
            step = next;
    return std::max(step, span / 10);
}

Scale scaleFor(Session const& session, std::vector<WatchedSeries const*> const& lines)
{
    Scale scale;
    scale.begin = session.began.time;
    Time end = session.lastTime;
    scale.least = lines[0]->least;
    scale.most = lines[0]->most;
    for (WatchedSeries const* const one : lines) {
        scale.least = std::min(scale.least, one->least);
        scale.most = std::max(scale.most, one->most);
        end = std::max(end, one->points.back().time);
    }
    double const middle = (scale.least + scale.most) / 2;
    double const step = stepFor(std::max(scale.most - scale.least, kLeastSpan));
    scale.least = std::floor(std::min(scale.least, middle - kLeastSpan / 2) / step) * step;
    scale.most = std::ceil(std::max(scale.most, middle + kLeastSpan / 2) / step) * step;
    scale.seconds = std::max(1.0, std::chrono::duration<double>(end - scale.begin).count());
    return scale;
}

std::string textAt(double x, double y, char const* anchor, std::string const& text)
{
    return "<text x=\"" + numberText(x, 1) + "\" y=\"" + numberText(y, 1) + "\" text-anchor=\"" + anchor +
           "\">" + text + "</text>\n";
}

std::string lineOf(double x1, double y1, double x2, double y2, char const* kind)
{
    return std::string("<line class=\"") + kind + "\" x1=\"" + numberText(x1, 1) + "\" y1=\"" +
           numberText(y1, 1) + "\" x2=\"" + numberText(x2, 1) + "\" y2=\"" + numberText(y2, 1) + "\" />\n";
}

std::string axes(Scale const& scale)
{
    std::string out;
    double const step = stepFor(scale.most - scale.least);
    int const decimals = step < 1 ? 1 : 0;
    auto const count = static_cast<int>(std::min((scale.most - scale.least) / step + 0.5, 20.0));
    for (int i = 0; i <= count; ++i) {
        double const value = scale.least + i * step;
        double const y = scale.y(value);
        out += lineOf(kLeft, y, kWidth - kRight, y, "grid") +
               textAt(kLeft - 6, y + 4, "end", numberText(value, decimals) + " °C");
    }
    constexpr int kTimes = 4;
    for (int i = 0; i <= kTimes; ++i) {
        double const x = kLeft + (kWidth - kLeft - kRight) * i / kTimes;
        out += textAt(x, kHeight - kBottom + 16,
                      i == kTimes ? "end"
                      : i == 0    ? "start"
                                  : "middle",
                      readableSpan(scale.seconds * i / kTimes));
    }
    return out;
}

// What heats is a test; whichever it is, its name stands in a tooltip.
std::string runs(Session const& session, Scale const& scale)
{
    std::string out;
    for (std::size_t i = 0; i < std::min(session.runs.size(), kMostRuns); ++i) {
        RunReport const& run = session.runs[i];
        double const from = scale.x(run.began.time);
        double const to =
            scale.x(run.began.time + std::chrono::duration_cast<Time::duration>(
                                         std::chrono::duration<double>(session.secondsOf(run))));
        out += "<rect class=\"run\" x=\"" + numberText(from, 1) + "\" y=\"" + numberText(kTop, 1) +
               "\" width=\"" + numberText(std::max(to - from, 1.0), 1) + "\" height=\"" +
               numberText(kHeight - kTop - kBottom, 1) + "\"><title>" + escaped(testName(run.began)) +
               "</title></rect>\n";
    }
    return out;
}

std::string curve(WatchedSeries const& series, Scale const& scale, std::size_t index)
{
    std::string points;
    for (WatchedSeries::Point const& one : series.points)
        points += (points.empty() ? "" : " ") + numberText(scale.x(one.time), 1) + "," +
                  numberText(scale.y(one.value), 1);
    return "<polyline class=\"curve c" + std::to_string(index) + "\" points=\"" + points + "\"><title>" +
           escaped(series.name) + "</title></polyline>\n";
}

} // namespace

std::string temperaturePicture(Session const& session, std::vector<WatchedSeries const*> const& series)
{
    std::vector<WatchedSeries const*> lines;
    for (WatchedSeries const* const one : series)
        if (one->unit == "celsius" && one->points.size() > 1 && lines.size() < kMostLines)
            lines.push_back(one);
    if (lines.empty())
        return {};
    Scale const scale = scaleFor(session, lines);
    std::string names;
    for (WatchedSeries const* const one : lines)
        names += (names.empty() ? "" : ", ") + escaped(one->name);
    std::string out = "<svg class=\"readings\" viewBox=\"0 0 " + numberText(kWidth, 0) + " " +
                      numberText(kHeight, 0) + "\" role=\"img\"><title>" + names +
                      " over the time of the session</title>\n" + runs(session, scale) + axes(scale);
    double x = kLeft;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        out += curve(*lines[i], scale, i);
        out += lineOf(x, kHeight - 8, x + 18, kHeight - 8, ("curve c" + std::to_string(i)).c_str()) +
               textAt(x + 23, kHeight - 4, "start",
                      listing::escaped(listing::cutTo(listing::harmless(lines[i]->name), kNameColumns)));
        x += (kWidth - kLeft - kRight) / static_cast<double>(lines.size());
    }
    return out + "</svg>\n";
}

} // namespace engine
