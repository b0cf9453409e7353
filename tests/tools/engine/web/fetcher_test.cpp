// What is fetched for modules, and what is not.
#include <engine/web/Fetcher.h>

#include <zel/foundation/Exception.h>

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <sys/wait.h>
#include <unistd.h>

using namespace engine;

namespace {

/// Serves until it goes.
class Place
{
public:
    Place()
    {
        int in[2], out[2];
        if (::pipe(in) != 0 || ::pipe(out) != 0)
            return;
        m_process = ::fork();
        if (m_process == 0) {
            ::dup2(in[0], STDIN_FILENO);
            ::dup2(out[1], STDOUT_FILENO);
            ::closefrom(3);
            ::execlp("python3", "python3", SERVE, nullptr);
            ::_exit(127);
        }
        ::close(in[0]);
        ::close(out[1]);
        m_in = in[1];
        port = lineOf(out[0]);
        ::close(out[0]);
    }
    ~Place()
    {
        ::close(m_in);
        ::waitpid(m_process, nullptr, 0);
    }
    std::string at(std::string const& path, std::string const& host = "127.0.0.1") const
    {
        return "http://" + host + ":" + port + path;
    }
    std::string port;

private:
    // To the end of the line: the number and the line end may come in two pieces, and who closes between them ends the server.
    static std::string lineOf(int descriptor)
    {
        std::string line;
        for (char c = 0; ::read(descriptor, &c, 1) == 1 && c != '\n';)
            line += c;
        return line;
    }

    pid_t m_process = -1;
    int m_in = -1;
};

AllowedHosts allowed(std::vector<std::string> const& hosts)
{
    AllowedHosts all;
    for (std::string const& host : hosts)
        all.add(host);
    return all;
}

/// "+answer" or "-reason".
std::string fetched(Fetcher& fetcher, std::string const& url, std::string const& headers = "")
{
    std::promise<std::string> answer;
    fetcher.get(url, headers, [&](bool succeeded, std::string const& text) {
        answer.set_value((succeeded ? "+" : "-") + text);
    });
    auto future = answer.get_future();
    if (future.wait_for(std::chrono::seconds(30)) != std::future_status::ready)
        return "no answer";
    return future.get();
}

#define EXPECT_HAS(text, part) EXPECT_NE(std::string::npos, (text).find(part)) << (text)

} // namespace

TEST(AllowedHosts, areThoseThatWereNamed)
{
    AllowedHosts const hosts = allowed({"Updates.Example.org", "10.0.0.7:8080", "[::1]:81", "::2"});
    EXPECT_TRUE(hosts.has("updates.EXAMPLE.org", 443, true));
    EXPECT_TRUE(hosts.has("updates.example.org", 80, false));
    EXPECT_FALSE(hosts.has("updates.example.org", 80, true)) << "another port than that of https";
    EXPECT_FALSE(hosts.has("updates.example.org", 8080, false));
    EXPECT_FALSE(hosts.has("evil.updates.example.org", 443, true));
    EXPECT_FALSE(hosts.has("updates.example.org.evil.net", 443, true));
    EXPECT_TRUE(hosts.has("10.0.0.7", 8080, true));
    EXPECT_FALSE(hosts.has("10.0.0.7", 80, false));
    EXPECT_TRUE(hosts.has("[::1]", 81, false));
    EXPECT_TRUE(hosts.has("::2", 80, false));
    for (char const* const none :
         {"", ":80", "a:", "a:b", "a:0", "a:65536", "http://a", "a/b", "a b", "*", "a:80:80:", "u@a"})
        EXPECT_THROW(allowed({none}), zel::InvalidArgumentException) << none;
}

TEST(Fetcher, getsWhatIsAllowedAndNothingElse)
{
    Place const place;
    ASSERT_FALSE(place.port.empty());
    Fetcher fetcher(allowed({"127.0.0.1:" + place.port}));
    EXPECT_EQ(fetched(fetcher, place.at("/")), "+an answer");
    EXPECT_EQ(fetched(fetcher, place.at("/to?/")), "+an answer");
    EXPECT_EQ(fetched(fetcher, place.at("/none")), "-status 404");
    std::string const headers = fetched(fetcher, place.at("/headers"), "Accept: text/plain\nX-Part: 7");
    EXPECT_HAS(headers, "X-Part: 7");
    EXPECT_HAS(headers, "User-Agent: krel5-engine/");
    for (std::string const& url :
         {place.at("/", "localhost"), place.at("/to?http://localhost:PORT/"),
          place.at("/to?http://127.0.0.2:PORT/"), place.at("/to?https://127.0.0.1:1/"),
          std::string("http://127.0.0.1/"), place.at("/", "127.0.0.1@localhost"),
          place.at("/", "localhost#@127.0.0.1"), place.at("/", "localhost\\@127.0.0.1")})
        EXPECT_HAS(fetched(fetcher, url), "-") << url;
    EXPECT_HAS(fetched(fetcher, place.at("/", "localhost")), "is not one that --allow-host names");
    EXPECT_HAS(fetched(fetcher, place.at("/to?http://localhost:PORT/")), "led on to http://localhost:");
    for (char const* const url : {"file:///etc/passwd", "ftp://127.0.0.1/", "gopher://127.0.0.1/",
                                  "/etc/passwd", "", "http://", "dict://127.0.0.1/"})
        EXPECT_EQ(fetched(fetcher, url).substr(0, 1), "-") << url;
    EXPECT_EQ(fetched(fetcher, place.at("/to?file:///etc/passwd")).substr(0, 1), "-");
    EXPECT_EQ(fetched(fetcher, place.at("/", "root:x@127.0.0.1")),
              "-an address with a user's name is not fetched");
    for (char const* const header : {"Host: evil", "no name", "X: a\r", "Transfer-Encoding: chunked", ": x"})
        EXPECT_HAS(fetched(fetcher, place.at("/"), header), "-a line of the request") << header;
}

TEST(Fetcher, isBoundedInTimeSizeAndNumber)
{
    Place const place;
    Fetcher fetcher(allowed({"127.0.0.1:" + place.port}));
    EXPECT_HAS(fetched(fetcher, place.at("/big")), "-the answer is larger than 1048576 bytes");
    EXPECT_EQ(fetched(fetcher, place.at("/to?" + std::string("/to?/to?/to?/to?/to?/to?/to?/"))),
              "-led on too often");
    auto const began = std::chrono::steady_clock::now();
    {
        Fetcher slow(allowed({"127.0.0.1:" + place.port}));
        int refused = 0;
        for (std::size_t i = 0; i < Fetcher::kMostWaiting + 5; ++i)
            slow.get(place.at("/slow"), "", [&refused](bool, std::string const&) { ++refused; });
        EXPECT_GE(refused, 4) << "at once";
    } // what is on its way is broken off
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(5));
    EXPECT_EQ(fetched(fetcher, place.at("/slow")), "-no answer within 10 seconds");
    EXPECT_EQ(fetched(fetcher, place.at("/")), "+an answer") << "and then goes on";
}
