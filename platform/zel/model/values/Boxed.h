#pragma once

#include <memory>
#include <utility>

namespace zel {

/// A T that lives on the heap and is copied, compared and read as if it stood here, so that a seldom used
/// large alternative does not make every record large. A moved-from box holds a T().
template <typename T>
class Boxed
{
public:
    Boxed(T value) : m_value(std::make_unique<T>(std::move(value))) {}
    Boxed(Boxed const& other) : Boxed(T(other.get())) {}
    Boxed(Boxed&&) noexcept = default;
    Boxed& operator=(Boxed const& other) { return *this = Boxed(other); }
    Boxed& operator=(Boxed&&) noexcept = default;
    ~Boxed() = default;

    T const& get() const
    {
        static T const s_empty{};
        return m_value ? *m_value : s_empty;
    }
    bool operator==(Boxed const& other) const { return get() == other.get(); }

private:
    std::unique_ptr<T> m_value;
};

} // namespace zel
