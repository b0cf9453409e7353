#include <engine/web/Fetcher.h>

#include <zel/foundation/Exception.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <curl/curl.h>
#include <deque>
#include <dlfcn.h>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace engine {
namespace {

using Clock = std::chrono::steady_clock;

/// libcurl as far as it is needed. Loaded when first used: nobody else does.
struct Library
{
    decltype(&curl_easy_init) init = nullptr;
    decltype(&curl_easy_setopt) set = nullptr;
    decltype(&curl_easy_perform) perform = nullptr;
    decltype(&curl_easy_getinfo) info = nullptr;
    decltype(&curl_easy_cleanup) cleanup = nullptr;
    decltype(&curl_easy_strerror) error = nullptr;
    decltype(&curl_slist_append) append = nullptr;
    decltype(&curl_slist_free_all) freeList = nullptr;
    decltype(&curl_url) url = nullptr;
    decltype(&curl_url_cleanup) cleanupUrl = nullptr;
    decltype(&curl_url_set) setUrl = nullptr;
    decltype(&curl_url_get) getUrl = nullptr;
    decltype(&curl_free) free = nullptr;

    Library()
    {
        for (char const* const name : {"libcurl.so.4", "libcurl-gnutls.so.4"})
            if (void* const library = ::dlopen(name, RTLD_LAZY | RTLD_LOCAL); library && findAll(library)) {
                isComplete = true;
                return;
            }
    }
    static Library const& get()
    {
        static Library const s_library;
        return s_library;
    }

