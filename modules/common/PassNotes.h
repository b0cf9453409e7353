#pragma once
// Which notes of a test that is repeated go out: those of the first pass, and those of a pass that finds
// something. A test that is repeated for a minimum time may pass hundreds of times a minute.
//
//     PassNotes notes;
//     notes.begin(firstPass);
//     if (notes.goesOut(report))
//         send(report);
//     ...
//     for (Report const& kept : notes.release())   // before a fault is sent
//         send(kept);
//
// Thread rule: one thread.

#include <common/TestHost.h>

#include <utility>
#include <vector>

namespace krel5::modules {

class PassNotes
{
public:
    /// Begins a pass; what was kept of the one before is dropped.
    void begin(bool firstPass)
    {
        m_open = firstPass;
        m_kept.clear();
    }

    /// True when the note goes out now; otherwise it is kept for the case that this pass finds something.
    bool goesOut(Report const& note)
    {
        if (!m_open)
            m_kept.push_back(note);
        return m_open;
    }

    /// The notes that were kept, in their order; from now on those of this pass go out at once.
    std::vector<Report> release()
    {
        m_open = true;
        return std::exchange(m_kept, {});
    }

private:
    bool m_open = true;
    std::vector<Report> m_kept;
};

} // namespace krel5::modules
