#include <libKrel5/basics/LibraryMutex.h>

namespace krel5 {

zel::Mutex& libraryMutex()
{
    static zel::Mutex* const s_mutex = new zel::Mutex();
    return *s_mutex;
}

} // namespace krel5
