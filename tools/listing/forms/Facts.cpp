#include <listing/forms/Facts.h>

#include <listing/forms/Listing.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace listing {

using namespace zel;

namespace {

constexpr std::size_t kMost = 6;

// One fact: the property, a second one that goes with it or null, and how it is said: each % is the next value. Of
// a truth, what is said of "true" stands before the bar and what of "false" behind it. A property is said once, by the first row
// whose properties are there. Values that are zero or empty are not said.
struct Fact
{
    char const* key;
    char const* second;
    char const* words;
};

constexpr Fact kFacts[] = {
    // what is wrong
    {"Present", nullptr, "|not present"},
    {"MissingMembers", "RaidMembers", "% of % members missing"},
    {"UncorrectedErrors", nullptr, "% uncorrected errors"},
    {"CorrectedErrors", nullptr, "% corrected errors"},
    {"FatalBusErrors", nullptr, "% fatal bus errors"},
    {"NonFatalBusErrors", nullptr, "% uncorrectable bus errors"},
    {"CommandErrors", nullptr, "% failed commands"},
    {"CommandTimeouts", nullptr, "% command time-outs"},
    {"ReceiveCrcErrors", nullptr, "% wrong checksums"},
    {"MediumPresent", nullptr, "|no medium"},
    // how much
    {"CoreCount", "MaximumClock", "% x %"},
    {"CoreCount", "StartClock", "% x %"},
    {"CoreCount", nullptr, "% cores"},
    {"ThreadCount", nullptr, "% threads"},
    {"CurrentClock", nullptr, "%"},
    {"Size", nullptr, "%"},
    {"FilledMemorySlots", "MemorySlots", "% of % slots filled"},
    {"MemoryType", nullptr, "%"},
    {"ConfiguredSpeed", nullptr, "%"},
    {"Speed", nullptr, "%"},
    {"ErrorCorrection", nullptr, "error correction: %"},
    {"VideoMemory", nullptr, "% video memory"},
    {"PreferredMode", nullptr, "%"},
    {"Temperature", nullptr, "%"},
    {"FanSpeed", nullptr, "%"},
    {"Charge", nullptr, "charged to %"},
    {"Health", nullptr, "holds % of its design"},
    {"Voltage", nullptr, "%"},
    {"Power", nullptr, "%"},
    {"Current", nullptr, "%"},
    {"Energy", nullptr, "%"},
    {"Humidity", nullptr, "%"},
    {"SwitchState", nullptr, "%"},
    {"Online", nullptr, "online|offline"},
    {"PartnerConnected", nullptr, "plugged in|nothing plugged in"},
    {"RaidLevel", nullptr, "%"},
    {"RaidMembers", nullptr, "% members"},
    // how fast
    {"LinkDetected", nullptr, "|no link"},
    {"DataRate", nullptr, "%"},
    {"LinkSpeed", "LinkWidth", "% x%"},
    {"LinkSpeed", nullptr, "%"},
    {"UsbVersion", nullptr, "USB %"},
    {"Duplex", nullptr, "% duplex"},
    // by what and with what
    {"MountPoint", nullptr, "on %"},
    {"FileSystem", nullptr, "%"},
    {"Driver", nullptr, "%"},
    {"OperatingSystemName", nullptr, "%"},
    {"KernelRelease", nullptr, "kernel %"},
    {"Hypervisor", nullptr, "virtualized by %"},
    {"ChassisType", nullptr, "%"},
    {"FirmwareVersion", nullptr, "firmware %"},
    {"ReleaseDate", nullptr, "of %"},
};

bool isNothing(ValueImp const& value)
{
    if (auto const number = value.number())
        return number->nearestReal() == 0 && value.type() != DataTypeImp::NONDISCRETEMEASUREMENT() &&
               value.type() != DataTypeImp::PERCENT();
    return value.toString().empty();
}

class Sayer
{
public:
    Sayer(Device const& device, Device const* controller) : m_device(device), m_controller(controller) {}

    void say(Fact const& fact)
    {
        Property const* const first = find(fact.key);
        Property const* const second = fact.second ? find(fact.second) : nullptr;
        if (!first || (fact.second && !second) || m_said.size() == kMost)
            return;
        std::string said = fact.words;
        if (first->value.type() == DataTypeImp::BOOLEAN()) {
            std::size_t const bar = said.find('|');
            said = first->value.boolean() ? said.substr(0, bar) : said.substr(bar + 1);
        } else if (isNothing(first->value)) {
            return;
        } else {
            fill(said, {first, second});
            if (said.starts_with("1 ") && said.ends_with('s')) // "1 cores"
                said.pop_back();
        }
        m_used.insert(m_used.end(), {fact.key, fact.second ? fact.second : fact.key});
        // a module's speed and the speed it runs at are mostly the same
        if (!said.empty() && std::find(m_said.begin(), m_said.end(), said) == m_said.end())
            m_said.push_back(said);
    }
    /// What a summary of any kind of machine would hold, where nobody wrote a row.
    void sayProperty(Property const& property)
    {
        if (m_said.size() < kMost && !isNothing(property.value) &&
            !m_device.name.contains(property.value.toString()))
            m_said.push_back(harmless(property.name()) + ": " + harmless(property.value.toString()));
    }
    std::vector<std::string> m_said;

private:
    Property const* find(std::string_view key) const
    {
        if (std::find(m_used.begin(), m_used.end(), key) != m_used.end())
            return nullptr;
        String const wanted(key);
        Property const* const own = m_device.property(wanted);
        return own || !m_controller ? own : m_controller->property(wanted);
    }
    static void fill(std::string& words, std::initializer_list<Property const*> properties)
    {
        std::size_t at = 0;
        for (Property const* property : properties) {
            at = words.find('%', at);
            if (at == std::string::npos || !property)
                return;
            std::string const value = harmless(property->value.toString());
            words.replace(at, 1, value);
            at += value.size(); // a % in the value is the value's
        }
    }

    Device const& m_device;
    Device const* m_controller;
    std::vector<std::string_view> m_used;
};

} // namespace

std::string facts(Device const& device, Device const* controller)
{
    Sayer sayer(device, controller);
    if (!device.isFunctional())
        sayer.m_said.push_back("state " + harmless(device.state));
    for (Fact const& fact : kFacts)
        sayer.say(fact);
    if (sayer.m_said.empty())
        for (Property const& property : device.properties)
            if (property.spec->category().isCapable(PropertyCategoryImp::Summary()))
                sayer.sayProperty(property);
    std::string text;
    for (std::string const& one : sayer.m_said)
        text += (text.empty() ? "" : ", ") + one;
    return text;
}

std::string place(Device const& device)
{
    bool const isTyped = !device.osLocator.empty() && !device.osLocator.startsWith("/sys/") &&
                         !device.osLocator.startsWith("/proc/");
    String const& text = isTyped ? device.osLocator : device.hwLocator;
    return text == device.type.toString() ? std::string() : harmless(text); // "Memory" says nothing of Memory
}

} // namespace listing
