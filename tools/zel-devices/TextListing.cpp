#include <zel/model/state/StateManager.h>

#include "Listing.h"

namespace listing {

using namespace zel;

namespace {

constexpr std::size_t kColumns = 110;

std::string harmless(String const& text) { return text.withoutControls(false).toUtf8(); }

/// Breaks a long line at blanks; what follows the first break is indented by `indent`.
std::string wrapped(std::string const& line, std::size_t indent)
{
    std::string out;
    std::size_t begin = 0;
    std::size_t room = kColumns;
    while (line.size() - begin > room) {
        std::size_t const blank = line.rfind(' ', begin + room);
        if (blank == std::string::npos || blank <= begin + indent)
            break;
        out += line.substr(begin, blank - begin) + "\n" + std::string(indent, ' ');
        begin = blank + 1;
        room = kColumns - indent;
    }
    return out + line.substr(begin) + "\n";
}

void addDevice(StateManager const& state, DeviceImp const& device, std::size_t indent, std::string& out)
{
    std::string const margin(indent, ' ');
    std::string head = margin + harmless(device.name()) + "  [" + harmless(device.deviceType().toString()) +
                       "]  " + harmless(device.hwLocator());
    if (!device.osLocator().empty() && device.osLocator() != device.hwLocator())
        head += "  " + harmless(device.osLocator());
    if (!(device.state() == DeviceStateImp::FUNCTIONAL()))
        head += "  (" + harmless(device.state().toString()) + ")";
    out += head + "\n";
    for (std::size_t i = 0; i < device.propertyCount(); ++i) {
        PropertyImp const& property = device.getProperty(i);
        String const& name = property.spec()->defaultName();
        std::string const label = harmless(name.empty() ? property.key() : name);
        out += wrapped(margin + "    " + label + ": " + harmless(property.value().toString()), indent + 8);
    }
    for (DeviceImp const* child : state.childrenOf(device))
        addDevice(state, *child, indent + 2, out);
}

} // namespace

std::string harmless(std::string const& bytes) { return String(bytes).withoutControls(false).toUtf8(); }

std::string text(StateManager const& state)
{
    std::string out;
    forEachTop(state, [&](DeviceImp const& device) { addDevice(state, device, 0, out); });
    return out.empty() ? "No devices found.\n" : out;
}

} // namespace listing
