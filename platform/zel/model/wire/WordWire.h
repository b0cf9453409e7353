#pragma once
// Enumerators of the program's own as attributes: a table says which word stands for which.

#include <zel/foundation/xml/XmlReader.h>
#include <zel/foundation/xml/XmlWriter.h>

#include <cstddef>

namespace zel::wire {

template <typename Enum>
struct Word
{
    Enum value;
    char const* word;
};

template <typename Enum, std::size_t Count>
void writeWord(XmlWriter& writer, std::string_view attribute, Enum value, Word<Enum> const (&words)[Count])
{
    for (auto const& one : words)
        if (one.value == value)
            writer.raw(attribute, one.word);
}

/// `absent` when there is no such attribute. A word that the table does not have is refused.
template <typename Enum, std::size_t Count>
Enum readWord(XmlReader const& reader, std::string_view attribute, Enum absent,
              Word<Enum> const (&words)[Count])
{
    if (!reader.has(attribute))
        return absent;
    for (auto const& one : words)
        if (reader.raw(attribute) == one.word)
            return one.value;
    reader.fail(attribute, "\"" + reader.text(attribute) + "\" is not known");
}

} // namespace zel::wire
