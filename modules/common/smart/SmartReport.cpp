#include <common/smart/SelfTestLog.h>
#include <common/smart/SmartJson.h>
#include <common/smart/SmartReport.h>

#include <algorithm>
#include <charconv>

namespace krel5::modules {
namespace {

using Field = SmartJson::Field;

constexpr std::uint64_t kByte = 0xFF;

/// The number that smartctl itself prints first, such as 5 of "5 (2 0)" or 33 of "33 (Min/Max 20/45)": the
/// six bytes behind it hold other things, too. Where it prints something else, the six bytes.
std::optional<std::uint64_t> rawCountOf(Field const& raw)
{
    constexpr std::uint64_t kSixBytes = (std::uint64_t(1) << 48) - 1;
    auto const value = raw["value"].count();
    std::string const text = raw["string"].text();
    std::uint64_t number = 0;
    char const* const last = text.data() + text.size();
    auto const [end, error] = std::from_chars(text.data(), last, number);
    if (error == std::errc() && (end == last || *end == ' '))
        return number;
    return value ? std::optional(*value & kSixBytes) : std::nullopt;
}

/// Words that smartctl has used: "now" and "FAILING_NOW", "past" and "In_the_past", "" and "-".
SmartAttribute::Failed failedOf(Field const& word)
{
    std::string const text = word.text();
    if (text == "now" || text == "FAILING_NOW")
        return SmartAttribute::Failed::Now;
    if (text == "past" || text == "In_the_past")
        return SmartAttribute::Failed::Before;
    if (!text.empty() && text != "-")
        word.doubt();
    return SmartAttribute::Failed::Never;
}

SmartAttribute attributeOf(Field const& entry)
{
    SmartAttribute attribute;
    attribute.m_id = static_cast<int>(entry["id"].count(kByte).value_or(0));
    if (attribute.m_id == 0)
        entry["id"].doubt();
    attribute.m_name = entry["name"].text();
    attribute.m_value = entry["value"].count(kByte);
    attribute.m_threshold = entry["thresh"].count(kByte);
    attribute.m_failed = failedOf(entry["when_failed"]);
    attribute.m_prefailure = entry["flags"]["prefailure"].truth();
    attribute.m_count = rawCountOf(entry["raw"]);
    return attribute;
}

void readAttributes(Field const& document, SmartReport& report)
{
    constexpr std::size_t kMostAttributes = 30; // a drive has room for so many
    document["ata_smart_attributes"]["table"].each(kMostAttributes, [&report](Field const& entry) {
        report.m_attributes.push_back(attributeOf(entry));
    });
}

void readNvme(Field const& log, SmartReport& report)
{
    if (!log.isThere())
        return;
    report.m_criticalWarning = log["critical_warning"].count(kByte);
    if (!report.m_criticalWarning)
        log["critical_warning"].doubt(); // it is never left out
    report.m_mediaErrors = log["media_errors"].count();
    report.m_errorLogEntries = log["num_err_log_entries"].count();
    report.m_wear.m_percentageUsed = log["percentage_used"].count();
    report.m_wear.m_spare = log["available_spare"].count();
    report.m_wear.m_spareThreshold = log["available_spare_threshold"].count();
}

std::optional<std::uint64_t> uncorrectedOf(Field const& log)
{
    std::optional<std::uint64_t> sum;
    for (char const* kind : {"read", "write", "verify"})
        if (auto const count = log[kind]["total_uncorrected_errors"].count())
            sum = sum.value_or(0) + std::min(*count, std::uint64_t(1) << 60); // three of which still fit
    return sum;
}

void readScsi(Field const& document, SmartReport& report)
{
    Field const sense = document["smart_status"]["scsi"];
    auto const code = sense["asc"].count(kByte), qualifier = sense["ascq"].count(kByte);
    // SPC: WARNING - SPECIFIED TEMPERATURE EXCEEDED
    report.m_scsiTooWarm = code == std::uint64_t(0x0B) && qualifier == std::uint64_t(0x01);
    report.m_grownDefects = document["scsi_grown_defect_list"].count();
    report.m_uncorrected = uncorrectedOf(document["scsi_error_counter_log"]);
    if (auto const used = document["scsi_percentage_used_endurance_indicator"].count())
        report.m_wear.m_percentageUsed = used;
}

std::optional<std::int64_t> temperatureOf(Field const& temperature, char const* which)
{
    auto const degrees = temperature[which].number();
    bool const sane = degrees && *degrees > -100 && *degrees < 250;
    return sane ? degrees : std::nullopt;
}

void readErrors(Field const& messages, SmartReport& report)
{
    constexpr std::size_t kMostMessages = 20;
    messages.each(kMostMessages, [&report](Field const& message) {
        std::string const text = message["string"].text();
        if (message["severity"].text() == "error" && report.m_errors.size() < kMostMessages)
            report.m_errors.push_back(text);
    });
}

} // namespace

SmartReport parseSmartReport(std::string_view text)
{
    SmartReport report;
    SmartJson json(text);
    Field const document = json.top();
    report.m_readable = document.isThere();
    readErrors(document["smartctl"]["messages"], report);
    report.m_exitStatus = static_cast<int>(document["smartctl"]["exit_status"].count(kByte).value_or(0));
    report.m_available = document["smart_support"]["available"].truth();
    report.m_enabled = document["smart_support"]["enabled"].truth();
    report.m_passed = document["smart_status"]["passed"].truth();
    readAttributes(document, report);
    readNvme(document["nvme_smart_health_information_log"], report);
    readScsi(document, report);
    readSelfTests(document, report);
    Field const temperature = document["temperature"];
    report.m_temperature = temperatureOf(temperature, "current");
    report.m_warmest = temperatureOf(temperature, "op_limit_max");
    if (!report.m_warmest)
        report.m_warmest = temperatureOf(temperature, "drive_trip"); // SCSI: its reference temperature
    report.m_hottest = temperatureOf(temperature, "limit_max");
    report.m_hours = document["power_on_time"]["hours"].count();
    report.m_doubts = json.doubts();
    return report;
}

} // namespace krel5::modules
