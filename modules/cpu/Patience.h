#pragma once
// How long a thread waits for another one, in processor time of its own. Time on the wall says nothing about
// the other: a process that was stopped by a key, a debugger, a frozen control group or with the whole virtual
// machine has waited for nothing.
//
//     Patience patience(10.0, threadTime);
//     while (!answered()) {
//         if (patience.isOver())
//             return false;
//         std::this_thread::yield();
//     }
//
// Thread rule: one thread each, the one whose time it counts.

#include <algorithm>

namespace krel5::modules::cpu {

/// Seconds of processor time that the calling thread has used, from any start.
using ThreadClock = double (*)() noexcept;

class Patience
{
public:
    Patience(double seconds, ThreadClock clock) : m_seconds(seconds), m_clock(clock) {}

    /// To be asked again and again while waiting. The time from the first question on counts, and between two
    /// of them no more than kLongestSlice: for a virtual machine that was paused the time of the pause may
    /// look like that of the thread that ran last.
    bool isOver()
    {
        double const now = m_clock();
        if (m_isAsking)
            m_spent += std::min(now - m_last, kLongestSlice);
        m_isAsking = true;
        m_last = now;
        return m_spent > m_seconds;
    }

    static constexpr double kLongestSlice = 0.02;

private:
    double m_seconds;
    ThreadClock m_clock;
    double m_spent = 0;
    bool m_isAsking = false; // m_last is set
    double m_last = 0;
};

} // namespace krel5::modules::cpu
