#pragma once
// Reads a report, also one whose engine or machine went down while it was written. The file may come from anybody.
//
//     engine::Session const session = engine::readReport("report.jsonl");
//     if (session.stage() == engine::Stage::Interrupted) ...

#include <engine/report/Session.h>

#include <listing/saved/SavedListing.h>

#include <string>
#include <string_view>

namespace engine {

/// What a report may cost; the depth and the values are those of a line.
constexpr listing::SavedLimits kReportLimits{256u << 20, 8, 1'000'000};

/// The file; "-" is standard input. Throws zel::ParseException with name and reason for what cannot be read, is no report
/// or one of a newer form. What is wrong with single lines stands in the session's damage.
Session readReport(std::string const& path);
/// Of what was read already. A last line without its end is torn; it counts only if it is whole.
Session readReport(std::string_view utf8, std::string const& name);

} // namespace engine
