#pragma once
// Records of one kind in order of insertion, found by guid in constant time.

#include <zel/foundation/String.h>

#include <memory>
#include <unordered_map>
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
        m_records.push_back(&record);
        return &record;
    }

    Record* own(std::unique_ptr<Record> record)
    {
        Record* const added = borrow(*record);
        if (added)
            m_owned.emplace(added, std::move(record));
        return added;
    }

    std::size_t size() const noexcept { return m_records.size(); }
    Record* at(std::size_t index) const noexcept
    {
        return index < m_records.size() ? m_records[index] : nullptr;
    }
    Record* find(String const& guid) const
    {
        auto const found = m_index.find(guid);
        return found == m_index.end() ? nullptr : m_records[found->second];
    }

    /// The record after `previous` (the first for null); null at the end or when `previous` is not in the
    /// list.
    Record* next(Record const* previous) const
    {
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
        std::size_t const index = found->second;
        Record* const record = m_records[index];
        m_records.erase(m_records.begin() + static_cast<std::ptrdiff_t>(index));
        m_index.erase(found);
        for (auto& entry : m_index)
            if (entry.second > index)
                --entry.second;
        m_owned.erase(record);
        return true;
    }

    void clear()
    {
        m_records.clear();
        m_index.clear();
        m_owned.clear();
    }

private:
    std::vector<Record*> m_records;
    std::unordered_map<String, std::size_t> m_index;
    std::unordered_map<Record*, std::unique_ptr<Record>> m_owned;
};

} // namespace zel
