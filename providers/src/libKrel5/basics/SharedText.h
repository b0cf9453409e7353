#pragma once

#include <krel5/KrelString.h>

#include <memory>
#include <vector>

namespace krel5 {

/// A text that is handed out by reference to any thread and may change. What was handed out stays as it was
/// until the SharedText goes, and reading it changes nothing: its UTF-8 form is there before anybody has it.
/// A copy starts empty, since others' references are the original's concern.
/// Thread rule: give() under the library mutex.
class SharedText
{
public:
    SharedText() = default;
    SharedText(SharedText const&) {}
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): what was handed out stays
    SharedText& operator=(SharedText const&) { return *this; }

    KrelString const& give(zel::String const& text);

private:
    std::vector<std::unique_ptr<KrelString const>> m_given; // every text that ever was; mostly one
};

/// A string of a record that never changes once others see it, ready to be read from several threads.
inline KrelString const& readyToShare(KrelString const& text)
{
    text.getUTF8Buffer();
    return text;
}

} // namespace krel5
