#pragma once
// The command line of a module: the list of options, their parsing, and the usage text.

#include <libKrel5/internal/module/Facade.h>

#include <zel/foundation/Options.h>

#include <optional>

namespace zel {
class OStream;
} // namespace zel

namespace krel5 {

class CommandLineOption;

/// How an option shows in the usage text.
enum tCommandLineOptionCharacteristic {
    Plain = 0,
    OpensGroup = 1,  ///< "[" before it
    ClosesGroup = 2, ///< "]" after it
    Hidden = 3       ///< left out
};

/// Thread rule: main thread, before others exist; queries from any thread afterwards.
class CommandLine
{
public:
    /// Registers one option with zel::OptionManager, behind those before it.
    static void addCommandLineOption(CommandLineOption const& option, zel::Option::Type type,
                                     tCommandLineOptionCharacteristic characteristic, bool dash);
    /// Do so with the options of a kind of module, then the common ones and the logger's
    /// behind them.
    static void addFacadeOptions(Facade::Kind kind);
    static void addCommonOptions();
    /// Throws zel::OptionException naming the word.
    static void parse(int argc, char const* const argv[]);

    /// Whether the words, which need not be understood yet, are those of a client that hosts the module in its
    /// own process: -dl, and neither of the options that win over it.
    static bool isOfHost(int argc, char const* const argv[]);

    static bool isSet(CommandLineOption const& flag);
    static std::optional<std::int64_t> integer(CommandLineOption const& option);
    static std::optional<zel::String> text(CommandLineOption const& option);

    /// What stands behind -ePid; none: the process that started this one.
    static std::optional<std::int64_t> engineProcessId();

    static void printUsage(zel::OStream& out, zel::String const& moduleGuid);
};

} // namespace krel5
