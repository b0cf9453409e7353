#pragma once
// The command-line options that every module understands: their names, what a person types, what they do.
// Read-only; the library registers and parses them.
// Thread rule: the accessors are safe in any thread; the objects are never destroyed.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>

namespace krel5 {

class KrelString;
struct CommandLineOptionInternalData;

class KREL5_EXPORT CommandLineOption
{
public:
// One static accessor an option: `static CommandLineOption const& HELP();` and so on, see the table.
#define KREL5_OPTION(accessor, ...) static CommandLineOption const& accessor();
#include <krel5/vocabulary/CommandLineOption.def>

    CommandLineOption(CommandLineOption const& other);
    CommandLineOption& operator=(CommandLineOption const& other);
    ~CommandLineOption();

    KrelString const& name() const;        ///< "DeviceNum"
    KrelString const& command() const;     ///< "d": what a person types, without its dash
    KrelString const& description() const; ///< one sentence for the usage text

private:
    CommandLineOption(KrelString const& name, KrelString const& command, KrelString const& description);
    DataHolder<CommandLineOptionInternalData> m_holder;
};

} // namespace krel5
