#pragma once

namespace krel5 {

/// Hands the module's global parameters down to its tests and gives every parameter its value from the
/// settings file, those of indicators too; switches that cannot be read and settings that nothing reads are
/// reported. Throws ParameterNotSetException for a required parameter that the file does not set, and
/// ParameterNotValidException for a value that cannot be taken; both are first reported, with file and line,
/// to standard error and the log.
void setUpParameters();

} // namespace krel5
