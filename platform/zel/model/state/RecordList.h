#pragma once
// Records of one kind in order of insertion, found by guid in constant time.

#include <zel/foundation/String.h>

#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace zel {

/// Addresses are stable. A record is either borrowed (it outlives the list) or owned.
template <typename Record>
class RecordList
{
public:
    /// Null when a record of that guid is there already.
    Record* borrow(Record& record)
    {
        if (!m_index.try_emplace(record.guid(), m_records.size()).second)
            return nullptr;
        m_records.push_back({&record, nullptr});
        if (!m_retired.empty())
            forgetPlaceOf(record);
        return &record;
    }

    /// Likewise; `record` is taken only when it is added.
    Record* own(std::unique_ptr<Record>& record)
    {
        Record* const added = borrow(*record);
        if (added)
            m_records.back().owned = std::move(record);
        return added;
    }

    /// Room for `count` records in all, so that none is moved while they come.
    void reserve(std::size_t count)
    {
        m_records.reserve(count);
        m_index.reserve(count);
    }
    std::size_t size() const noexcept { return m_records.size(); }
    Record* at(std::size_t index) const noexcept
    {
        return index < m_records.size() ? m_records[index].record : nullptr;
    }
    Record* find(String const& guid) const { return at(indexOf(guid)); }
    /// Spares the search where the record stands at the place that is guessed: lists that are merged are mostly alike.
    Record* find(String const& guid, std::size_t guess) const
    {
        Record* const guessed = at(guess);
        return guessed && guessed->guid() == guid ? guessed : find(guid);
    }
    /// size() or more when there is none.
    std::size_t indexOf(String const& guid) const
    {
        auto const found = m_index.find(guid);
        return found == m_index.end() ? static_cast<std::size_t>(-1) : found->second;
    }

    /// The record after `previous` (the first for null); null at the end or when `previous` is not in the
    /// list. From a retired record the walk goes on behind its old place.
    Record* next(Record const* previous) const
    {
        if (!m_retired.empty())
            previous = placeBefore(previous);
        if (!previous)
            return at(0);
        auto const found = m_index.find(previous->guid());
        return found == m_index.end() ? nullptr : at(found->second + 1);
    }

    /// Costs linear time: what follows moves up.
    bool remove(String const& guid)
    {
        auto const found = m_index.find(guid);
        if (found == m_index.end())
            return false;
        takeOut(found);
        return true;
    }

    /// Takes the record out, but leaves it alive, and walks from it possible, until releaseRetired(). False
    /// when there is none of that guid. Cost as remove().
    bool retire(String const& guid)
    {
        auto const found = m_index.find(guid);
        if (found == m_index.end())
            return false;
        Record const* const previous = found->second == 0 ? nullptr : at(found->second - 1);
        Entry entry = takeOut(found);
        m_retired[entry.record] = {std::move(entry.owned), previous};
        return true;
    }

    /// Lets go of the retired records of which `isNeeded(record)` does not say that somebody holds them still.
    template <typename IsNeeded>
    void releaseRetired(IsNeeded isNeeded)
    {
        std::unordered_set<Record const*> gone;
        for (auto const& entry : m_retired)
            if (!isNeeded(*entry.first))
                gone.insert(entry.first);
        for (auto& entry : m_retired)
            while (!gone.contains(entry.first) && gone.contains(entry.second.previous))
                entry.second.previous = m_retired.at(entry.second.previous).previous;
        std::erase_if(m_retired, [&gone](auto const& entry) { return gone.contains(entry.first); });
    }
    std::size_t retiredCount() const noexcept { return m_retired.size(); }

    void clear()
    {
        m_records.clear();
        m_index.clear();
        m_retired.clear();
    }

private:
    struct Entry
    {
        Record* record;
        std::unique_ptr<Record> owned; // null: borrowed
    };
    struct Retired
    {
        std::unique_ptr<Record> owned; // null: borrowed
        Record const* previous;        // where it stood: behind this one, which may be retired as well
    };

    template <typename Found>
    Entry takeOut(Found found)
    {
        std::size_t const index = found->second;
        Entry taken = std::move(m_records[index]);
        m_records.erase(m_records.begin() + static_cast<std::ptrdiff_t>(index));
        m_index.erase(found);
        for (auto& entry : m_index)
            if (entry.second > index)
                --entry.second;
        return taken;
    }

    // The last record of the list that stood before `record` when it was retired; `record` itself when it was
    // not. Ends, since a record stands behind one that was there before it.
    Record const* placeBefore(Record const* record) const
    {
        for (auto gone = m_retired.find(record); gone != m_retired.end(); gone = m_retired.find(record))
            record = gone->second.previous;
        return record;
    }

    // A retired record that comes back stands at the end now: no longer before those that stood behind it.
    void forgetPlaceOf(Record const& record)
    {
        auto const back = m_retired.find(&record);
        if (back == m_retired.end())
            return;
        for (auto& entry : m_retired)
            if (entry.second.previous == &record)
                entry.second.previous = back->second.previous;
        m_retired.erase(back);
    }

    std::vector<Entry> m_records;
    std::unordered_map<String, std::size_t> m_index;
    std::unordered_map<Record const*, Retired> m_retired;
};

} // namespace zel
