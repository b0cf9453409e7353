#include <storage/SmartReport.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <limits>

namespace krel5::modules::storage {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kMostEntries = 1000;
constexpr std::size_t kMostBytes = 1000;

/// Null when there is no such member.
Json const* member(Json const* object, char const* name)
{
    if (!object || !object->is_object())
        return nullptr;
    auto const found = object->find(name);
    return found == object->end() ? nullptr : &*found;
}

/// A blank for each control character: below U+0020, and U+007F to U+009F, which terminals obey, too. `text`
/// is UTF-8, where the latter but the first are the byte C2 and one of 80 to 9F.
std::string withoutControls(std::string_view text)
{
    auto const byteAt = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool const twoBytes =
            byteAt(i) == 0xC2 && i + 1 < text.size() && byteAt(i + 1) >= 0x80 && byteAt(i + 1) <= 0x9F;
        out += twoBytes || byteAt(i) < 0x20 || byteAt(i) == 0x7F ? ' ' : text[i];
        i += twoBytes ? 1 : 0;
    }
    return out;
}

std::string textOf(Json const* value)
{
    if (!value || !value->is_string())
        return "";
    std::string const& text = value->get_ref<std::string const&>();
    return withoutControls(std::string_view(text).substr(0, kMostBytes));
}

std::optional<bool> truthOf(Json const* value)
{
    return value && value->is_boolean() ? std::optional(value->get<bool>()) : std::nullopt;
}

std::optional<std::uint64_t> maybeCountOf(Json const* value)
{
    constexpr double kTwoTo64 = 18446744073709551616.0;
    if (value && value->is_number_unsigned())
        return value->get<std::uint64_t>();
    // NVMe counts with 128 bits, which the parser makes a floating-point number of.
    if (!value || !value->is_number_float() || !(value->get<double>() >= 0))
        return std::nullopt;
    double const number = value->get<double>();
    return number < kTwoTo64 ? static_cast<std::uint64_t>(number) : std::numeric_limits<std::uint64_t>::max();
}

std::uint64_t countOf(Json const* value) { return maybeCountOf(value).value_or(0); }

std::int64_t numberOf(Json const* value)
{
    bool const fits =
        value && value->is_number_integer() &&
        (!value->is_number_unsigned() ||
         value->get<std::uint64_t>() <= std::uint64_t(std::numeric_limits<std::int64_t>::max()));
    return fits ? value->get<std::int64_t>() : 0;
}

template <typename Take>
void eachOf(Json const* list, Take take)
{
    if (!list || !list->is_array())
        return;
    std::size_t count = 0;
    for (Json const& entry : *list) {
        if (++count > kMostEntries)
            return;
        take(entry);
    }
}

/// The number that smartctl itself prints first, such as 5 of "5 (2 0)" or 33 of "33 (Min/Max 20/45)": the
/// six bytes behind it hold other things, too. Where it prints something else, the six bytes.
std::optional<std::uint64_t> rawCountOf(Json const* raw)
{
    constexpr std::uint64_t kSixBytes = (std::uint64_t(1) << 48) - 1;
    std::string const text = textOf(member(raw, "string"));
    std::uint64_t number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc() && (end == text.data() + text.size() || *end == ' '))
        return number;
    auto const value = maybeCountOf(member(raw, "value"));
    return value ? std::optional(*value & kSixBytes) : std::nullopt;
}

SmartAttribute attributeOf(Json const& entry)
{
    SmartAttribute attribute;
    attribute.m_id = static_cast<int>(numberOf(member(&entry, "id")) & 0xFF);
    attribute.m_name = textOf(member(&entry, "name"));
    attribute.m_value = numberOf(member(&entry, "value"));
    attribute.m_threshold = numberOf(member(&entry, "thresh"));
    attribute.m_whenFailed = textOf(member(&entry, "when_failed"));
    attribute.m_count = rawCountOf(member(&entry, "raw"));
    return attribute;
}

NvmeHealth nvmeOf(Json const& log)
{
    NvmeHealth health;
    health.m_criticalWarning = countOf(member(&log, "critical_warning"));
    health.m_mediaErrors = countOf(member(&log, "media_errors"));
    health.m_percentageUsed = countOf(member(&log, "percentage_used"));
    health.m_spare = maybeCountOf(member(&log, "available_spare"));
    health.m_spareThreshold = maybeCountOf(member(&log, "available_spare_threshold"));
    return health;
}

/// ATA: the upper half of the status byte is 0 for passed, 3 to 8 for failed; 1, 2 and 15 are no end.
SelfTest ataSelfTestOf(Json const& entry)
{
    Json const* const status = member(&entry, "status");
    SelfTest test;
    test.m_type = textOf(member(member(&entry, "type"), "string"));
    test.m_status = textOf(member(status, "string"));
    test.m_hours = maybeCountOf(member(&entry, "lifetime_hours"));
    test.m_lba = maybeCountOf(member(&entry, "lba"));
    test.m_passed = truthOf(member(status, "passed"));
    if (auto const value = maybeCountOf(member(status, "value"))) {
        std::uint64_t const result = *value >> 4;
        bool const ended = result == 0 || (result >= 3 && result <= 8);
        test.m_passed = ended ? std::optional(result == 0) : std::nullopt;
    }
    return test;
}

