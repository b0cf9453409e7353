#include <zel/model/wire/Serializable.h>

#include <zel/model/wire/StateReader.h>
#include <zel/model/wire/StateWriter.h>

namespace zel {

std::string Serializable::serializeUtf8(StateManager const& state, std::string_view elementName)
{
    return wire::writeState(state, elementName);
}

String Serializable::serialize(StateManager const& state, String const& elementName)
{
    return String(serializeUtf8(state, elementName.toUtf8()));
}

void Serializable::deserializeUtf8(std::string_view text, StateManager& into)
{
    if (!into.isEmpty())
        throw StateException("A state is read into a manager that holds one already");
    wire::StateReader(text).read().handOver(into);
}

void Serializable::deserialize(String const& text, StateManager& into)
{
    deserializeUtf8(text.toUtf8(), into);
}

} // namespace zel
