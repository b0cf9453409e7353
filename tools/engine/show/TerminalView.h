#pragma once

#include <engine/show/ProgressView.h>
#include <engine/show/linux/Terminal.h>

#include <zel/foundation/OStream.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace engine {

/// One line a run, drawn over and over in its place, below the lines that stay, which are broken at words; nothing of it is left at the end. The
/// cursor waits at the beginning of the first of them: whatever the terminal makes of them when its size changes lies
/// behind it, and is cleared from there.
class TerminalView final : public ProgressView
{
public:
    static constexpr std::chrono::milliseconds kShortest{100}; ///< between two drawings

    /// What the view asks; a test has others.
    struct World
    {
        std::function<TerminalSize()> size;
        std::function<Moment()> clock = std::chrono::steady_clock::now;
        /// Whether somebody asked to stop: that was said where the cursor is.
        std::function<bool()> isStopping = [] { return false; };
        /// Whether the terminal does not take what is written: then nothing is drawn.
        std::function<bool()> isBehind = [] { return false; };
        bool hasTicker = true; ///< a thread that lets the time go on between two reports; else tick()
    };

    TerminalView(zel::OStream& out, World world);
    ~TerminalView() override;

    void say(std::string const& lines) override;
    void began(LiveRun const&, std::size_t) override {}
    void show(std::vector<LiveRun> const& runs) override;
    void pause() override;
    void resume() override;

    /// Draws, if it is time.
    void tick();

private:
    void tickUntilClosed();
    void draw(Moment now); // the mutex is held
    std::string block(Moment now) const;
    std::string broken(std::string const& lines) const;
    std::string tidied();
    void put(std::string const& text);

    zel::OStream& m_out;
    World const m_world;
    std::mutex m_mutex; // guards what follows, and the terminal
    std::vector<LiveRun> m_runs;
    std::string m_waiting; // said during a pause
    Moment m_drawnAt{};
    bool m_isDrawn = false; // something stands behind the cursor
    bool m_isNews = false;  // since it was drawn
    bool m_isPaused = false;
    bool m_isTidied = false; // after the stop
    bool m_isClosed = false;
    std::condition_variable m_closed;
    std::thread m_ticker;
};

} // namespace engine
