#include <engine/watch/MetricsText.h>

#include <zel/foundation/String.h>

#include <array>
#include <charconv>
#include <map>

namespace engine {
namespace {

constexpr char kPrefix[] = "krel5_";

// All samples of a metric stand together, below its head.
struct Metric
{
    std::string help;
    bool isCounter = false;
    std::string samples;
};

// The shortest that reads back as the same.
std::string numberText(double number)
{
    std::array<char, 32> text{};
    auto const end = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), end.ptr};
}

std::string helpText(std::string const& text)
{
    std::string out;
    for (char const c : zel::String(text).toUtf8())
        out += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : std::string(1, c);
    return out;
}

// "temperature_celsius" of "TemperatureCelsius" needs no second one.
std::string withEnding(std::string name, std::string const& ending)
{
    if (!ending.empty() && !name.ends_with("_" + ending) && name != ending)
        name += "_" + ending;
    return name;
}

std::string label(char const* name, std::string const& text)
{
    return std::string(name) + "=\"" + labelValue(text) + "\"";
}

std::string labelsOf(DeviceReadings const& device)
{
    return label("module", device.module) + "," + label("device", device.device.name) + "," +
           label("place", device.device.place) + "," + label("class", device.device.type) + "," +
           label("id", device.device.guid);
}

// Two keys may have the same name as a metric; the key tells them apart.
void addReadings(std::map<std::string, Metric>& metrics, Readings::Snapshot const& all, Time now)
{
    for (DeviceReadings const& device : all.devices) {
        std::string const labels = labelsOf(device);
        for (WatchedReading const& reading : device.readings) {
            if (!reading.quantity || !isCurrent(all, device, reading, now))
                continue;
            std::string const name = metricName(reading.key, *reading.quantity);
            auto const [place, isNew] = metrics.try_emplace(name);
            Metric& metric = place->second;
            if (isNew) {
                metric.help =
                    reading.name + (reading.quantity->unit.empty() ? "" : " in " + reading.quantity->unit);
                metric.isCounter = reading.quantity->isCounter;
            }
            metric.samples += name + "{" + labels + "," + label("reading", reading.key) + "} " +
                              numberText(reading.quantity->number) + "\n";
        }
    }
}

void addAlerts(std::map<std::string, Metric>& metrics, Readings::Snapshot const& all)
{
    std::string const name = std::string(kPrefix) + "alert_active";
    Metric& metric = metrics[name];
    metric.help = "An alert that stands";
    for (auto const& [module, alert] : all.alerts)
        metric.samples += name + "{" + label("module", module) + "," + label("alert", alert.key) + "," +
                          label("type", alert.type) + "," + label("title", alert.title) + "," +
                          label("device", alert.deviceName) + "," + label("id", alert.guid) + "} 1\n";
}

void addModules(std::map<std::string, Metric>& metrics, Readings::Snapshot const& all)
{
    std::string const name = std::string(kPrefix) + "module_up";
    Metric& metric = metrics[name];
    metric.help = "Whether the module is watched and says something";
    for (auto const& [module, state] : all.modules)
        metric.samples +=
            name + "{" + label("module", module) + "} " + (state.isUp && !state.isSilent ? "1" : "0") + "\n";
}

std::string headOf(std::string const& name, Metric const& metric)
{
    return "# HELP " + name + " " + helpText(metric.help) + "\n# TYPE " + name +
           (metric.isCounter ? " counter\n" : " gauge\n");
}

} // namespace

std::string metricName(std::string const& key, Quantity const& quantity)
{
    std::string name = snakeCase(key);
    if (quantity.isCounter) {
        if (name.ends_with("_total"))
            name.resize(name.size() - (sizeof "_total" - 1));
        return kPrefix + withEnding(withEnding(std::move(name), quantity.unit), "total");
    }
    // The ending of a counter, and those of the parts of a histogram, are not a gauge's.
    for (char const* const taken : {"_total", "_count", "_sum", "_bucket", "_info"})
        if (("_" + name).ends_with(taken) && quantity.unit.empty())
            name += "_value";
    return kPrefix + withEnding(name.empty() ? "reading" : std::move(name), quantity.unit);
}

std::string labelValue(std::string const& text)
{
    std::string out;
    for (char const c : zel::String(text).toUtf8())
        if (c == '\\' || c == '"')
            out += std::string("\\") + c;
        else if (c == '\n')
            out += "\\n";
        else if (c != '\0')
            out += c;
    return out;
}

std::string metricsText(Readings::Snapshot const& all, Time now)
{
    std::map<std::string, Metric> metrics;
    addReadings(metrics, all, now);
    addAlerts(metrics, all);
    addModules(metrics, all);
    std::string text;
    std::size_t leftOut = 0;
    for (auto const& [name, metric] : metrics) {
        if (metric.samples.empty())
            continue;
        std::string const head = headOf(name, metric);
        if (text.size() + head.size() + metric.samples.size() > kMostMetricBytes)
            ++leftOut;
        else
            text += head + metric.samples;
    }
    Metric const bound{"Metrics and readings that are left out, being too many", false, ""};
    std::string const name = std::string(kPrefix) + "left_out";
    return text + headOf(name, bound) + name + " " + std::to_string(leftOut + all.leftOut) + "\n";
}

} // namespace engine
