#pragma once
// Gets what modules ask for over HTTP, from allowed places, within bounds.
//
//     engine::Fetcher fetcher(allowed);
//     fetcher.get("https://updates.example.org/limits.json", "Accept: application/json",
//                 [](bool succeeded, std::string const& answer) { ... });

#include <engine/web/AllowedHosts.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace engine {

/// One request after the other, by a thread of its own. Thread rule: any thread.
class Fetcher
{
public:
    static constexpr std::chrono::seconds kLongest{10};             ///< a request, with all it is led on to
    static constexpr std::size_t kMostBytes = std::size_t{1} << 20; ///< of an answer
    static constexpr std::size_t kMostWaiting = 16;                 ///< requests; more are refused
    static constexpr int kMostSteps = 5;                            ///< from one address on to another
    static constexpr std::size_t kMostHeaders = 16, kMostHeaderBytes = 1024;

    /// On the fetcher's thread, or at once where it is refused at once: the answer, or why there is none.
    using Done = std::function<void(bool succeeded, std::string const& answer)>;

    explicit Fetcher(AllowedHosts allowed);
    /// Breaks off what is on its way: it is not called for any more.
    ~Fetcher();

    /// GET of an http or https address. `headers`: further lines of the request, "Name: value" each; those that say how the
    /// request is sent are refused.
    void get(std::string const& url, std::string const& headers, Done done);

private:
    struct Worker;
    std::unique_ptr<Worker> m_worker;
};

} // namespace engine
