#include <internal/ModuleFiles.h>

#include <krel5/InternalException.h>

namespace krel5 {

void ModuleFiles::writeMetadata() { throw InternalException(zel::String("-m is not available yet")); }
void ModuleFiles::writeLocalizedKeys() { throw InternalException(zel::String("-k is not available yet")); }

} // namespace krel5
