#include <libKrel5/basics/Arguments.h>

#include <krel5/InternalException.h>

#include <zel/foundation/Exception.h>

namespace krel5 {

void requireArgument(bool present, char const* argument, char const* call, char const* file, int line)
{
    if (!present)
        throw InternalException(zel::String("Internal Exception in ") + call,
                                zel::AssertionException(argument, file, line));
}

} // namespace krel5
