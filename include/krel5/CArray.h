#pragma once
// A list of handles that crosses the library's boundary.
//
//     CArray<KrelString> names(2);
//     names[0] = "sda";
//     names[1] = "sdb";
//
// Thread rule: a value, as its elements.

#include <krel5/IndexOutOfBoundsException.h>

#include <algorithm>
#include <memory>

namespace krel5 {

/// So many elements, one behind the other, for as long as the array; copies are deep.
template <typename T>
class CArray
{
public:
    CArray() = default;
    /// Elements as their default constructor makes them.
    explicit CArray(unsigned int size) : m_elements(size > 0 ? new T[size] : nullptr), m_size(size) {}
    CArray(CArray const& other) : CArray(other.m_size)
    {
        std::copy(other.data(), other.data() + m_size, m_elements.get());
    }
    CArray& operator=(CArray const& other)
    {
        CArray copy(other);
        m_elements.swap(copy.m_elements);
        std::swap(m_size, copy.m_size);
        return *this;
    }

    unsigned int size() const noexcept { return m_size; }
    /// Throw IndexOutOfBoundsException(0, size - 1, index).
    T& operator[](unsigned int index) { return m_elements[checked(index)]; }
    T const& operator[](unsigned int index) const { return m_elements[checked(index)]; }
    /// The first element; null when there is none.
    T const* data() const noexcept { return m_elements.get(); }

private:
    unsigned int checked(unsigned int index) const
    {
        if (index >= m_size)
            throw IndexOutOfBoundsException(0, static_cast<int>(m_size) - 1, static_cast<int>(index));
        return index;
    }

    std::unique_ptr<T[]> m_elements;
    unsigned int m_size = 0;
};

} // namespace krel5
