#include <libKrel5/internal/start/BackendSelection.h>

#include <libKrel5/internal/backends/console/CommStandAlone.h>
#include <libKrel5/internal/backends/direct/CommDirectLink.h>
#include <libKrel5/internal/backends/engine/CommEngine.h>
#include <libKrel5/internal/backends/pipes/CommXml.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ErrorReporting.h>

#include <krel5/CommandLineOption.h>

#include <zel/foundation/Logger.h>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.ModuleCommon");
    return s_logger;
}

template <typename Backend>
std::unique_ptr<CommInterface> make()
{
    return std::make_unique<Backend>();
}

struct Row
{
    CommandLineOption const& (*option)(); // null: no option needed
    char const* name;
    int logLine;
    std::unique_ptr<CommInterface> (*make)();
    bool needsIndicators; // the other side asks for nothing else
};

// In order of precedence.
Row const s_backends[] = {
    {&CommandLineOption::ENGINE, "CommEngine", 1200, &make<CommEngine>, false},
    {&CommandLineOption::XML, "CommXml", 1204, &make<CommXml>, false},
    {&CommandLineOption::DIRECTLINK, "CommDirectLink", 1208, &make<CommDirectLink>, true},
    {nullptr, "CommStandAlone", 1212, &make<CommStandAlone>, false},
};

} // namespace

std::unique_ptr<CommInterface> BackendSelection::choose()
{
    for (Row const& row : s_backends) {
        if (row.option && !CommandLine::isSet(row.option()))
            continue;
        ZEL_LOG_LINE(logger(), zel::LogLevel::Debug, row.logLine) << "CommInterface: using " << row.name;
        if (!row.needsIndicators || ErrorReporting::facade()->kind == Facade::Kind::Indicator)
            return row.make();
        zel::String const text = zel::String("The option -") + row.option().command().zelString() +
                                 " is for indicator modules: a client in the same process watches devices.";
        ZEL_LOG(logger(), zel::LogLevel::Error) << text;
        ErrorReporting::tell(text);
        return nullptr;
    }
    return nullptr;
}

} // namespace krel5
