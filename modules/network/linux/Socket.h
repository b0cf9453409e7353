#pragma once
// A socket that is closed when nobody has it any more.

#include <unistd.h>
#include <utility>

namespace krel5::modules::network {

class Socket
{
public:
    explicit Socket(int number = -1) noexcept : m_number(number) {}
    Socket(Socket&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Socket& operator=(Socket&& other) noexcept
    {
        std::swap(m_number, other.m_number);
        return *this;
    }
    ~Socket()
    {
        if (m_number != -1)
            ::close(m_number);
    }
    int number() const noexcept { return m_number; }
    bool isOpen() const noexcept { return m_number != -1; }

private:
    int m_number;
};

} // namespace krel5::modules::network
