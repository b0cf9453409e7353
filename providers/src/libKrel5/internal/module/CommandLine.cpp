#include <libKrel5/internal/module/CommandLine.h>

#include <krel5/CommandLineOption.h>
#include <krel5/KrelString.h>

#include <zel/foundation/OStream.h>

#include <vector>

namespace krel5 {
namespace {

constexpr int Absent = -1;

struct Row
{
    CommandLineOption const& (*option)();
    zel::Option::Type type;
    bool dash;
    int common, diag, sysinfo, indicator; // a characteristic, or Absent
};

constexpr auto Flag = zel::Option::Type::Flag;
constexpr auto Integer = zel::Option::Type::Integer;
constexpr auto String = zel::Option::Type::String;

Row const s_rows[] = {
#define KREL5_OPTION(accessor, name, command, description, type, dash, common, diag, sysinfo, indicator)     \
    {&CommandLineOption::accessor, type, dash, common, diag, sysinfo, indicator},
#include <krel5/vocabulary/CommandLineOption.def>
};

// How each of the manager's options shows, in the same order.
std::vector<tCommandLineOptionCharacteristic>& characteristics()
{
    static auto* const s_characteristics = new std::vector<tCommandLineOptionCharacteristic>();
    return *s_characteristics;
}

void add(zel::Option option, tCommandLineOptionCharacteristic characteristic)
{
    auto& manager = zel::OptionManager::instance();
    manager.registerOption(std::move(option));
    characteristics().resize(manager.options().size());
    characteristics().back() = characteristic;
}

template <typename Column>
void addRows(Column column)
{
    for (Row const& row : s_rows)
        if (int const characteristic = column(row); characteristic != Absent)
            CommandLine::addCommandLineOption(row.option(), row.type,
                                              static_cast<tCommandLineOptionCharacteristic>(characteristic),
                                              row.dash);
}

} // namespace

void CommandLine::addCommandLineOption(CommandLineOption const& option, zel::Option::Type type,
                                       tCommandLineOptionCharacteristic characteristic, bool dash)
{
    add(zel::Option(option.name().zelString(), "", type, {}, option.command().zelString(),
                    option.description().zelString(), dash),
        characteristic);
}

void CommandLine::addFacadeOptions(Facade::Kind kind)
{
    switch (kind) {
    case Facade::Kind::Diag:
        return addRows([](Row const& row) { return row.diag; });
    case Facade::Kind::SysInfo:
        return addRows([](Row const& row) { return row.sysinfo; });
    case Facade::Kind::Indicator:
        return addRows([](Row const& row) { return row.indicator; });
    }
}

void CommandLine::addCommonOptions()
{
    addRows([](Row const& row) { return row.common; });
    add(zel::LoggerConfig::loggerLevelOption(), Plain);
    add(zel::LoggerConfig::loggerRootOption(), Plain);
}

void CommandLine::parse(int argc, char const* const argv[])
{
    zel::OptionManager::instance().mergeCommandLine(argc, argv);
}

// A value that reads like an option's word is no value, so the words alone decide.
bool CommandLine::isOfHost(int argc, char const* const argv[])
{
    auto const has = [&](CommandLineOption const& option) {
        zel::String const word = zel::String("-") + option.command().zelString();
        for (int i = 1; argv && i < argc; ++i)
            if (argv[i] && word == zel::String(argv[i]))
                return true;
        return false;
    };
    return has(CommandLineOption::DIRECTLINK()) && !has(CommandLineOption::ENGINE()) &&
           !has(CommandLineOption::XML());
}

bool CommandLine::isSet(CommandLineOption const& flag)
{
    return zel::OptionManager::instance().lookupFlag(flag.name().zelString());
}

std::optional<std::int64_t> CommandLine::integer(CommandLineOption const& option)
{
    return zel::OptionManager::instance().lookupIntegerValue(option.name().zelString());
}

std::optional<zel::String> CommandLine::text(CommandLineOption const& option)
{
    return zel::OptionManager::instance().lookupStringValue(option.name().zelString());
}

std::optional<std::int64_t> CommandLine::engineProcessId() { return integer(CommandLineOption::ENGINEPID()); }

void CommandLine::printUsage(zel::OStream& out, zel::String const& moduleGuid)
{
    out << "Usage: " << moduleGuid << ".w4x  ";
    auto const& options = zel::OptionManager::instance().options();
    for (std::size_t i = 0; i < options.size(); ++i) {
        zel::Option const& option = options[i];
        tCommandLineOptionCharacteristic const characteristic = characteristics()[i];
        if (characteristic == Hidden)
            continue;
        out << (characteristic == OpensGroup ? "[" : "") << option.getUsageString(option.hasDash() ? "-" : "")
            << (characteristic == ClosesGroup ? "]" : "");
    }
    out << zel::endl;
    for (std::size_t i = 0; i < options.size(); ++i) {
        zel::Option const& option = options[i];
        if (characteristics()[i] == Hidden)
            continue;
        out << (option.hasDash() ? " -" : "") << option.command() << " : " << option.name() << ". "
            << option.description();
        if (!option.defaultValue().empty())
            out << ". Default(" << option.defaultValue() << ")";
        out << zel::endl;
    }
}

} // namespace krel5
