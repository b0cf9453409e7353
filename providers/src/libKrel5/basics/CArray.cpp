#include <krel5/CArray.h>

#include <krel5/KrelString.h>

namespace krel5 {

template class CArray<KrelString>; // every operation compiles, also those that nobody uses yet

} // namespace krel5
