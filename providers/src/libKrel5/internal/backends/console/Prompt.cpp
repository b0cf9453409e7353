#include <libKrel5/internal/backends/console/Prompt.h>

#include <libKrel5/internal/backends/StopRequest.h>

#include <zel/foundation/Console.h>
#include <zel/foundation/OStream.h>
#include <zel/model/runs/MessageBoxImp.h>

namespace krel5 {

void presentOnConsole(zel::MessageBoxImp& box)
{
    if (!zel::Console::canAsk())
        return;
    box.present(zel::OStream::out(), [](zel::String& line) {
        if (!zel::Console::readLine(line, [] { return StopRequest::isMade(); }))
            return false;
        if (!zel::Console::echoes()) // a terminal shows what is typed
            zel::OStream::out() << line.withoutControls(false) << zel::endl;
        return true;
    });
}

} // namespace krel5
