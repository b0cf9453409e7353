#include <listing/forms/Columns.h>
#include <listing/forms/Listing.h>

#include <algorithm>

namespace listing {

using namespace zel;

namespace {

constexpr std::size_t kStep = 4; // of indentation

/// Whether the value is a list whose elements are sentences: the commas between them would not be told from theirs.
bool isListOfPhrases(ValueImp const& value)
{
    if (value.type() != DataTypeImp::STRINGARRAY() || value.elementCount() < 2)
        return false;
    auto const& elements = value.stringArray();
    return std::any_of(elements.begin(), elements.end(),
                       [](String const& element) { return element.find(" ") != String::npos; });
}

void addProperty(Property const& property, std::size_t indent, std::string& out)
{
    std::string const line = std::string(indent, ' ') + harmless(property.name()) + ":";
    if (!isListOfPhrases(property.value)) {
        out += wrapped(line + " " + harmless(property.value.toString()), indent + kStep);
        return;
    }
    out += line + "\n";
    for (String const& element : property.value.stringArray())
        out += wrapped(std::string(indent + kStep, ' ') + harmless(element), indent + 2 * kStep);
}

void addDevice(Device const& device, std::string& out)
{
    std::string const margin(2 * device.depth, ' ');
    std::string head = margin + harmless(device.name) + "  [" + harmless(device.type.toString()) + "]  " +
                       harmless(device.hwLocator);
    if (!device.osLocator.empty() && device.osLocator != device.hwLocator)
        head += "  " + harmless(device.osLocator);
    if (!device.isFunctional())
        head += "  (" + harmless(device.state) + ")";
    out += head + "\n";
    for (Property const& property : device.properties)
        if (!property.isHeading())
            addProperty(property, margin.size() + kStep, out);
}

} // namespace

std::string harmless(String const& text) { return text.withoutControls(false).toUtf8(); }
std::string harmless(std::string const& text) { return harmless(String(text)); }

std::string text(Machine const& machine)
{
    std::string out;
    for (Device const& device : machine.devices)
        addDevice(device, out);
    return out.empty() ? "No devices found.\n" : out;
}

} // namespace listing
