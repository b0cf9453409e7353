#pragma once

#include <zel/foundation/String.h>

#include <vector>

namespace krel5 {

/// The files by which a module describes itself, written whole or not at all into the working directory. Each
/// operation says on standard output what it made or could not make; a file that cannot be written is no
/// exception.
struct ModuleFiles
{
    /// "{guid}.w4m": the metadata by which an engine decides what to start.
    static void writeMetadata();
    /// "{guid}.w4k": every key that carries a text. Where no "{guid}.w4p" exists, also a skeleton of it. Keys
    /// without a text, and texts of keys that no object has, are noted on standard error.
    static void writeLocalizedKeys();

    /// False, after "Error opening {name} for writing." on standard output, when it cannot be written; the
    /// old file then stays.
    static bool write(zel::String const& name, zel::String const& content);
};

struct Metadata
{
    zel::String text;               ///< content of the metadata file
    std::vector<zel::String> notes; ///< what the settings file says wrongly about enabling
};
Metadata moduleMetadata();

} // namespace krel5
