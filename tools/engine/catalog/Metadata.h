#pragma once
// What a module says of itself in its metadata file: docs/module-files.md has the lines.

#include <engine/catalog/Module.h>

#include <zel/foundation/Exception.h>

#include <string>
#include <string_view>

namespace engine {

/// Fills record, version, tests and number of indicators from the text of a metadata file of the module `guid`, that is
/// everything but what depends on settings, language and machine. Throws InvalidArgumentException that says which line of
/// `path` is wrong and why; then nothing of `module` counts. Lines of later versions are passed over.
void readMetadata(std::string_view content, std::string const& path, std::string const& guid, Module& module);

constexpr std::size_t kMostTests = 1000;      ///< of a module; indicators likewise
constexpr std::size_t kMostParameters = 1000; ///< of a test
constexpr std::size_t kMostOfAllTests =
    20'000; ///< parameters of a module's tests, global ones counted for each

} // namespace engine
