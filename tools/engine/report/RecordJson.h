#pragma once
// A record as a JSON object, and back. docs/report-format.md lists the members; RecordJson.cpp is the one place that
// names them.

#include <engine/report/Records.h>

#include <listing/forms/JsonWriter.h>
#include <listing/saved/JsonTree.h>

#include <optional>
#include <string>

namespace engine {

constexpr char kReportFormat[] = "krel5-report";
constexpr unsigned kReportVersion = 1; ///< newer files are refused: what they say may mean something else

/// "session-began", "run-ended" ...: how the record is called in a report.
char const* wordOf(Record const& record);
/// The members of the record, into an object that was begun: its word first.
void writeMembers(listing::JsonWriter& json, Record const& record);
/// Nothing for a record of a kind that is not known. Members that are not known are passed over; those that are not
/// there keep their default, but for time, run, result and verdict. Throws zel::ParseException "{name}:{line}: {reason}".
std::optional<Record> readRecord(listing::JsonNode const& object, std::string const& name);

} // namespace engine
