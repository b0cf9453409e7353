#pragma once

#include <zel/model/vocabulary/VocabularySet.h>
#include <zel/model/vocabulary/VocabularyTable.h>

#include <vector>

namespace zel {

/// What a device is or can do: a set of primitive capabilities. Most are constants of the table; any other
/// word (the bus class of a device, "PS/2") is kept as it is. NIL is the empty set; ALL contains everything,
/// also words that are not in the table.
class ZEL_EXPORT CapabilityImp
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/Capability.def>
        kCount ///< number of rows, no capability
    };
#define ZEL_CONSTANT(accessor, ...) static CapabilityImp const& accessor();
#include <zel/model/vocabulary/tables/Capability.def>

    /// The empty set.
    CapabilityImp() = default;
    explicit CapabilityImp(Code code);
    /// As getConstantByString.
    explicit CapabilityImp(String const& text);

    /// The set that a text names: one word, or several separated by commas, as toString() writes them. A word
    /// that is not in the table becomes a capability of its own; "" and "NIL" are the empty set.
    static CapabilityImp getConstantByString(String const& text);

    /// "NIL" for the empty set, "All" for ALL, else the members' texts joined by ", ", first those of the
    /// table in its order, then the others in theirs.
    String toString() const;

    bool isEmpty() const noexcept { return m_rows.empty() && m_words.empty(); }
    bool isAll() const noexcept { return m_rows.isAll(); }
    /// Whether every primitive capability of `other` is in this set.
    bool isCapable(CapabilityImp const& other) const;
    CapabilityImp intersect(CapabilityImp const& other) const;
    /// Whether the two sets have a primitive capability in common.
    bool intersects(CapabilityImp const& other) const;
    /// For ALL the number of primitive capabilities of the table.
    std::size_t primitiveCapabilityCount() const noexcept;
    /// The greatest rank of the members; 0 for the empty set, for ALL, and for a word that is not in the
    /// table.
    int rank() const;

    CapabilityImp& operator|=(CapabilityImp const& other);
    CapabilityImp operator|(CapabilityImp const& other) const;
    bool operator==(CapabilityImp const&) const = default;

    static VocabularyTable const& table();

private:
    static CapabilityImp const& constant(Code code);
    void addWords(std::vector<String> words);

    VocabularySet<static_cast<std::size_t>(Code::kCount), static_cast<std::size_t>(Code::ALL)> m_rows;
    std::vector<String> m_words; // not in the table; sorted, each once; empty when the set is ALL
};

} // namespace zel
