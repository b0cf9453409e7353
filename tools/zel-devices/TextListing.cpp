#include <zel/model/state/StateManager.h>

#include "Listing.h"

#include <algorithm>

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

/// Whether the value is a list whose elements are sentences: the commas between them would not be told from theirs.
bool isListOfPhrases(ValueImp const& value)
{
    if (value.type() != DataTypeImp::STRINGARRAY() || value.elementCount() < 2)
        return false;
    auto const& elements = value.stringArray();
    return std::any_of(elements.begin(), elements.end(),
                       [](String const& element) { return element.find(" ") != String::npos; });
}

void addProperty(PropertyImp const& property, std::size_t indent, std::string& out)
{
    constexpr std::size_t kStep = 4;
    String const& name = property.spec()->defaultName();
    std::string const line = std::string(indent, ' ') + harmless(name.empty() ? property.key() : name) + ":";
    ValueImp const& value = property.value();
    if (!isListOfPhrases(value)) {
        out += wrapped(line + " " + harmless(value.toString()), indent + kStep);
        return;
    }
    out += line + "\n";
    for (String const& element : value.stringArray())
        out += wrapped(std::string(indent + kStep, ' ') + harmless(element), indent + 2 * kStep);
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
    for (std::size_t i = 0; i < device.propertyCount(); ++i)
        addProperty(device.getProperty(i), indent + 4, out);
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
