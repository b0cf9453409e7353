#include <libKrel5/basics/Arguments.h>

#include <krel5/IndexOutOfBoundsException.h>
#include <krel5/InternalException.h>

#include <zel/foundation/Exception.h>

namespace krel5 {

void requireArgument(bool present, char const* argument, char const* call, char const* file, int line)
{
    if (!present)
        throw InternalException(zel::String("Internal Exception in ") + call,
                                zel::AssertionException(argument, file, line));
}

void requireIndex(std::size_t index, std::size_t size)
{
    if (index >= size)
        throw IndexOutOfBoundsException(0, static_cast<int>(size) - 1, static_cast<int>(index));
}

} // namespace krel5
