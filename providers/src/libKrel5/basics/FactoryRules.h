#pragma once
// What every factory asks before it makes an object.

namespace krel5 {

class KrelString;

/// InvalidInitException, naming the factory and the key, when objects can no longer be made.
void checkOpenForFactories(char const* function, KrelString const& key);
/// InvalidKeyException for a key that is empty or holds a blank. `kind`: "Event".
void checkKeyOfNewObject(char const* kind, KrelString const& key);

} // namespace krel5
