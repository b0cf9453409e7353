#pragma once
// Keys and texts that handles take and give out.

namespace zel {
class String;
}

namespace krel5 {

class KrelString;

/// `cache` holding `text`. A cache that holds it already is left alone, so that the buffers it handed out
/// stay valid.
KrelString const& cached(KrelString& cache, zel::String const& text);

/// The key, when it holds no blank, else InvalidKeyException for "create{what}".
KrelString const& checkedKey(char const* what, KrelString const& key);

} // namespace krel5
