#include <zel/foundation/OStream.h>

#include <atomic>
#include <cstdio>
#include <cstring>

namespace zel {
namespace {

class StandardStream final : public OStream
{
public:
    explicit StandardStream(std::FILE* file) : m_file(file) {}

    void write(std::string_view utf8) override
    {
        if (std::fwrite(utf8.data(), 1, utf8.size(), m_file) != utf8.size())
            m_failed = true;
    }
    void flush() override
    {
        if (std::fflush(m_file) != 0)
            m_failed = true;
    }
    // The C stream's own mark covers output that module code wrote with printf.
    bool failed() const override { return m_failed || std::ferror(m_file) != 0; }

private:
    std::FILE* m_file;
    std::atomic<bool> m_failed{false};
};

} // namespace

OStream::~OStream() = default;

OStream& OStream::operator<<(String const& text)
{
    write(text.toUtf8());
    return *this;
}

OStream& OStream::operator<<(char const* utf8)
{
    write(utf8 ? std::string_view(utf8) : std::string_view());
    return *this;
}

OStream& OStream::operator<<(std::string_view utf8)
{
    write(utf8);
    return *this;
}

// Never destroyed: destructors of other statics may still write.
OStream& OStream::out()
{
    static StandardStream& s_out = *new StandardStream(stdout);
    return s_out;
}

OStream& OStream::err()
{
    static StandardStream& s_err = *new StandardStream(stderr);
    return s_err;
}

OStream& endl(OStream& stream)
{
    stream.write("\n");
    stream.flush();
    return stream;
}

} // namespace zel
