#pragma once
// Name-based identifiers: the same names give the same identifier on every run and every machine.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <initializer_list>

namespace zel {

/// A lower-case UUID text, "xxxxxxxx-xxxx-8xxx-xxxx-xxxxxxxxxxxx" (version 8 of RFC 9562, "custom"), made
/// from the names in order by FNV-1a with 128 bits. The split into names matters: ("a","bc") differs from
/// ("ab","c").
ZEL_EXPORT String nameBasedGuid(std::initializer_list<String> names);

} // namespace zel
