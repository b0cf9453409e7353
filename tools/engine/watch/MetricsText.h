#pragma once
// Readings in the text format of Prometheus, version 0.0.4: docs/watch.md says what is called what.

#include <engine/watch/Readings.h>

#include <string>

namespace engine {

constexpr char kMetricsType[] = "text/plain; version=0.0.4; charset=utf-8";

/// What is read now; what nobody says any more is left out. At most kMostMetricBytes: further metrics are left out, and their
/// number is one of the metrics.
std::string metricsText(Readings::Snapshot const& all, Time now);
constexpr std::size_t kMostMetricBytes = std::size_t{16} << 20;

/// "krel5_temperature_celsius", "krel5_read_errors_total".
std::string metricName(std::string const& key, Quantity const& quantity);
/// What stands between the quotes of a label; its text is UTF-8, whatever it was.
std::string labelValue(std::string const& text);

} // namespace engine