/// NVMe: 0 for passed, 5 to 7 for failed; the others were aborted.
SelfTest nvmeSelfTestOf(Json const& entry)
{
    Json const* const result = member(&entry, "self_test_result");
    SelfTest test;
    test.m_type = textOf(member(member(&entry, "self_test_code"), "string"));
    test.m_status = textOf(member(result, "string"));
    test.m_hours = maybeCountOf(member(&entry, "power_on_hours"));
    test.m_lba = maybeCountOf(member(&entry, "lba"));
    if (auto const value = maybeCountOf(member(result, "value")); value && (*value == 0 || *value - 5 <= 2))
        test.m_passed = *value == 0;
    return test;
}

/// SCSI: 0 for passed, 3 to 7 for failed; 1 and 2 were aborted, 15 is still running.
SelfTest scsiSelfTestOf(Json const& entry)
{
    Json const* const result = member(&entry, "result");
    Json const* const lba = member(&entry, "lba_first_failure");
    SelfTest test;
    test.m_type = textOf(member(member(&entry, "code"), "string"));
    test.m_status = textOf(member(result, "string"));
    test.m_hours = maybeCountOf(member(member(&entry, "power_on_time"), "hours"));
    test.m_lba = maybeCountOf(lba && lba->is_object() ? member(lba, "value") : lba);
    if (auto const value = maybeCountOf(member(result, "value")); value && (*value == 0 || *value - 3 <= 4))
        test.m_passed = *value == 0;
    return test;
}

std::vector<SelfTest> selfTestsOf(Json const& document)
{
    std::vector<SelfTest> tests;
    Json const* const ata = member(&document, "ata_smart_self_test_log");
    for (char const* kind : {"standard", "extended"})
        if (tests.empty())
            eachOf(member(member(ata, kind), "table"),
                   [&tests](Json const& entry) { tests.push_back(ataSelfTestOf(entry)); });
    eachOf(member(member(&document, "nvme_self_test_log"), "table"),
           [&tests](Json const& entry) { tests.push_back(nvmeSelfTestOf(entry)); });
    constexpr int kScsiEntries = 20; // of the log page; the first is the newest
    for (int i = 0; i < kScsiEntries; ++i)
        if (Json const* const entry = member(&document, ("scsi_self_test_" + std::to_string(i)).c_str()))
            tests.push_back(scsiSelfTestOf(*entry));
    return tests;
}

std::optional<std::int64_t> temperatureOf(Json const& document)
{
    Json const* const current = member(member(&document, "temperature"), "current");
    std::int64_t const degrees = numberOf(current);
    bool const sane = current && current->is_number_integer() && degrees > -100 && degrees < 250;
    return sane ? std::optional(degrees) : std::nullopt;
}

std::optional<std::uint64_t> uncorrectedOf(Json const& document)
{
    std::optional<std::uint64_t> sum;
    for (char const* kind : {"read", "write", "verify"}) {
        Json const* const log = member(member(&document, "scsi_error_counter_log"), kind);
        if (auto const count = maybeCountOf(member(log, "total_uncorrected_errors")))
            sum = sum.value_or(0) + std::min(*count, std::uint64_t(1) << 60); // three of which still fit
    }
    return sum;
}

} // namespace

SmartReport parseSmartReport(std::string_view text)
{
    SmartReport report;
    Json const document = Json::parse(text.begin(), text.end(), nullptr, false);
    if (!document.is_object())
        return report;
    report.m_readable = true;
    eachOf(member(member(&document, "smartctl"), "messages"), [&report](Json const& message) {
        if (textOf(member(&message, "severity")) == "error")
            report.m_errors.push_back(textOf(member(&message, "string")));
    });
    Json const* const support = member(&document, "smart_support");
    report.m_available = truthOf(member(support, "available"));
    report.m_enabled = truthOf(member(support, "enabled"));
    report.m_passed = truthOf(member(member(&document, "smart_status"), "passed"));
    eachOf(member(member(&document, "ata_smart_attributes"), "table"),
           [&report](Json const& entry) { report.m_attributes.push_back(attributeOf(entry)); });
    if (Json const* const log = member(&document, "nvme_smart_health_information_log");
        log && log->is_object())
        report.m_nvme = nvmeOf(*log);
    report.m_selfTests = selfTestsOf(document);
    report.m_temperature = temperatureOf(document);
    report.m_hours = maybeCountOf(member(member(&document, "power_on_time"), "hours"));
    report.m_grownDefects = maybeCountOf(member(&document, "scsi_grown_defect_list"));
    report.m_uncorrected = uncorrectedOf(document);
    return report;
}

} // namespace krel5::modules::storage
