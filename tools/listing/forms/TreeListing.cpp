#include <listing/forms/Columns.h>
#include <listing/forms/Facts.h>
#include <listing/forms/Listing.h>

#include <algorithm>

namespace listing {

using namespace zel;

namespace {

constexpr std::size_t kWidestName = 52, kWidestClass = 18, kWidestPlace = 22;
constexpr std::size_t kRoomForClass = 100; // columns of a terminal below which the class is left out

struct Line
{
    Device const* device;
    Device const* controller = nullptr; ///< shares the line
    std::size_t depth = 0;
};

// Which devices get a line of their own.
class Layout
{
public:
    explicit Layout(Machine const& machine)
        : m_machine(machine), m_use(machine.devices.size(), kNone), m_isHidden(machine.devices.size())
    {
        findUses();
        hideInnerParts();
    }

    std::vector<Line> lines() const
    {
        std::vector<Line> lines;
        std::vector<std::size_t> depths(m_machine.devices.size());
        for (std::size_t i = 0; i < m_machine.devices.size(); ++i) {
            Device const& device = m_machine.devices[i];
            bool const hasParent = device.parent != kNone;
            bool const isUse = hasParent && m_use[device.parent] == i;
            depths[i] = hasParent ? depths[device.parent] + (isUse ? 0 : 1) : 0;
            if (isUse || m_isHidden[i])
                continue;
            Line line{&device, nullptr, depths[i]};
            for (std::size_t use = m_use[i]; use != kNone; use = m_use[use])
                line = {&m_machine.devices[use], &device, depths[i]};
            lines.push_back(line);
        }
        return lines;
    }
    std::size_t hiddenCount() const
    {
        return static_cast<std::size_t>(std::count(m_isHidden.begin(), m_isHidden.end(), true));
    }

private:
    static constexpr std::size_t kNone = Device::kNone;

    // The card is what a driver makes of the function, the drive what it makes of the USB stick: for a person one thing.
    static bool isSameThing(Device const& controller, Device const& device)
    {
        if (!device.hwLocator.empty() && device.hwLocator == controller.hwLocator)
            return true;
        Property const* const mine = device.property("PciAddress");
        Property const* const its = controller.property("PciAddress");
        return mine && its && mine->value == its->value && !controller.name.empty() &&
               device.name.startsWith(controller.name);
    }

    // Where there are two, as with a card of two interfaces, the function has a line of its own.
    void findUses()
    {
        std::vector<std::size_t> counts(m_machine.devices.size());
        for (std::size_t i = 0; i < m_machine.devices.size(); ++i) {
            Device const& device = m_machine.devices[i];
            if (device.parent == kNone || !isSameThing(m_machine.devices[device.parent], device))
                continue;
            m_use[device.parent] = ++counts[device.parent] == 1 ? i : kNone;
        }
    }

    // What hides has no visible descendant: children come after their parents, so from the end. Who asked for
    // classes sees what he asked for.
    void hideInnerParts()
    {
        if (!m_machine.origin.classes.empty())
            return;
        std::vector<bool> isNeeded(m_machine.devices.size());
        for (std::size_t i = m_machine.devices.size(); i-- > 0;) {
            Device const& device = m_machine.devices[i];
            bool const isInner = device.type == CapabilityImp::CPUCore() ||
                                 device.type == CapabilityImp::CPUThread() ||
                                 device.type == CapabilityImp::CPUCache();
            m_isHidden[i] = isInner && device.parent != kNone && device.isFunctional() && !isNeeded[i];
            if (!m_isHidden[i] && device.parent != kNone)
                isNeeded[device.parent] = true;
        }
    }

    Machine const& m_machine;
    std::vector<std::size_t> m_use; // by device: the one that shares its line
    std::vector<bool> m_isHidden;
};

// Of a place, the end tells more: "..eon-isa-0a20:temp2".
std::string endOf(std::string const& text, std::size_t columns)
{
    std::size_t begin = 0;
    for (std::size_t left = columnsOf(text); left + 2 > columns && begin < text.size();)
        if ((text[++begin] & 0xC0) != 0x80)
            --left;
    return columnsOf(text) <= columns ? text : kCut + text.substr(begin);
}

struct Widths
{
    std::size_t name = 0, type = 0, place = 0;
};

struct Row
{
    std::string name, type, place, facts;
};

void addCell(std::string const& text, std::size_t width, std::string& line)
{
    line += filledTo(cutTo(text, width), width);
    if (width > 0)
        line += "  ";
}

std::string lineOf(Row const& row, Widths const& columns, std::size_t width)
{
    std::string line;
    addCell(row.name, columns.name, line);
    addCell(row.type, columns.type, line);
    addCell(row.place, columns.place, line);
    line += row.facts;
    line.erase(line.find_last_not_of(' ') + 1);
    return (width > 0 ? cutTo(line, width) : line) + "\n";
}

} // namespace

std::string tree(Machine const& machine, std::size_t width)
{
    Layout const layout(machine);
    std::vector<Row> rows;
    Widths columns;
    std::size_t const widestName =
        width > 0 ? std::clamp<std::size_t>(width * 2 / 5, 24, kWidestName) : kWidestName;
    for (Line const& line : layout.lines()) {
        Row row{std::string(2 * line.depth, ' ') + harmless(line.device->name),
                width > 0 && width < kRoomForClass ? "" : harmless(line.device->type.toString()),
                endOf(place(*line.device), kWidestPlace), facts(*line.device, line.controller)};
        columns.name = std::max(columns.name, std::min(columnsOf(row.name), widestName));
        columns.type = std::max(columns.type, std::min(columnsOf(row.type), kWidestClass));
        columns.place = std::max(columns.place, std::min(columnsOf(row.place), kWidestPlace));
        rows.push_back(std::move(row));
    }
    std::string out;
    for (Row const& row : rows)
        out += lineOf(row, columns, width);
    if (layout.hiddenCount() > 0)
        out += "(" + std::to_string(layout.hiddenCount()) +
               " cores, threads and caches of processors are not shown: -v)\n";
    return out.empty() ? "No devices found.\n" : out;
}

} // namespace listing
