#pragma once

#include <engine/show/ProgressView.h>

#include <zel/foundation/OStream.h>

#include <functional>
#include <map>
#include <mutex>

namespace engine {

/// For a file, a pipe or a mail: at most eleven lines a run.
class PlainView final : public ProgressView
{
public:
    using Clock = std::function<Moment()>;

    explicit PlainView(zel::OStream& out, Clock clock = std::chrono::steady_clock::now)
        : m_out(out), m_clock(std::move(clock))
    {}

    void say(std::string const& lines) override;
    void began(LiveRun const& run, std::size_t planned) override;
    void show(std::vector<LiveRun> const& runs) override;
    void pause() override {}
    void resume() override {}

private:
    zel::OStream& m_out;
    Clock m_clock;
    std::mutex m_mutex;          // guards what follows, and the order of lines
    std::map<RunId, int> m_told; // tens of percent of the runs on their way
};

} // namespace engine
