#include <engine/report/ReportReader.h>

#include <engine/report/RecordJson.h>
#include <engine/report/linux/ReportFile.h>

#include <zel/foundation/Exception.h>

namespace engine {

namespace {

using listing::JsonNode;

constexpr std::size_t kMostDamage = 20; // lines that are named

class Lines
{
public:
    Lines(std::string_view utf8, std::string const& name) : m_rest(utf8), m_name(name) {}

    Session read()
    {
        cutTorn();
        while (!m_rest.empty())
            readLine(nextLine());
        if (!m_builder.hasBegun())
            listing::refuse(m_name, 1,
                            m_builder.session().isTorn ? "no whole line" : "no report: it is empty");
        return std::move(m_builder.session());
    }

private:
    // What a machine that went down leaves of a line: its beginning, and maybe zeros for what was not written yet.
    void cutTorn()
    {
        std::size_t const zeros = m_rest.find('\0');
        std::string_view const written = m_rest.substr(0, zeros);
        bool const hasZeros = m_rest.find_first_not_of('\0', written.size()) == std::string_view::npos &&
                              zeros != std::string_view::npos;
        if (hasZeros)
            m_rest = written;
        std::size_t const end = m_rest.rfind('\n') + 1; // npos + 1 is the beginning
        std::string_view const last = m_rest.substr(end);
        m_builder.session().isTorn = hasZeros || !last.empty();
        if (!last.empty() && !isWhole(last))
            m_rest = m_rest.substr(0, end);
    }

    // A line that lost only its end says all the same what it says.
    bool isWhole(std::string_view line) const
    try {
        listing::parseJson(line, m_name, kReportLimits);
        return true;
    } catch (zel::ParseException const&) {
        return false;
    }

    std::string_view nextLine()
    {
        ++m_number;
        std::size_t const end = m_rest.find('\n');
        std::string_view const line = m_rest.substr(0, end);
        m_rest = end == std::string_view::npos ? std::string_view() : m_rest.substr(end + 1);
        return line;
    }

    void readLine(std::string_view line)
    try {
        JsonNode const object = listing::parseJson(line, m_name, kReportLimits, m_number);
        if (!m_builder.hasBegun())
            readHead(object);
        std::optional<Record> record = readRecord(object, m_name);
        std::string const reason = record ? m_builder.add(std::move(*record)) : std::string();
        if (!reason.empty())
            listing::refuse(m_name, m_number, reason);
    } catch (zel::ParseException const& error) {
        if (!m_builder.hasBegun())
            throw;
        noteDamage(error.what());
    }

    // The first line says what the file is.
    void readHead(JsonNode const& object)
    {
        JsonNode const* const format = object.member("format");
        if (!format || format->kind != JsonNode::Kind::Text || format->text != kReportFormat)
            listing::refuse(m_name, m_number, "no report: its first line does not say that it is one");
        JsonNode const* const version = object.member("formatVersion");
        if (!version || version->kind != JsonNode::Kind::Unsigned || version->whole == 0)
            listing::refuse(m_name, m_number, "no \"formatVersion\"");
        if (version->whole > kReportVersion)
            listing::refuse(m_name, m_number,
                            "of version " + std::to_string(version->whole) +
                                ", newer than this program knows");
        JsonNode const* const record = object.member("record");
        if (!record || record->text != wordOf(Record(SessionBegan())))
            listing::refuse(m_name, m_number, "no report: it does not begin with the beginning of a session");
        JsonNode const* const bootId = object.member("bootId");
        if (bootId && bootId->kind == JsonNode::Kind::Text)
            m_builder.session().bootId = bootId->text;
    }

    void noteDamage(std::string what)
    {
        Session& session = m_builder.session();
        if (session.damage.size() < kMostDamage)
            session.damage.push_back(std::move(what));
        else
            ++session.damageLeftOut;
    }

    std::string_view m_rest;
    std::string const& m_name;
    std::size_t m_number = 0; // of the line
    SessionBuilder m_builder;
};

} // namespace

Session readReport(std::string_view utf8, std::string const& name) { return Lines(utf8, name).read(); }

Session readReport(std::string const& path)
{
    // Before it is read: an engine that ends meanwhile has written its last record before it lets go.
    bool const isWritten = path != "-" && ReportFile::isBeingWritten(path);
    Session session =
        readReport(listing::readBytes(path, kReportLimits), path == "-" ? "standard input" : path);
    session.isWritten = isWritten;
    return session;
}

} // namespace engine
