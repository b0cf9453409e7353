#pragma once
// A checked array: an index beyond its end is an exception, never undefined.

#include <zel/foundation/Index.h>

#include <initializer_list>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

namespace zel {

/// Growing array of copies. `at()` and `[]` throw IndexOutOfBoundsException(0, size - 1, index); a failed
/// allocation throws NullPointerException "Asked for array of size: {size}".
/// Thread rule: as std::vector.
template <typename T>
class Array
{
public:
    Array() = default;
    Array(std::initializer_list<T> elements)
    try : m_elements(elements) {
    } catch (std::bad_alloc const&) {
        throwTooLarge(elements.size());
    }

    std::size_t size() const noexcept { return m_elements.size(); }
    bool empty() const noexcept { return m_elements.empty(); }

    T& operator[](std::size_t index) { return m_elements[checked(index)]; }
    T const& operator[](std::size_t index) const { return m_elements[checked(index)]; }

    void append(T element)
    {
        try {
            m_elements.push_back(std::move(element));
        } catch (std::bad_alloc const&) {
            throwTooLarge(m_elements.size() + 1);
        } catch (std::length_error const&) {
            throwTooLarge(m_elements.size() + 1);
        }
    }
    void removeAt(std::size_t index)
    {
        m_elements.erase(m_elements.begin() + static_cast<std::ptrdiff_t>(checked(index)));
    }
    void clear() noexcept { m_elements.clear(); }

    auto begin() const noexcept { return m_elements.begin(); }
    auto end() const noexcept { return m_elements.end(); }
    bool operator==(Array const&) const = default;

private:
    std::size_t checked(std::size_t index) const
    {
        checkIndex(index, m_elements.size());
        return index;
    }
    [[noreturn]] static void throwTooLarge(std::size_t size)
    {
        throw NullPointerException(String("Asked for array of size: ") +
                                   String::number(static_cast<std::uint64_t>(size)));
    }

    std::vector<T> m_elements;
};

} // namespace zel
