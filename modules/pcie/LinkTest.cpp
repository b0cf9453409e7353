#include <pcie/LinkTest.h>

#include <pcie/Events.h>
#include <pcie/Texts.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <optional>

namespace krel5::modules::pcie {
namespace {

constexpr std::chrono::milliseconds kStep{20};
constexpr double kBetweenLooks = 0.1;    // seconds
constexpr double kReset = 2;             // seconds that a device may need, which its driver resets
constexpr std::uint64_t kMostWidth = 32; // 255: the kernel could not ask
constexpr double kMostSpeed = 1024;      // GT/s

/// Tenths of a GT/s, so that they can be compared.
std::optional<std::uint64_t> speedIn(std::string const& text)
{
    double speed = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), speed);
    bool const isSpeed = error == std::errc() && std::string_view(end).starts_with(" GT/s");
    if (!isSpeed || !(speed > 0) || speed > kMostSpeed)
        return std::nullopt;
    return static_cast<std::uint64_t>(speed * 10 + 0.5);
}

std::string speedText(std::uint64_t tenths)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", static_cast<double>(tenths) / 10);
    return text;
}

/// One end of a link; what is not known is absent.
struct End
{
    std::optional<std::uint64_t> mostWidth, mostSpeed, width, speed;
};

End readEnd(MachineFolder const& machine, std::string const& folder)
{
    auto const width = [&](char const* name) -> std::optional<std::uint64_t> {
        auto const number = machine.number(folder + name);
        return number && *number > 0 && *number <= kMostWidth ? number : std::nullopt;
    };
    auto const speed = [&](char const* name) {
        return speedIn(machine.read(folder + name, 128).value_or(std::string()));
    };
    return {width("max_link_width"), speed("max_link_speed"), width("current_link_width"),
            speed("current_link_speed")};
}

/// Itself, or what stands behind a bridge. Such a card may switch lanes off while it idles.
bool isGraphics(MachineFolder const& machine, std::string const& folder, int depth = 4)
{
    if (machine.word(folder + "class").starts_with("0x03"))
        return true;
    for (std::string const& name : depth > 0 ? machine.list(folder) : std::vector<std::string>())
        if (name.find(':') != name.npos && isGraphics(machine, folder + name + "/", depth - 1))
            return true;
    return false;
}

std::optional<std::uint64_t> least(std::optional<std::uint64_t> a, std::optional<std::uint64_t> b)
{
    return a && b ? std::optional(std::min(*a, *b)) : std::nullopt;
}

class LinkTest
{
public:
    LinkTest(TestHost& host, MachineFolder const& machine, std::string const& function,
             LinkSettings const& settings, Load const& load)
        : m_host(host), m_machine(machine), m_function(function), m_settings(settings), m_load(load)
    {}

    Outcome run()
    {
        auto const place = isName() ? m_machine.resolve("sys/bus/pci/devices/" + m_function) : std::nullopt;
        if (!place) {
            m_host.problem({kEventNotThere, {{"Function", m_function}}});
            return Outcome::NoDevice;
        }
        m_folder = *place + "/";
        m_bridge = place->substr(0, place->rfind('/')) + "/";
        if (hasFallenOff())
            return gone();
        End const own = readEnd(m_machine, m_folder), above = readEnd(m_machine, m_bridge);
        m_width = least(own.mostWidth, above.mostWidth);
        m_speed = least(own.mostSpeed, above.mostSpeed);
        if (!m_width || !own.width) { // the first bridge, or no PCI Express
            m_host.problem({kEventNoLink, {{"Function", m_function}}});
            return Outcome::NotApplicable;
        }
        m_isGraphics = isGraphics(m_machine, m_folder);
        tellOfEarlierErrors();
        auto const end = watch(*own.width);
        if (end && !m_isBad)
            return *end;
        if (!end)
            judge();
        return m_isBad ? Outcome::Fail : Outcome::Pass;
    }

private:
    using Values = std::vector<std::pair<std::string, std::string>>;

    // It comes from the enumerator; a path would lead elsewhere.
    bool isName() const
    {
        return !m_function.empty() && m_function.find('/') == m_function.npos && m_function[0] != '.';
    }

    void fault(EventKey key, Values values)
    {
        m_isBad = true;
        values.insert(values.begin(), {"Function", m_function});
        m_host.fault({key, std::move(values)});
    }
    void warning(EventKey key, Values values)
    {
        values.insert(values.begin(), {"Function", m_function});
        m_host.warning({key, std::move(values)});
    }
    Outcome gone()
    {
        if (m_machine.shortage() != 0) // it may be there, and only this process not able to look
            return m_isBad ? Outcome::Fail : Outcome::CannotRun;
        fault(kEventGone, {});
        return Outcome::Fail;
    }

    bool hasFallenOff() const { return pcie::hasFallenOff(m_host, m_machine, m_folder, m_load); }

