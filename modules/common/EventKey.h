#pragma once
// The key of an event: what its texts stand under in the module's text files. A module lists its own in
// Events.def, so that main creates every event that a report can name:
//
//     MODULE_EVENT(kEventBadBlock, "StorageBadBlock")
//     ...
//     host.fault({kEventBadBlock, {{"Lba", "12"}}});
//
// Thread rule: plain values.

#include <string_view>

namespace krel5::modules {

class EventKey
{
public:
    /// At compile time only, and never by conversion: a key that is just written where a fault is raised would
    /// be found out when the drive dies.
    explicit consteval EventKey(char const* text) : m_text(text)
    {
        if (m_text.empty() || m_text.find(' ') != m_text.npos)
            throw "an event's key is not empty and has no blanks";
    }

    constexpr char const* text() const noexcept { return m_text.data(); }
    friend constexpr bool operator==(EventKey const&, EventKey const&) = default;

private:
    std::string_view m_text; // of a literal, which a zero ends
};

} // namespace krel5::modules
