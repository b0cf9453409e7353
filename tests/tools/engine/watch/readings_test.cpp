// Readings as numbers, as a table and as metrics: what they are called, how much of them is kept and fits.
#include <engine/show/linux/Terminal.h>
#include <engine/watch/MetricsText.h>
#include <engine/watch/Quantity.h>
#include <engine/watch/Readings.h>
#include <engine/watch/WatchKeeper.h>
#include <engine/watch/WatchTable.h>

#include <listing/forms/Columns.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace engine;

namespace {

using Kind = WatchNews::Kind;
using zel::UnitMagnitude;
using zel::UnitType;
using zel::ValueImp;

Time const kNow = std::chrono::system_clock::from_time_t(1'800'000'000);

ValueImp counted(UnitType const& unit, std::uint64_t count) { return zel::DiscreteMeasurement(unit, count); }
ValueImp measured(UnitType const& unit, double value)
{
    return zel::NonDiscreteMeasurement(unit, value, UnitMagnitude::BASEUNIT(), 2);
}

WatchNews began(std::string const& module, double interval = 1)
{
    return {.kind = Kind::ModuleBegan, .time = kNow, .module = module, .interval = interval};
}
WatchNews read(std::string const& device, std::string const& key, ValueImp value, Time time = kNow)
{
    return {.kind = Kind::Readings,
            .time = time,
            .module = "sensors",
            .device = {device, device, "/dev/" + device, "Drive"},
            .readings = {{key, key, std::move(value)}}};
}
WatchNews raised(std::string const& guid, std::string const& title)
{
    WatchNews news{.kind = Kind::AlertRaised, .time = kNow, .module = "sensors"};
    news.alert = {guid, "Hot", "CRITICAL", title, "It burns", {"Open a window"}, "", "", kNow};
    return news;
}
bool has(std::string const& text, std::string const& part) { return text.find(part) != std::string::npos; }
std::string joined(std::vector<std::string> const& lines)
{
    std::string all;
    for (std::string const& line : lines)
        all += line + "\n";
    return all;
}

} // namespace

TEST(Quantity, isInTheBaseUnitOfItsKind)
{
    struct
    {
        char const* key;
        ValueImp value;
        double number;
        char const* metric;
    } const cases[] = {
        {"Temperature", measured(UnitType::CELSIUS(), 41.5), 41.5, "krel5_temperature_celsius"},
        {"CoreVoltage", zel::NonDiscreteMeasurement(UnitType::VOLTS(), 1250, UnitMagnitude::MILLI(), 0), 1.25,
         "krel5_core_voltage_volts"},
        {"Current", measured(UnitType::AMPS(), 2), 2, "krel5_current_amperes"},
        {"Power", measured(UnitType::WATTS(), 65), 65, "krel5_power_watts"},
        {"Energy", measured(UnitType::WATTHOURS(), 2), 7200, "krel5_energy_joules"},
        {"Charge", measured(UnitType::AMPEREHOURS(), 0.5), 1800, "krel5_charge_coulombs"},
        {"BytesWritten", counted(UnitType::BYTES(), 4096), 4096, "krel5_bytes_written_bytes_total"},
        {"MemoryUsed", counted(UnitType::BYTES(), 4096), 4096, "krel5_memory_used_bytes"},
        {"LinkRate", counted(UnitType::BITSPERSECOND(), 8000), 1000, "krel5_link_rate_bytes_per_second"},
        {"CPUFrequency", counted(UnitType::HERTZ(), 2'400'000'000), 2.4e9, "krel5_cpu_frequency_hertz"},
        {"PowerOnTime", counted(UnitType::SECONDS(), 60), 60, "krel5_power_on_time_seconds"},
        {"FanRPM", counted(UnitType::RPM(), 900), 900, "krel5_fan_rpm"},
        {"Load", ValueImp(25.0, zel::DataTypeImp::PERCENT()), 0.25, "krel5_load_ratio"},
        {"LoadAverage", ValueImp(0.5, zel::DataTypeImp::DOUBLE()), 0.5, "krel5_load_average"},
        {"ReadErrors", ValueImp(7u), 7, "krel5_read_errors_total"},
        {"ErrorsTotal", ValueImp(std::uint64_t{7}), 7, "krel5_errors_total"},
        {"Count", ValueImp(7u), 7, "krel5_count_total"},
        {"Count", ValueImp(-7), -7, "krel5_count_value"},
        {"Throttled", ValueImp(true), 1, "krel5_throttled"},
        {"Größe 2/x", ValueImp(1u), 1, "krel5_gr_e_2_x"},
        {"***", ValueImp(1u), 1, "krel5_reading"},
    };
    for (auto const& one : cases) {
        auto const quantity = quantityOf(one.key, one.value);
        ASSERT_TRUE(quantity) << one.metric;
        EXPECT_DOUBLE_EQ(quantity->number, one.number) << one.metric;
        EXPECT_EQ(metricName(one.key, *quantity), one.metric);
    }
    for (ValueImp const& none :
         {ValueImp("41"), counted(UnitType::HEXADECIMAL32(), 31),
          measured(UnitType::VOLTS(), std::numeric_limits<double>::infinity()),
          ValueImp(std::nan(""), zel::DataTypeImp::DOUBLE()), ValueImp(std::vector<std::uint32_t>{1, 2})})
        EXPECT_FALSE(quantityOf("Temperature", none)) << none.toString().toUtf8();
}

TEST(Readings, keepLeastMostAndABoundedHistory)
{
    Readings readings;
    readings.take(began("sensors"));
    for (int i = 0; i < 1000; ++i)
        readings.take(read("sda", "Temperature", measured(UnitType::CELSIUS(), i)));
    auto const all = readings.snapshot();
    ASSERT_EQ(all.devices.size(), 1u);
    WatchedReading const& one = all.devices[0].readings.at(0);
    EXPECT_EQ(one.least, 0);
    EXPECT_EQ(one.most, 999);
    EXPECT_EQ(one.mostText, "999.00 °C");
    ASSERT_EQ(one.history.size(), History::kMost);
    EXPECT_EQ(one.history.at(0), 1000 - History::kMost);
    EXPECT_EQ(one.history.at(History::kMost - 1), 999);

    for (std::size_t i = 0; i < Readings::kMostReadings; ++i) // one more than there may be
        readings.take(read("disk" + std::to_string(i / 1000), "Key" + std::to_string(i), ValueImp(1u)));
    for (int pass = 0; pass < 3; ++pass)
        readings.take(read("disk19", "Key" + std::to_string(Readings::kMostReadings - 1), ValueImp(1u)));
    EXPECT_EQ(readings.snapshot().leftOut, 1u) << "however often it came";
    WatchNews gone = read("disk19", "", ValueImp());
    gone.kind = Kind::DeviceRemoved;
    readings.take(gone);
    EXPECT_EQ(readings.snapshot().devices.size(), 20u);
    EXPECT_EQ(readings.snapshot().leftOut, 0u);
    readings.take(read("sdc", "Temperature", measured(UnitType::CELSIUS(), 1)));
    EXPECT_EQ(readings.snapshot().devices.back().readings.size(), 1u) << "there is room again";
}

// Devices that come and go all night: those that come late are kept as those that came first.
TEST(WatchKeeper, hasRoomForWhatComesInPlaceOfWhatWent)
{
    std::size_t kept = 0;
    WatchKeeper keeper(
        [&kept](Record const& record) { kept += std::holds_alternative<WatchReadings>(record); });
    for (std::size_t i = 0; i < WatchKeeper::kMostReadings + 10; ++i) {
        WatchNews news = read("sd" + std::to_string(i), "Temperature", measured(UnitType::CELSIUS(), 40));
        keeper.take(news);
        keeper.take(news); // unchanged: not kept again
        news.kind = Kind::DeviceRemoved;
        keeper.take(news);
    }
    EXPECT_EQ(kept, WatchKeeper::kMostReadings + 10);
}

TEST(Readings, areCurrentAsLongAsTheirModuleSpeaks)
{
    Readings readings;
    readings.take(began("sensors", 10));
    readings.take(read("sda", "Temperature", measured(UnitType::CELSIUS(), 40)));
    auto const isShown = [&](Time now) {
        return has(metricsText(readings.snapshot(), now), "krel5_temperature_celsius{");
    };
    EXPECT_TRUE(isShown(kNow + std::chrono::seconds(44)));
    EXPECT_FALSE(isShown(kNow + std::chrono::seconds(46))) << "nobody has said so for three intervals";
    for (Kind const kind : {Kind::ModuleSilent, Kind::ModuleFailed}) {
        readings.take(began("sensors", 10));
        EXPECT_TRUE(isShown(kNow));
        readings.take({.kind = kind, .time = kNow, .module = "sensors", .text = "it sleeps"});
        EXPECT_FALSE(isShown(kNow));
        EXPECT_TRUE(has(metricsText(readings.snapshot(), kNow), "krel5_module_up{module=\"sensors\"} 0\n"));
        auto const table = joined(watchTable(readings.snapshot(), {}, kNow));
        EXPECT_TRUE(has(table, "(40.00 °C)")) << table;
        EXPECT_TRUE(has(table, "sensors: it sleeps")) << table;
    }
}

TEST(Metrics, haveLabelsThatNoNameOfADeviceLeaves)
{
    Readings readings;
    readings.take(began("sensors"));
    readings.take(read("a\"b\\c\nd\xff", "Use", ValueImp(1u)));
    std::string const text = metricsText(readings.snapshot(), kNow);
    EXPECT_TRUE(has(text, R"(device="a\"b\\c\nd�")")) << text;
    EXPECT_TRUE(has(text, "# HELP krel5_use Use\n# TYPE krel5_use gauge\nkrel5_use{")) << text;
}

TEST(WatchTable, fitsTheTerminalWhateverIsIn)
{
    Readings readings;
    readings.take(began("sensors"));
    for (int i = 0; i < 40; ++i)
        for (int j = 0; j < 30; ++j)
            readings.take(read("drive with a name that is longer than most " + std::to_string(i),
                               "Temperature", measured(UnitType::CELSIUS(), 40 + j % 7)));
    readings.take(read("漢字 \x1b[2J\n", "Temperature", measured(UnitType::CELSIUS(), 1)));
    for (int i = 0; i < 30; ++i)
        readings.take(raised(std::to_string(i), "Alert " + std::to_string(i) + std::string(200, 'x')));
    for (std::size_t const columns : {1u, 7u, 20u, 40u, 79u, 200u})
        for (std::size_t const rows : {1u, 2u, 3u, 6u, 10u, 24u, 200u})
            for (bool const isUnicode : {false, true}) {
                TableForm form;
                form.columns = columns;
                form.rows = rows;
                form.isUnicode = isUnicode;
                form.head = "Watching sensors";
                auto const lines = watchTable(readings.snapshot(), form, kNow);
                EXPECT_LE(lines.size(), rows);
                for (std::string const& line : lines) {
                    EXPECT_LE(listing::columnsOf(line), columns) << line;
                    EXPECT_FALSE(has(line, "\x1b") || has(line, "\n")) << line;
                }
            }
    TableForm form;
    form.columns = 79;
    auto const table = joined(watchTable(readings.snapshot(), form, kNow));
    EXPECT_TRUE(has(table, "Temperature  41.00 °C  40.00 °C  46.00 °C  ")) << table;
    EXPECT_TRUE(has(table, "Alert 29xxx")) << "the newest: " << table;
    EXPECT_TRUE(has(table, " more lines")) << table;
}

TEST(Sparkline, showsWhatMovesAndLetsTheRestStandStill)
{
    History ramp, still, nearly;
    for (int i = 0; i < 8; ++i) {
        ramp.add(i);
        still.add(5);
        nearly.add(230 + 0.1 * (i % 2));
    }
    EXPECT_EQ(sparkline(ramp, 8, true), "▁▂▃▄▅▆▇█");
    EXPECT_EQ(sparkline(ramp, 3, false), "_=#");
    EXPECT_EQ(sparkline(still, 8, false), "========");
    EXPECT_EQ(sparkline(History(), 8, true), "");
    std::string const text = sparkline(nearly, 8, false);
    EXPECT_EQ(text.find('_'), std::string::npos) << "a tenth of a volt: " << text;
}
