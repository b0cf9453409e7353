#include <krel5/CommandLineOption.h>

#include <libKrel5/basics/DataHolderDefinition.h>

#include <krel5/KrelString.h>

namespace krel5 {

struct CommandLineOptionInternalData
{
    KrelString name, command, description;
};
template class DataHolder<CommandLineOptionInternalData>;

CommandLineOption::CommandLineOption(KrelString const& name, KrelString const& command,
                                     KrelString const& description)
    : m_holder(CommandLineOptionInternalData{name, command, description})
{}

CommandLineOption::CommandLineOption(CommandLineOption const& other) = default;
CommandLineOption& CommandLineOption::operator=(CommandLineOption const& other) = default;
CommandLineOption::~CommandLineOption() = default;

KrelString const& CommandLineOption::name() const { return m_holder.data().name; }
KrelString const& CommandLineOption::command() const { return m_holder.data().command; }
KrelString const& CommandLineOption::description() const { return m_holder.data().description; }

#define KREL5_OPTION(accessor, name, command, description, ...)                                              \
    CommandLineOption const& CommandLineOption::accessor()                                                   \
    {                                                                                                        \
        static auto const* const s_option = new CommandLineOption(name, command, description);               \
        return *s_option;                                                                                    \
    }
#include <krel5/vocabulary/CommandLineOption.def>

} // namespace krel5
