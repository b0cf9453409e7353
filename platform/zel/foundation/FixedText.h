#pragma once

#include <cstddef>
#include <string_view>

namespace zel {

/// A text in a constant table, inside its row. A pointer there would have to be adjusted whenever a library is loaded, in
/// memory of the process's own: a page of such rows costs every start as much as a system call or two, needed or not.
/// `Capacity` counts the zero at its end; a longer text does not compile.
template <std::size_t Capacity>
class FixedText
{
public:
    constexpr FixedText() = default;
    template <std::size_t Size>
    requires(Size <= Capacity) constexpr FixedText(char const (&text)[Size])
    {
        for (std::size_t i = 0; i < Size; ++i)
            m_chars[i] = text[i];
    }

    constexpr operator char const*() const noexcept { return m_chars; }

private:
    char m_chars[Capacity] = {};
};

} // namespace zel
