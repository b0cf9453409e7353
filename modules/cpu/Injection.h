#pragma once
// What a broken core would do, for tests that show what the kernels catch. Outside these tests there is no fault, and
// every value goes by as it came.
//
//     Injection const injected({LaneFault::Kind::Bit, 3}); // until it ends, in this thread
//     bool const caught = kernel.m_run(seed) != kernel.m_expected;
//
// Thread rule: a fault is put into its own thread only.

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace krel5::modules::cpu {

struct LaneFault
{
    /// Operand: a value that goes into a calculation. Bit: one that came out of an instruction. Lane: what belongs to one
    /// lane of a vector stands in another. Rounding: the unit rounds otherwise than it was told.
    enum class Kind { Lane, Bit, Rounding, Operand };
    Kind m_kind;
    /// The lane that is wrong, modulo the number of lanes; with Rounding all are. In a kernel without lanes: how many
    /// values go by before the one that is wrong.
    unsigned m_lane;
};

class Injection
{
public:
    explicit Injection(LaneFault const& fault) noexcept : m_fault(fault) { t_current = this; }
    ~Injection() { t_current = nullptr; }
    Injection(Injection const&) = delete;
    Injection& operator=(Injection const&) = delete;

    /// Whether it is this value's turn.
    static bool strikes(LaneFault::Kind kind) noexcept
    {
        return t_current != nullptr && t_current->m_fault.m_kind == kind &&
               t_current->m_seen++ == t_current->m_fault.m_lane;
    }

    /// Lane and Bit in a vector of `count` lanes.
    template <typename T>
    static void strikeLanes(T* lanes, std::size_t count) noexcept
    {
        if (t_current == nullptr)
            return;
        std::size_t const wrong = t_current->m_fault.m_lane % count;
        if (t_current->m_fault.m_kind == LaneFault::Kind::Lane)
            lanes[wrong] = lanes[(wrong + 1) % count];
        if (t_current->m_fault.m_kind == LaneFault::Kind::Bit)
            lanes[wrong] = spoiled(lanes[wrong]);
    }

    /// The lowest bit of an integer; of a floating-point number one that sums of many do not lose.
    template <typename T>
    static T spoiled(T value) noexcept
    {
        if constexpr (std::is_floating_point_v<T>)
            return value == 0 ? T(1) : value + value / 4096;
        else
            return static_cast<T>(value ^ T(1));
    }

private:
    static inline constinit thread_local Injection* t_current = nullptr;
    LaneFault m_fault;
    unsigned m_seen = 0;
};

/// A value that came out of an instruction under test.
template <typename T>
T computed(T value) noexcept
{
    return Injection::strikes(LaneFault::Kind::Bit) ? Injection::spoiled(value) : value;
}

} // namespace krel5::modules::cpu
