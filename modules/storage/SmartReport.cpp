#include <storage/SmartReport.h>

#include <nlohmann/json.hpp>

namespace krel5::modules {
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

std::string textOf(Json const* value)
{
    if (!value || !value->is_string())
        return "";
    std::string text = value->get<std::string>().substr(0, kMostBytes);
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20)
            c = ' ';
    return text;
}

std::optional<bool> truthOf(Json const* value)
{
    return value && value->is_boolean() ? std::optional(value->get<bool>()) : std::nullopt;
}

std::int64_t numberOf(Json const* value)
{
    return value && value->is_number_integer() ? value->get<std::int64_t>() : 0;
}

std::uint64_t countOf(Json const* value)
{
    return value && value->is_number_unsigned() ? value->get<std::uint64_t>() : 0;
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

SmartAttribute attributeOf(Json const& entry)
{
    SmartAttribute attribute;
    attribute.m_id = static_cast<int>(numberOf(member(&entry, "id")) & 0xFF);
    attribute.m_name = textOf(member(&entry, "name"));
    attribute.m_value = numberOf(member(&entry, "value"));
    attribute.m_threshold = numberOf(member(&entry, "thresh"));
    attribute.m_whenFailed = textOf(member(&entry, "when_failed"));
    return attribute;
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
        report.m_nvme =
            NvmeHealth{countOf(member(log, "critical_warning")), countOf(member(log, "media_errors")),
                       countOf(member(log, "percentage_used"))};
    return report;
}

} // namespace krel5::modules
