#pragma once
// What is watched beside the runs of a session, as records of its report.

#include <engine/report/Records.h>
#include <engine/watch/WatchNews.h>

#include <functional>
#include <map>
#include <string>

namespace engine {

/// A value that stays what it is is kept once a minute: a report of a night is not to be full of what did not change.
class WatchKeeper final : public WatchObserver
{
public:
    static constexpr std::chrono::seconds kAgain{60};
    static constexpr std::size_t kMostReadings = 20'000; ///< of which it remembers what they were

    explicit WatchKeeper(std::function<void(Record const&)> keep) : m_keep(std::move(keep)) {}
    void take(WatchNews const& news) override;

private:
    struct Last
    {
        std::string text;
        Time kept;
    };
    void keepReadings(WatchNews const& news);
    void forget(WatchNews const& news);
    void keepNote(WatchNews const& news, char const* what);

    std::function<void(Record const&)> m_keep;
    std::map<std::string, Last> m_last; // by module, device and key
};

} // namespace engine
