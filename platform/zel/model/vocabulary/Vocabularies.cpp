// One unit for all vocabularies of single constants: they differ in nothing but their names and tables.

#include <zel/model/vocabulary/Vocabularies.h>

#define ZEL_EACH_VOCABULARY <zel/model/vocabulary/VocabularyUnit.inc>
#include <zel/model/vocabulary/Vocabularies.def>
