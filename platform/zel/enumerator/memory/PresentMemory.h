#pragma once
// The memory that the kernel found, to the page: without the holes that its blocks of memory may cover.

#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Root.h>

namespace zel {

/// Bytes of the pages that /proc/zoneinfo counts as present. `usable`: bytes that the kernel manages, from which
/// the size of a page is told where nothing else tells it. Absent where the pages or their size are not told.
measure::Count presentMemory(Root const& root, measure::Count usable);

} // namespace zel
