#pragma once
// Which devices and properties an inventory reports. docs/filter-file.md has the format of the file.

#include <zel/model/vocabulary/CapabilityImp.h>

#include <string_view>
#include <vector>

namespace zel {

/// Answers by rules, of which the first that matches decides; what none matches is included, so that without
/// rules everything is. One per process.
/// Thread rule: rules are set before devices are made; questions may come from any thread.
class ZEL_EXPORT SystemInformationFilter
{
public:
    static constexpr char kFileName[] = "SystemInformationFilter.xml";
    static constexpr std::size_t kMaxFileBytes = std::size_t{1} << 20;
    static constexpr std::size_t kMaxRules =
        1000; ///< every rule may be asked for every property of a machine

    static SystemInformationFilter& instance();

    /// Whether a rule about devices lets a device of that type in.
    bool includeDeviceType(CapabilityImp const& type) const;
    /// Whether a rule about properties lets the property of a device with these capabilities in.
    bool includeDeviceProperty(CapabilityImp const& deviceCapabilities, String const& propertyKey) const;

    enum class Result {
        Loaded = 0,
        Absent = 1,     ///< there is no file
        Unreadable = 2, ///< there is one that cannot be read, or that others could have written
        Malformed = 3   ///< there is one whose rules cannot be told
    };
    struct Load
    {
        Result result = Result::Absent;
        String file = String(kFileName); ///< path of the file that was found, else its name
        String reason = String(); ///< "./SystemInformationFilter.xml: belongs to ..."; empty unless it failed
        std::vector<String> warnings = std::vector<String>(); ///< words that no vocabulary has
    };
    /// Takes the rules of the file of that name beside the program, else in the working directory
    /// (moduleFolders()). Whatever does not load leaves no rules. Never throws for what is in the file.
    Load load();
    /// The same from a text; `file` is what messages name.
    Load parse(std::string_view xml, String const& file);

    /// Further rules, behind those that there are. `keyPattern`: a key, or the beginning of keys and "*".
    void addDeviceRule(bool includes, CapabilityImp const& capabilities);
    void addPropertyRule(bool includes, CapabilityImp const& capabilities, String const& keyPattern);
    void clear();

private:
    struct DeviceRule
    {
        bool includes;
        CapabilityImp capabilities;
        /// Whether something of these capabilities has at least one of the rule's.
        bool concerns(CapabilityImp const& those) const;
    };
    struct PropertyRule : DeviceRule
    {
        String key;
        bool isBeginning; // of keys
        bool names(String const& one) const { return isBeginning ? one.startsWith(key) : one == key; }
    };

    std::vector<DeviceRule> m_deviceRules;
    std::vector<PropertyRule> m_propertyRules;
};

} // namespace zel
