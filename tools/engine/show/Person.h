#pragma once
// The person at the terminal, if there is one.

#include <zel/foundation/Console.h>
#include <zel/foundation/OStream.h>

#include <functional>

namespace engine {

struct Person
{
    std::function<bool()> canAsk = zel::Console::canAsk;
    /// False at the end of input, and when `stopped` says so.
    std::function<bool(zel::String& line, std::function<bool()> const& stopped)> readLine =
        zel::Console::readLine;
    zel::OStream& out = zel::OStream::err(); ///< where he reads the question
};

} // namespace engine
