#pragma once
// The pattern of a closed vocabulary: constants from one `.def` table, looked up by text, compared by code.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <cstddef>
#include <span>

namespace zel {

/// One constant as its table row gives it.
struct VocabularyRow
{
    char const* accessor; ///< name of the static accessor
    char const* text;     ///< identity: what toString() returns and getConstantByString() finds
    int number;           ///< the declared code, rank or value; documentation for most vocabularies
};

} // namespace zel
