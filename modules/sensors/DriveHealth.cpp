#include <sensors/DriveHealth.h>

#include <common/ChildProcess.h>
#include <common/ErrorText.h>
#include <common/smart/SmartEvidence.h>
#include <common/smart/SmartProgram.h>

#include <zel/model/devices/DeviceImp.h>

#include <algorithm>
#include <functional>

namespace krel5::modules::sensors {

namespace {

using Id = ReadingId;
using C = zel::CapabilityImp;

constexpr std::size_t kLargest = std::size_t(4) << 20;
constexpr double kAll = 100; // percent

/// The highest count of an attribute of that id.
std::optional<double> countOf(SmartReport const& report, int id)
{
    std::optional<double> most;
    for (SmartAttribute const& one : report.m_attributes)
        if (one.m_id == id && one.m_count)
            most = std::max(most.value_or(0), static_cast<double>(*one.m_count));
    return most;
}

/// SATA drives rate what is left of their life from 100 downwards, each maker under another number; smartctl's names tell those from the
/// others that the numbers have. Of several the worst.
std::optional<double> attributeWear(SmartReport const& report)
{
    std::optional<double> worst;
    for (SmartAttribute const& one : report.m_attributes)
        for (char const* name :
             {"Wear_Leveling_Count", "Media_Wearout_Indicator", "SSD_Life_Left", "Percent_Lifetime_Remain",
              "Remaining_Lifetime_Perc", "Perc_Rated_Life_Remain"})
            if (one.m_name == name && one.m_value && *one.m_value <= 100)
                worst = std::max(worst.value_or(0), kAll - static_cast<double>(*one.m_value));
    return worst;
}

std::optional<double> asNumber(std::optional<std::uint64_t> count)
{
    return count ? std::optional(static_cast<double>(*count)) : std::nullopt;
}

std::optional<double> firstOf(std::optional<double> one, std::optional<double> other)
{
    return one ? one : other;
}

void readWear(SmartReport const& report, Readings& readings)
{
    auto const wear = firstOf(asNumber(report.m_wear.m_percentageUsed), attributeWear(report));
    readings.add(Id::Wear, wear ? std::optional(std::min(*wear, kAll)) : wear);
    auto const spare = asNumber(report.m_wear.m_spare), least = asNumber(report.m_wear.m_spareThreshold);
    if (!spare || *spare > kAll)
        return;
    readings.add(Id::SpareSpace, spare);
    if (least && *least > 0 && *least < kAll)
        readings.limits.push_back({"MinimumSpareSpace", *least});
}

std::string nameOf(zel::DeviceImp const& device)
{
    constexpr std::string_view kFolder = "/dev/";
    std::string const path = device.osLocator().toUtf8();
    bool const isName =
        path.starts_with(kFolder) &&
        path.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789",
                               kFolder.size()) == path.npos;
    return isName ? path.substr(kFolder.size()) : "";
}

void readHealth(Part const& part, PassFiles& pass, Counters&, Readings& readings)
{
    if (pass.files().isLive()) {
        readings = askDrive(findProgram("smartctl"), "/dev/" + part.path);
        return;
    }
    auto const report = pass.files().read("smartctl/" + part.path + ".json", kLargest);
    if (report)
        readings = healthReadings(report.content, 0);
}

} // namespace

std::unique_ptr<Part> healthPartOf(zel::DeviceImp const& device, MachineFiles const& files)
{
    constexpr std::size_t kLanes = 4; // as many drives are asked at once, and those that are held up
    bool const isDrive =
        device.deviceCapabilities().intersects(C::HardDrive()) && device.deviceType() != C::DrivePartition();
    std::string const name = isDrive ? nameOf(device) : "";
    // what stands upon drives has none below it
    if (name.empty() || !files.isFolder("sys/block/" + name + "/device") ||
        (files.isLive() && findProgram("smartctl").empty()))
        return nullptr;
    auto part = std::make_unique<Part>();
    part->guid = device.guid().toUtf8();
    part->name = device.name().toUtf8();
    part->path = name;
    part->lane = "health " + std::to_string(std::hash<std::string>()(name) % kLanes);
    part->isHealth = true;
    part->read = &readHealth;
    return part;
}

Readings healthReadings(std::string const& text, int exitStatus)
{
    Readings readings;
    SmartReport const report = parseSmartReport(text);
    SmartOptions const options;
    SmartEvidence const evidence(report, exitStatus, options);
    if (!report.m_readable) {
        readings.failure = "smartctl: what it printed is no report";
        return readings;
    }
    if (!evidence.saysAnything())
        return readings;
    // A report of which not all is understood may have missed something bad; what is bad in it is so.
    if (evidence.isBad() || (evidence.hasAssessment() && report.m_doubts.empty()))
        readings.add(Id::Failing, evidence.isBad() ? 1.0 : 0.0);
    readings.add(Id::Temperature, report.m_temperature
                                      ? std::optional(static_cast<double>(*report.m_temperature))
                                      : std::nullopt);
    if (report.m_warmest && *report.m_warmest > 0)
        readings.limits.push_back({"MaximumTemperature", static_cast<double>(*report.m_warmest)});
    if (report.m_hottest && *report.m_hottest > 0)
        readings.limits.push_back({"CriticalTemperature", static_cast<double>(*report.m_hottest)});
    readWear(report, readings);
    constexpr int kReallocated = 5, kReportedUncorrect = 187, kPending = 197, kLinkErrors = 199;
    readings.add(Id::MediaErrors,
                 firstOf(firstOf(asNumber(report.m_mediaErrors), asNumber(report.m_uncorrected)),
                         countOf(report, kReportedUncorrect)));
    readings.add(Id::ReallocatedSectors,
                 firstOf(asNumber(report.m_grownDefects), countOf(report, kReallocated)));
    readings.add(Id::PendingSectors, countOf(report, kPending));
    readings.add(Id::LinkErrors, countOf(report, kLinkErrors));
    return readings;
}

Readings askDrive(std::string const& program, std::string const& device, double seconds)
{
    using End = ChildResult::End;
    ChildLimits limits;
    limits.m_seconds = seconds;
    limits.m_bytes = kLargest;
    ChildResult const child = runChild(smartWords(program, device, "", false), limits, [] { return false; });
    if (child.m_end == End::Exited)
        return healthReadings(child.m_output, child.m_status);
    Readings readings;
    readings.failure = "smartctl: " + [&]() -> std::string {
        switch (child.m_end) {
        case End::TimedOut:
            return "no answer within " + std::to_string(static_cast<long>(seconds)) + " s";
        case End::NotStarted:
            return errorText(child.m_status);
        case End::TooMuchOutput:
            return "too much output";
        case End::Signalled:
            return "ended by signal " + std::to_string(child.m_status);
        case End::Exited:
        case End::Stopped:
        case End::Lost:
            break;
        }
        return "nobody knows how it ended";
    }();
    return readings;
}

} // namespace krel5::modules::sensors
