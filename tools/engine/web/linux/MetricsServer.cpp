#include <engine/web/linux/MetricsServer.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/linux/FileDescriptor.h>

#include <arpa/inet.h>
#include <charconv>
#include <csignal>
#include <cstring>
#include <dlfcn.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace engine {
namespace {

constexpr unsigned kConnections = 16, kOfOneAddress = 16, kSeconds = 5;
constexpr std::size_t kBytes = 16u << 10; // that a connection holds of a request
constexpr int kWaiting = 16;

/// libmicrohttpd as far as it is needed. Loaded when first used: whoever only runs tests does not need it.
struct Library
{
    decltype(&MHD_start_daemon) start = nullptr;
    decltype(&MHD_stop_daemon) stop = nullptr;
    decltype(&MHD_create_response_from_buffer) respond = nullptr;
    decltype(&MHD_destroy_response) destroy = nullptr;
    decltype(&MHD_add_response_header) addHeader = nullptr;
    decltype(&MHD_queue_response) queue = nullptr;

    Library()
    {
        void* const library = ::dlopen("libmicrohttpd.so.12", RTLD_LAZY | RTLD_LOCAL);
        isComplete =
            library && find(library, start, "MHD_start_daemon") && find(library, stop, "MHD_stop_daemon") &&
            find(library, respond, "MHD_create_response_from_buffer") &&
            find(library, destroy, "MHD_destroy_response") &&
            find(library, addHeader, "MHD_add_response_header") && find(library, queue, "MHD_queue_response");
    }
    static Library const& get()
    {
        static Library const s_library;
        return s_library;
    }