    void tellOfEarlierErrors()
    {
        struct
        {
            char const *file, *row;
            LocalText const& kind;
        } const counters[] = {
            {"aer_dev_correctable", "TOTAL_ERR_COR", kTextCorrected},
            {"aer_dev_nonfatal", "TOTAL_ERR_NONFATAL", kTextNotCorrected},
            {"aer_dev_fatal", "TOTAL_ERR_FATAL", kTextFatal},
        };
        for (auto const& one : counters) {
            std::string const table = m_machine.read(m_folder + one.file, 4096).value_or("");
            std::string const row = std::string(one.row) + " ";
            auto const at = table.starts_with(row) ? 0 : table.find("\n" + row);
            if (at == table.npos)
                continue;
            auto const from = table.find(' ', at) + 1;
            auto const count = wholeNumber(table.substr(from, table.find('\n', from) - from));
            if (count.value_or(0) > 0)
                m_host.warning({kEventEarlierErrors,
                                {{"Function", m_function},
                                 {"Count", std::to_string(*count)},
                                 {"Kind", m_host.text(one.kind)}}});
        }
    }

    /// Nothing: to the end of its time. What the link does while it idles is no matter: the best that was seen counts.
    std::optional<Outcome> watch(std::uint64_t firstWidth)
    {
        double const begin = m_load.now();
        double looked = begin - kBetweenLooks;
        std::uint64_t width = firstWidth;
        for (double now = begin; now - begin < m_settings.seconds; now = m_load.now()) {
            if (m_host.stopRequested())
                return Outcome::Stopped;
            m_host.progress(static_cast<int>(100 * (now - begin) / m_settings.seconds));
            bool const isWorking = m_load.once && m_load.once();
            m_hasWorked |= isWorking;
            if (!isWorking)
                m_load.wait(kStep);
            if (now - looked < kBetweenLooks)
                continue;
            looked = now;
            if (hasFallenOff())
                return gone();
            End const end = readEnd(m_machine, m_folder);
            m_bestWidth = std::max(m_bestWidth, end.width.value_or(0));
            m_bestSpeed = std::max(m_bestSpeed, end.speed.value_or(0));
            if (end.width && *end.width < width && !maySaveLanes())
                fault(kEventChanged,
                      {{"Before", std::to_string(width)}, {"After", std::to_string(*end.width)}});
            width = end.width.value_or(width);
        }
        return std::nullopt;
    }

    bool maySaveLanes() const { return m_isGraphics && !m_hasWorked && !m_settings.isSpeedRequired; }

    void judge()
    {
        std::string const unknown = m_host.text(kTextUnknown);
        m_host.note({kEventLink,
                     {{"Function", m_function},
                      {"Width", std::to_string(m_bestWidth)},
                      {"Speed", m_bestSpeed > 0 ? speedText(m_bestSpeed) : unknown},
                      {"CommonWidth", std::to_string(*m_width)},
                      {"CommonSpeed", m_speed ? speedText(*m_speed) : unknown},
                      {"Load", m_hasWorked ? m_load.what : m_host.text(kTextNothing)}}});
        Values const lanes{{"Width", std::to_string(m_bestWidth)}, {"Common", std::to_string(*m_width)}};
        if (m_bestWidth < *m_width && maySaveLanes())
            warning(kEventMaybeNarrow, lanes);
        else if (m_bestWidth < *m_width)
            fault(kEventNarrow, lanes);
        if (!m_speed || m_bestSpeed == 0 || m_bestSpeed >= *m_speed)
            return;
        Values values{{"Speed", speedText(m_bestSpeed)}, {"Common", speedText(*m_speed)}};
        if (m_hasWorked || m_settings.isSpeedRequired)
            return fault(kEventSlow, std::move(values));
        warning(kEventMaybeSlow, std::move(values));
    }

    TestHost& m_host;
    MachineFolder const& m_machine;
    std::string const& m_function;
    LinkSettings const& m_settings;
    Load const& m_load;
    std::string m_folder, m_bridge;
    std::optional<std::uint64_t> m_width, m_speed; // that both ends can; tenths of a GT/s
    std::uint64_t m_bestWidth = 0, m_bestSpeed = 0;
    bool m_isGraphics = false, m_hasWorked = false, m_isBad = false;
};

} // namespace

bool isVirtual(MachineFolder const& machine, std::string const& folder)
{
    return machine.has(folder + "physfn");
}

bool isAnswering(MachineFolder const& machine, std::string const& folder)
{
    if (machine.read(folder + "power/runtime_status", 64).value_or("") == "suspended\n")
        return true;
    if (!machine.has(folder + "vendor"))
        return false;
    if (isVirtual(machine, folder))
        return true;
    auto const config = machine.read(folder + "config", 4096);
    return !config || config->size() < 4 || config->compare(0, 4, "\xFF\xFF\xFF\xFF") != 0;
}

bool hasFallenOff(TestHost& host, MachineFolder const& machine, std::string const& folder, Load const& load)
{
    double const begin = load.now();
    while (!isAnswering(machine, folder)) {
        if (!machine.has(folder + "vendor") || load.now() - begin >= kReset)
            return true;
        if (host.stopRequested())
            return false;
        load.wait(kStep);
    }
    return false;
}

Outcome runLinkTest(TestHost& host, MachineFolder const& machine, std::string const& function,
                    LinkSettings const& settings, Load const& load)
{
    return LinkTest(host, machine, function, settings, load).run();
}

} // namespace krel5::modules::pcie