    bool isComplete = false;

private:
    bool findAll(void* library)
    {
        return find(library, init, "curl_easy_init") && find(library, set, "curl_easy_setopt") &&
               find(library, perform, "curl_easy_perform") && find(library, info, "curl_easy_getinfo") &&
               find(library, cleanup, "curl_easy_cleanup") && find(library, error, "curl_easy_strerror") &&
               find(library, append, "curl_slist_append") && find(library, freeList, "curl_slist_free_all") &&
               find(library, url, "curl_url") && find(library, cleanupUrl, "curl_url_cleanup") &&
               find(library, setUrl, "curl_url_set") && find(library, getUrl, "curl_url_get") &&
               find(library, free, "curl_free");
    }
    template <typename Function>
    static bool find(void* library, Function& function, char const* symbol)
    {
        function = reinterpret_cast<Function>(::dlsym(library, symbol));
        return function != nullptr;
    }
};

/// An address as the library reads it that will also follow it: two readers might not agree where it leads.
struct Address
{
    std::string whole, scheme, host;
    unsigned port = 0;
    bool hasUser = false;
};

std::optional<Address> addressOf(std::string const& text)
{
    Library const& library = Library::get();
    std::unique_ptr<CURLU, decltype(library.cleanupUrl)> const url(library.url(), library.cleanupUrl);
    if (!url || library.setUrl(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK)
        return std::nullopt;
    auto const part = [&](CURLUPart which, unsigned flags = 0) {
        char* found = nullptr;
        std::string value;
        if (library.getUrl(url.get(), which, &found, flags) == CURLUE_OK && found) {
            value = found;
            library.free(found);
        }
        return value;
    };
    Address address{part(CURLUPART_URL), part(CURLUPART_SCHEME), part(CURLUPART_HOST), 0,
                    !part(CURLUPART_USER).empty() || !part(CURLUPART_PASSWORD).empty()};
    std::string const port = part(CURLUPART_PORT, CURLU_DEFAULT_PORT);
    address.port = static_cast<unsigned>(std::strtoul(port.c_str(), nullptr, 10));
    return address;
}

struct Answer
{
    bool succeeded = false;
    std::string text;
};

struct Request
{
    std::string url, headers;
    Fetcher::Done done;
};

/// Lines of the request that the caller may say; nothing, with the reason, where one is not.
std::optional<std::vector<std::string>> headersOf(std::string const& text, std::string& reason)
{
    static char const* const kOwn[] = {
        "host",    "connection", "content-length", "transfer-encoding", "te",
        "upgrade", "expect",     "range",          "accept-encoding",   "trailer"};
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t const end = std::min(text.find('\n', begin), text.size());
        std::string const line = text.substr(begin, end - begin);
        begin = end + 1;
        std::string name = line.substr(0, line.find(':'));
        std::transform(name.begin(), name.end(), name.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
        auto const isLetter = [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
        };
        bool const isName =
            !name.empty() && name.size() < line.size() && std::all_of(name.begin(), name.end(), isLetter);
        bool const isPlain = std::none_of(line.begin(), line.end(), [](char c) { return c >= 0 && c < ' '; });
        bool const isOwn =
            std::any_of(std::begin(kOwn), std::end(kOwn), [&name](char const* own) { return name == own; });
        if (!isName || !isPlain || isOwn || line.size() > Fetcher::kMostHeaderBytes ||
            lines.size() == Fetcher::kMostHeaders) {
            reason = "a line of the request that is not taken: " + line.substr(0, 100);
            return std::nullopt;
        }
        lines.push_back(line);
    }
    return lines;
}

/// One exchange; where it leads on to, stands in `next`.
class Exchange
{
public:
    Exchange(Clock::time_point until, std::atomic<bool> const& isEnding)
        : m_until(until), m_isEnding(isEnding)
    {}

    Answer perform(Address const& address, std::vector<std::string> const& headers, std::string& next)
    {
        Library const& library = Library::get();
        std::unique_ptr<CURL, decltype(library.cleanup)> const handle(library.init(), library.cleanup);
        if (!handle)
            return {false, "no memory"};
        curl_slist* list = nullptr;
        for (std::string const& line : headers)
            list = library.append(list, line.c_str());
        std::unique_ptr<curl_slist, decltype(library.freeList)> const lines(list, library.freeList);
        setUp(handle.get(), address, list);
        CURLcode const code = library.perform(handle.get());
        if (m_isTooLarge)
            return {false, "the answer is larger than " + std::to_string(Fetcher::kMostBytes) + " bytes"};
        if (code == CURLE_OPERATION_TIMEDOUT || code == CURLE_ABORTED_BY_CALLBACK)
            return {false, "no answer within " + std::to_string(Fetcher::kLongest.count()) + " seconds"};
        if (code != CURLE_OK)
            return {false, library.error(code)};
        long status = 0;
        library.info(handle.get(), CURLINFO_RESPONSE_CODE, &status);
        char* redirect = nullptr;
        if (status >= 300 && status < 400)
            library.info(handle.get(), CURLINFO_REDIRECT_URL, &redirect);
        if (redirect)
            next = redirect;
        bool const succeeded = status >= 200 && status < 300;
        return {succeeded, succeeded ? m_text : "status " + std::to_string(status)};
    }

private:
    void setUp(CURL* handle, Address const& address, curl_slist* headers)
    {
        auto const set = Library::get().set;
        auto const left =
            std::chrono::duration_cast<std::chrono::milliseconds>(m_until - Clock::now()).count();
        set(handle, CURLOPT_URL, address.whole.c_str());
        set(handle, CURLOPT_PROTOCOLS_STR, "http,https");
        set(handle, CURLOPT_HTTPGET, 1L);
        set(handle, CURLOPT_HTTPHEADER, headers);
        set(handle, CURLOPT_USERAGENT, "krel5-engine/" KREL5_VERSION);
        set(handle, CURLOPT_FOLLOWLOCATION, 0L);
        set(handle, CURLOPT_PROXY, ""); // whom the environment names is not one who was allowed
        set(handle, CURLOPT_NOSIGNAL, 1L);
        set(handle, CURLOPT_QUICK_EXIT, 1L); // a name server that does not answer holds nobody up
        set(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(std::max<std::int64_t>(left, 1)));
        set(handle, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(Fetcher::kMostBytes));
        set(handle, CURLOPT_WRITEFUNCTION, &Exchange::write);
        set(handle, CURLOPT_WRITEDATA, this);
        set(handle, CURLOPT_NOPROGRESS, 0L);
        set(handle, CURLOPT_XFERINFOFUNCTION, &Exchange::isOver);
        set(handle, CURLOPT_XFERINFODATA, this);
    }
    static std::size_t write(char* text, std::size_t size, std::size_t count, void* self) noexcept
    try {
        auto& exchange = *static_cast<Exchange*>(self);
        exchange.m_isTooLarge = exchange.m_text.size() + size * count > Fetcher::kMostBytes;
        if (exchange.m_isTooLarge)
            return 0;
        exchange.m_text.append(text, size * count);
        return size * count;
    } catch (...) {
        return 0;
    }
    static int isOver(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept
    {
        return static_cast<Exchange*>(self)->m_isEnding ? 1 : 0;
    }

    Clock::time_point m_until;
    std::atomic<bool> const& m_isEnding;
    std::string m_text;
    bool m_isTooLarge = false;
};

} // namespace

struct Fetcher::Worker
{
    AllowedHosts const allowed;
    std::atomic<bool> isEnding = false;
    std::mutex mutex; // guards what follows
    std::condition_variable changed;
    std::deque<Request> waiting;
    std::thread thread{}; // begun with the first request

    explicit Worker(AllowedHosts hosts) : allowed(std::move(hosts)) {}

    std::string refusalOf(std::optional<Address> const& address) const
    {
        if (!address || address->host.empty())
            return "no address";
        if (address->scheme != "http" && address->scheme != "https")
            return "only http and https are fetched";
        if (address->hasUser)
            return "an address with a user's name is not fetched";
        if (!allowed.has(address->host, address->port, address->scheme == "https"))
            return "the host " + address->host + ":" + std::to_string(address->port) +
                   " is not one that --allow-host names";
        return {};
    }

    Answer fetch(Request const& request) const
    {
        if (!Library::get().isComplete)
            return {false, "libcurl is not installed"};
        std::string reason;
        auto const headers = headersOf(request.headers, reason);
        if (!headers)
            return {false, reason};
        auto const until = Clock::now() + kLongest;
        std::string url = request.url;
        bool wasTls = false;
        for (int step = 0; step <= kMostSteps; ++step) {
            auto const address = addressOf(url);
            if (reason = refusalOf(address); !reason.empty())
                return {false, (step == 0 ? "" : "led on to " + url.substr(0, 200) + ": ") + reason};
            if (wasTls && address->scheme == "http")
                return {false, "led on from https to http"};
            wasTls = address->scheme == "https";
            std::string next;
            Answer const answer = Exchange(until, isEnding).perform(*address, *headers, next);
            if (next.empty())
                return answer;
            url = next;
        }
        return {false, "led on too often"};
    }

    void work()
    {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            changed.wait(lock, [this] { return isEnding || !waiting.empty(); });
            if (isEnding)
                return;
            Request const request = std::move(waiting.front());
            waiting.pop_front();
            lock.unlock();
            Answer const answer = fetch(request);
            if (!isEnding)
                request.done(answer.succeeded, answer.text);
            lock.lock();
        }
    }
};

Fetcher::Fetcher(AllowedHosts allowed) : m_worker(std::make_unique<Worker>(std::move(allowed))) {}

Fetcher::~Fetcher()
{
    {
        std::lock_guard<std::mutex> const guard(m_worker->mutex);
        m_worker->isEnding = true;
    }
    m_worker->changed.notify_all();
    if (m_worker->thread.joinable())
        m_worker->thread.join();
}

void Fetcher::get(std::string const& url, std::string const& headers, Done done)
{
    std::unique_lock<std::mutex> lock(m_worker->mutex);
    if (m_worker->waiting.size() >= kMostWaiting) {
        lock.unlock();
        return done(false, "too many requests wait");
    }
    m_worker->waiting.push_back({url, headers, std::move(done)});
    if (!m_worker->thread.joinable()) {
        // Signals are the other threads': they would break off what is on its way.
        sigset_t all, before;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before); // a thread begins with the mask of who makes it
        m_worker->thread = std::thread([worker = m_worker.get()] { worker->work(); });
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    m_worker->changed.notify_all();
}

} // namespace engine
