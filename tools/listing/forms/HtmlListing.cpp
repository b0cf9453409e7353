#include <listing/forms/Escapes.h>
#include <listing/forms/Facts.h>
#include <listing/forms/Listing.h>

namespace listing {

using namespace zel;

namespace {

// No scripts, nothing from elsewhere: the page says so itself, and a browser holds it to that.
constexpr char kBegin[] = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<meta name="viewport" content="width=device-width, initial-scale=1">
)";
constexpr char kStyle[] = R"(<style>
:root { color-scheme: light dark; --line: #8886; --quiet: #666; --bad: #b00020; }
@media screen and (prefers-color-scheme: dark) { :root { --quiet: #aaa; --bad: #ff8a80; } }
body { font: 15px/1.4 system-ui, sans-serif; margin: 1.5em auto; max-width: 75em; padding: 0 1em; }
h1 { font-size: 1.5em; margin: 0; }
.origin { color: var(--quiet); margin: .2em 0 1.2em; }
.gap { color: var(--bad); }
.device .device, .parts { margin-left: 1.1em; border-left: 1px solid var(--line); padding-left: .7em; }
.parts > summary { color: var(--quiet); font-size: .88em; }
.parts .device { margin-left: 0; }
summary { padding: .1em 0; cursor: pointer; }
.name { font-weight: 600; }
.type, .place { color: var(--quiet); font-size: .88em; margin-left: .5em; white-space: nowrap; }
.facts { margin-left: .7em; }
.bad { color: var(--bad); font-weight: 600; }
table { border-collapse: collapse; margin: .2em 0 .6em 1.1em; }
th, td { text-align: left; vertical-align: top; padding: .08em .9em .08em 0; overflow-wrap: anywhere; }
td span { display: inline-block; margin-right: .8em; }
th { font-weight: 400; color: var(--quiet); white-space: nowrap; }
@media print { :root { color-scheme: only light; } body { max-width: none; } }
</style>
)";

void addSpan(char const* kind, std::string const& text, std::string& out)
{
    if (!text.empty())
        out += std::string("<span class=\"") + kind + "\">" + escaped(text) + "</span>\n";
}

void addRow(std::string const& key, std::string const& name, std::string const& value, std::string& out)
{
    if (!value.empty())
        out += "<tr><th scope=\"row\" title=\"" + key + "\">" + name + "</th><td>" + value + "</td></tr>\n";
}

void addValue(ValueImp const& value, std::string& out)
{
    if (value.type() != DataTypeImp::STRINGARRAY()) {
        out += escaped(value.toString());
        return;
    }
    for (String const& element : value.stringArray())
        out += "<span>" + escaped(element) + "</span> ";
}

// Its properties open below its line; what hangs on it is always seen, but for the inner parts of processors.
void beginDevice(Device const& device, std::string& out)
{
    out += "<div class=\"device\">\n<details>\n<summary>";
    addSpan("name", harmless(device.name), out);
    addSpan("type", harmless(device.type.toString()), out);
    addSpan("place", place(device), out);
    addSpan(device.isFunctional() ? "facts" : "facts bad", facts(device, nullptr), out);
    out += "</summary>\n<table>\n";
    addRow("", "Description", escaped(device.description), out);
    addRow("", "Place", escaped(device.hwLocator), out);
    addRow("", "Name in the system", escaped(device.osLocator), out);
    for (Property const& property : device.properties) {
        std::string value;
        addValue(property.value, value);
        addRow(escaped(property.key()), escaped(property.name()), value, out);
    }
    out += "</table>\n</details>\n";
}

class Body
{
public:
    explicit Body(std::string& out) : m_out(out) {}

    void enter(Device const& device)
    {
        if (!m_open.empty() && !m_open.back().hasChildren) { // the first child
            m_open.back().hasChildren = true;
            m_out += m_open.back().isProcessor
                         ? "<details class=\"parts\">\n<summary>Cores, threads, caches</summary>\n"
                         : "<div>\n";
        }
        beginDevice(device, m_out);
        m_open.push_back({device.type == CapabilityImp::CPU()});
    }
    void leave()
    {
        if (m_open.back().hasChildren)
            m_out += m_open.back().isProcessor ? "</details>\n" : "</div>\n";
        m_out += "</div>\n";
        m_open.pop_back();
    }

private:
    struct Open
    {
        bool isProcessor;
        bool hasChildren = false;
    };
    std::string& m_out;
    std::vector<Open> m_open;
};

std::string originOf(Origin const& origin)
{
    std::string text = escaped(origin.date);
    text +=
        (text.empty() || origin.program.empty() ? "" : ", ") + escaped(origin.program + " " + origin.version);
    if (!origin.isLive)
        text += ", from captured files";
    if (origin.isMasked)
        text += ", masked";
    for (std::size_t i = 0; i < origin.classes.size(); ++i)
        text += (i == 0 ? ", only " : ", ") + escaped(origin.classes[i]);
    return text;
}

} // namespace

std::string html(Machine const& machine)
{
    std::string const name = machine.name().empty() ? "Devices" : escaped(machine.name());
    std::string out = kBegin;
    out += "<title>" + name + "</title>\n" + kStyle + "</head>\n<body>\n<h1>" + name +
           "</h1>\n<p class=\"origin\">" + originOf(machine.origin) + "</p>\n";
    for (String const& gap : machine.origin.gaps)
        out += "<p class=\"gap\">" + escaped(gap) + "</p>\n";
    out += "<main>\n";
    Body body(out);
    walk(
        machine, [&](Device const& device) { body.enter(device); }, [&] { body.leave(); });
    if (machine.devices.empty())
        out += "<p>No devices found.</p>\n";
    return out + "</main>\n</body>\n</html>\n";
}

} // namespace listing