    bool isComplete = false;

private:
    template <typename Function>
    static bool find(void* library, Function& function, char const* symbol)
    {
        function = reinterpret_cast<Function>(::dlsym(library, symbol));
        return function != nullptr;
    }
};

struct Socket
{
    sockaddr_storage storage{};
    socklen_t size = 0;
};

bool fill(WebAddress const& address, Socket& socket)
{
    auto& four = reinterpret_cast<sockaddr_in&>(socket.storage);
    auto& six = reinterpret_cast<sockaddr_in6&>(socket.storage);
    if (::inet_pton(AF_INET, address.host.c_str(), &four.sin_addr) == 1) {
        four.sin_family = AF_INET;
        four.sin_port = htons(address.port);
        socket.size = sizeof four;
        return true;
    }
    if (::inet_pton(AF_INET6, address.host.c_str(), &six.sin6_addr) != 1)
        return false;
    six.sin6_family = AF_INET6;
    six.sin6_port = htons(address.port);
    socket.size = sizeof six;
    return true;
}

[[noreturn]] void fail(WebAddress const& address, char const* what)
{
    throw zel::InvalidArgumentException("--prometheus: " + zel::String(textOf(address)) + ": " + what + ": " +
                                        std::strerror(errno));
}

zel::FileDescriptor listening(WebAddress& address)
{
    Socket own;
    if (!fill(address, own))
        throw zel::InvalidArgumentException("--prometheus: " + zel::String(address.host) + " is no address");
    zel::FileDescriptor socket(
        ::socket(own.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket.isOpen())
        fail(address, "socket");
    int const on = 1;
    ::setsockopt(socket.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (own.storage.ss_family == AF_INET6)
        ::setsockopt(socket.number(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    if (::bind(socket.number(), reinterpret_cast<sockaddr*>(&own.storage), own.size) != 0)
        fail(address, "bind");
    if (::listen(socket.number(), kWaiting) != 0)
        fail(address, "listen");
    ::getsockname(socket.number(), reinterpret_cast<sockaddr*>(&own.storage), &own.size);
    // Both families have it at the same place.
    address.port = ntohs(reinterpret_cast<sockaddr_in&>(own.storage).sin_port);
    return socket;
}

} // namespace

bool WebAddress::isLoopback() const
{
    in_addr four{};
    in6_addr six{};
    if (::inet_pton(AF_INET, host.c_str(), &four) == 1)
        return (ntohl(four.s_addr) >> 24) == 127;
    return ::inet_pton(AF_INET6, host.c_str(), &six) == 1 && IN6_IS_ADDR_LOOPBACK(&six);
}

WebAddress webAddressOf(std::string const& text, std::string const& origin)
{
    WebAddress address;
    std::size_t const colon = text.rfind(':');
    std::string port = text;
    if (colon != std::string::npos) {
        address.host = text.substr(0, colon);
        port = text.substr(colon + 1);
        if (address.host.size() > 1 && address.host.front() == '[' && address.host.back() == ']')
            address.host = address.host.substr(1, address.host.size() - 2);
        else if (address.host.find(':') != std::string::npos)
            address.host.clear(); // nobody can tell where it ends
    }
    auto const [end, error] = std::from_chars(port.data(), port.data() + port.size(), address.port);
    Socket socket;
    if (port.empty() || error != std::errc() || end != port.data() + port.size() || !fill(address, socket))
        throw zel::InvalidArgumentException(zel::String(origin) + ": " + text +
                                            " is no address; it is like 127.0.0.1:9273, [::1]:9273 or 9273");
    return address;
}

std::string textOf(WebAddress const& address)
{
    bool const isSix = address.host.find(':') != std::string::npos;
    return (isSix ? "[" + address.host + "]" : address.host) + ":" + std::to_string(address.port);
}

struct MetricsServer::Server
{
    WebAddress address;
    std::string type;
    std::function<std::string()> page;
    MHD_Daemon* daemon = nullptr;

    MHD_Result answer(MHD_Connection* connection, unsigned status, std::string text, char const* kind) const
    {
        Library const& library = Library::get();
        MHD_Response* const response = library.respond(text.size(), text.data(), MHD_RESPMEM_MUST_COPY);
        if (!response)
            return MHD_NO;
        library.addHeader(response, "Content-Type", kind);
        library.addHeader(response, "X-Content-Type-Options", "nosniff");
        if (status == MHD_HTTP_METHOD_NOT_ALLOWED)
            library.addHeader(response, "Allow", "GET, HEAD");
        MHD_Result const result = library.queue(connection, status, response);
        library.destroy(response);
        return result;
    }

    MHD_Result answer(MHD_Connection* connection, std::string const& path, std::string const& method) const
    {
        constexpr char kText[] = "text/plain; charset=utf-8";
        if (method != "GET" && method != "HEAD")
            return answer(connection, MHD_HTTP_METHOD_NOT_ALLOWED, "Only GET and HEAD\n", kText);
        if (path == "/")
            return answer(connection, MHD_HTTP_OK, "The readings are at /metrics\n", kText);
        if (path != "/metrics")
            return answer(connection, MHD_HTTP_NOT_FOUND, "There is only /metrics\n", kText);
        return answer(connection, MHD_HTTP_OK, page(), type.c_str());
    }

    // Nothing may be thrown through a library that is none of C++. A request is answered when its head is there; a body is not read.
    static MHD_Result handle(void* self, MHD_Connection* connection, char const* path, char const* method,
                             char const*, char const*, std::size_t* bodyBytes, void** isSeen) noexcept
    try {
        static char s_seen = 0;
        if (!*isSeen) {
            *isSeen = &s_seen;
            return MHD_YES;
        }
        if (*bodyBytes > 0) {
            *bodyBytes = 0;
            return MHD_YES;
        }
        return static_cast<Server const*>(self)->answer(connection, path, method);
    } catch (...) {
        return MHD_NO;
    }
};

MetricsServer::MetricsServer(WebAddress const& address, std::string type, std::function<std::string()> page)
    : m_server(std::make_unique<Server>(Server{address, std::move(type), std::move(page)}))
{
    Library const& library = Library::get();
    if (!library.isComplete)
        throw zel::InvalidArgumentException("--prometheus needs libmicrohttpd, which is not installed");
    zel::FileDescriptor socket = listening(m_server->address);
    // Signals are the other threads': they would break off what is being sent.
    sigset_t all, before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before); // a thread begins with the mask of who makes it
    m_server->daemon =
        library.start(MHD_USE_INTERNAL_POLLING_THREAD, 0, nullptr, nullptr, &Server::handle, m_server.get(),
                      MHD_OPTION_LISTEN_SOCKET, socket.number(), MHD_OPTION_CONNECTION_LIMIT, kConnections,
                      MHD_OPTION_PER_IP_CONNECTION_LIMIT, kOfOneAddress, MHD_OPTION_CONNECTION_TIMEOUT,
                      kSeconds, MHD_OPTION_CONNECTION_MEMORY_LIMIT, kBytes, MHD_OPTION_END);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (!m_server->daemon)
        throw zel::InvalidArgumentException("--prometheus: the server does not start");
    socket.release(); // the library closes it
}

MetricsServer::~MetricsServer() { Library::get().stop(m_server->daemon); }

WebAddress const& MetricsServer::address() const { return m_server->address; }

} // namespace engine
