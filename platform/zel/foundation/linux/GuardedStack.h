#pragma once
// Memory for a stack. Internal to the foundation.

#include <cstddef>
#include <sys/mman.h>
#include <unistd.h>

namespace zel {

/// A stack with a page below it that stops an overflow. Empty when there is no memory.
class GuardedStack
{
public:
    explicit GuardedStack(std::size_t size)
        : m_page(static_cast<std::size_t>(::sysconf(_SC_PAGESIZE))), m_size(size + m_page)
    {
        m_memory =
            ::mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
        if (!empty())
            ::mprotect(m_memory, m_page, PROT_NONE);
    }
    ~GuardedStack()
    {
        if (!empty())
            ::munmap(m_memory, m_size);
    }
    GuardedStack(GuardedStack const&) = delete;
    GuardedStack& operator=(GuardedStack const&) = delete;

    bool empty() const noexcept { return m_memory == MAP_FAILED; }
    char* begin() const noexcept { return static_cast<char*>(m_memory) + m_page; }
    char* end() const noexcept { return static_cast<char*>(m_memory) + m_size; }
    std::size_t size() const noexcept { return m_size - m_page; }

private:
    std::size_t m_page;
    std::size_t m_size;
    void* m_memory;
};

} // namespace zel
