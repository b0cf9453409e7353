#pragma once

#include <zel/foundation/String.h>

#include <memory>
#include <unordered_map>
#include <vector>

namespace krel5 {

/// Objects of one kind: in order of creation, and by key.
template <typename Object>
class ObjectList
{
public:
    Object* find(zel::String const& key) const
    {
        auto const found = m_byKey.find(key);
        return found == m_byKey.end() ? nullptr : found->second;
    }
    Object* add(zel::String const& key, std::unique_ptr<Object> object)
    {
        m_byKey[key] = object.get();
        m_objects.push_back(std::move(object));
        return m_objects.back().get();
    }
    std::size_t size() const noexcept { return m_objects.size(); }
    Object& at(std::size_t index) const { return *m_objects.at(index); }
    auto begin() const noexcept { return m_objects.begin(); }
    auto end() const noexcept { return m_objects.end(); }

private:
    std::vector<std::unique_ptr<Object>> m_objects;
    std::unordered_map<zel::String, Object*> m_byKey;
};

} // namespace krel5
