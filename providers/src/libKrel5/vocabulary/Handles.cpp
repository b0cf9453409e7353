// One unit for the constants of all handles, and for everything of those handles that have nothing else: they
// differ in nothing but their names and tables.

#include <libKrel5/vocabulary/Handles.h>
#include <libKrel5/vocabulary/VocabularyHandle.h>

#define KREL5_EACH_HANDLE <libKrel5/vocabulary/HandleUnit.inc>
#include <libKrel5/vocabulary/Handles.def>
