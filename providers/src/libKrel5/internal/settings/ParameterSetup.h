#pragma once

namespace krel5 {

/// Hands the module's global parameters down to its tests and gives every parameter its value from the
/// settings file, those of indicators too. What cannot be taken, and settings that nothing reads, are reported
/// with file and line to standard error and the log; the tests that they concern are refused when they are to
/// run. Throws ParameterNotSetException for a required parameter that the file does not set.
void setUpParameters();

} // namespace krel5
