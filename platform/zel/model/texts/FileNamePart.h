#pragma once

#include <zel/foundation/String.h>

namespace zel {

/// Whether a text that came from outside (a module's guid in a message, a customer's name on the command
/// line) may stand in a file name: 1 to 128 bytes, no slash, backslash or control character, no dot in front.
/// So no name leads out of its folder.
ZEL_EXPORT bool isFileNamePart(String const& text);

} // namespace zel
