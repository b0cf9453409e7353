#pragma once
// A many-to-many relation between two kinds of records, as adjacency lists in both directions.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace zel {

/// Records are known by address. Lists keep the order of association. Asking costs constant time plus the
/// length of the shorter of the two lists.
template <typename Left, typename Right>
class Association
{
public:
    /// False when the pair was there already.
    bool add(Left& left, Right& right)
    {
        if (contains(left, right))
            return false;
        m_rights[&left].push_back(&right);
        m_lefts[&right].push_back(&left);
        ++m_changes;
        return true;
    }

    /// False when the pair was not there.
    bool remove(Left const& left, Right const& right)
    {
        if (!contains(left, right))
            return false;
        eraseFrom(m_rights, &left, &right);
        eraseFrom(m_lefts, &right, &left);
        ++m_changes;
        return true;
    }

    bool contains(Left const& left, Right const& right) const
    {
        auto const& rights = rightsOf(left);
        auto const& lefts = leftsOf(right);
        if (rights.size() <= lefts.size())
            return std::find(rights.begin(), rights.end(), &right) != rights.end();
        return std::find(lefts.begin(), lefts.end(), &left) != lefts.end();
    }

    std::vector<Right*> const& rightsOf(Left const& left) const { return listOf(m_rights, &left); }
    std::vector<Left*> const& leftsOf(Right const& right) const { return listOf(m_lefts, &right); }

    void removeLeft(Left const& left)
    {
        for (Right* right : rightsOf(left))
            eraseFrom(m_lefts, right, &left);
        m_changes += m_rights.erase(&left);
    }

    void removeRight(Right const& right)
    {
        for (Left* left : leftsOf(right))
            eraseFrom(m_rights, left, &right);
        m_changes += m_lefts.erase(&right);
    }

    /// Grows with every change.
    std::uint64_t changes() const noexcept { return m_changes; }

    void clear()
    {
        ++m_changes;
        m_rights.clear();
        m_lefts.clear();
    }

private:
    // An empty list goes too: records come and go for weeks, and each would leave one behind.
    template <typename Map, typename Key, typename Element>
    static void eraseFrom(Map& map, Key key, Element element)
    {
        auto const found = map.find(key);
        std::erase(found->second, element);
        if (found->second.empty())
            map.erase(found);
    }

    template <typename Map, typename Key>
    static auto const& listOf(Map const& map, Key key)
    {
        static typename Map::mapped_type const s_empty;
        auto const found = map.find(key);
        return found == map.end() ? s_empty : found->second;
    }

    std::unordered_map<Left const*, std::vector<Right*>> m_rights;
    std::unordered_map<Right const*, std::vector<Left*>> m_lefts;
    std::uint64_t m_changes = 0;
};

} // namespace zel
