#pragma once

namespace krel5 {

/// The files by which a module describes itself. Each operation reports on standard output what it made or
/// could not make and never throws for a file that cannot be written.
struct ModuleFiles
{
    /// "{guid}.w4m", the metadata, in the working directory.
    static void writeMetadata();
    /// "{guid}.w4k", the localized keys, likewise.
    static void writeLocalizedKeys();
};

} // namespace krel5
