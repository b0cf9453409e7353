#include <zel/model/devices/SystemInformationFilter.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/XmlDocument.h>
#include <zel/model/texts/ModuleFolders.h>

#include <algorithm>
#include <optional>

namespace zel {
namespace {

constexpr char kRootName[] = "SystemInformationFilter";
constexpr char kVersion[] = "1";
constexpr unsigned kDepth = 2;

// Types that a device's own module made up are words of no vocabulary, and so are slips of the finger.
void warnOfUnknownWords(String const& capabilities, std::vector<String>& warnings)
{
    for (String const& part : capabilities.split(','))
        if (String const word = part.trimmed(); CapabilityImp::table().find(word) == VocabularyTable::kNone)
            if (String const warning = String("the filter names \"") + word.withoutControls(false) +
                                       "\", which is none of the known capabilities";
                std::find(warnings.begin(), warnings.end(), warning) == warnings.end())
                warnings.push_back(warning);
}

} // namespace

/// Reads the rules of one file; throws ParseException for whatever is not as it should be.
class FilterFileReader
{
public:
    FilterFileReader(SystemInformationFilter& filter, std::vector<String>& warnings)
        : m_filter(filter), m_warnings(warnings)
    {}

    void read(std::string_view xml)
    {
        XmlDocument::Limits const limits{SystemInformationFilter::kMaxFileBytes, kDepth,
                                         SystemInformationFilter::kMaxRules + 1};
        XmlElement const root = XmlDocument::parse(xml, limits);
        if (root.name != kRootName)
            refuse(String("expecting <") + kRootName + ">, not <" + String(root.name) + ">");
        checkAttributes(root, {"version"});
        auto const version = attribute(root, "version");
        if (version != String(kVersion))
            refuse(String("expecting version \"") + kVersion + "\"");
        checkText(root);
        for (XmlElement const& rule : root.children)
            readRule(rule);
    }

private:
    [[noreturn]] static void refuse(String const& reason) { throw ParseException(reason); }

    static std::optional<String> attribute(XmlElement const& element, char const* name)
    {
        std::string const* const value = element.attribute(name);
        return value ? std::optional(String(*value).trimmed()) : std::nullopt;
    }

    static void checkAttributes(XmlElement const& element, std::initializer_list<std::string_view> known)
    {
        for (auto const& one : element.attributes)
            if (std::find(known.begin(), known.end(), one.first) == known.end())
                refuse(String("<") + String(element.name) + "> has no attribute \"" + String(one.first) +
                       "\"");
            else if (element.attribute(one.first) != &one.second)
                refuse(String("\"") + String(one.first) + "\" stands twice in one rule");
    }

    static void checkText(XmlElement const& element)
    {
        if (!element.text.empty())
            refuse(String("text inside <") + String(element.name) + ">: \"" + String(element.text) + "\"");
    }

    void readRule(XmlElement const& rule)
    {
        bool const includes = rule.name == "include";
        if (!includes && rule.name != "exclude")
            refuse(String("a rule is <include/> or <exclude/>, not <") + String(rule.name) + ">");
        checkAttributes(rule, {"capability", "property"});
        checkText(rule);
        auto const words = attribute(rule, "capability");
        auto const key = attribute(rule, "property");
        if (!words && !key)
            refuse("a rule names a capability, a property, or both");
        CapabilityImp const capabilities = words ? CapabilityImp(*words) : CapabilityImp::ALL();
        if (capabilities.isEmpty() || (key && key->empty()))
            refuse("a rule with an empty name");
        if (words)
            warnOfUnknownWords(*words, m_warnings);
        if (key)
            m_filter.addPropertyRule(includes, capabilities, *key);
        else
            m_filter.addDeviceRule(includes, capabilities);
    }

    SystemInformationFilter& m_filter;
    std::vector<String>& m_warnings;
};

SystemInformationFilter& SystemInformationFilter::instance()
{
    static SystemInformationFilter* const s_instance = new SystemInformationFilter();
    return *s_instance;
}

bool SystemInformationFilter::includeDeviceType(CapabilityImp const& type) const
{
    for (DeviceRule const& rule : m_deviceRules)
        if (rule.concerns(type))
            return rule.includes;
    return true;
}

bool SystemInformationFilter::includeDeviceProperty(CapabilityImp const& deviceCapabilities,
                                                    String const& propertyKey) const
{
    for (PropertyRule const& rule : m_propertyRules)
        if (rule.names(propertyKey) && rule.concerns(deviceCapabilities))
            return rule.includes;
    return true;
}

SystemInformationFilter::Load SystemInformationFilter::load()
{
    clear();
    for (ModuleFolder const& folder : moduleFolders()) {
        std::string const path = folder.path + "/" + kFileName;
        auto const read = FileSystem::readFile(path, kMaxFileBytes, folder.writers);
        if (read.content)
            return parse(*read.content, String(path));
        if (read.absent() && !FileSystem::exists(path)) // a link to nothing was meant to be a file
            continue;
        return {Result::Unreadable, String(path), String(path) + ": " + read.reason()};
    }
    return {};
}

SystemInformationFilter::Load SystemInformationFilter::parse(std::string_view xml, String const& file)
{
    clear();
    Load load{Result::Loaded, file};
    try {
        FilterFileReader(*this, load.warnings).read(xml);
        return load;
    } catch (ParseException const& e) {
        clear();
        return {Result::Malformed, file, file + ": " + e.getMessage()};
    }
}

// All of them are also those of something that has none.
bool SystemInformationFilter::DeviceRule::concerns(CapabilityImp const& those) const
{
    return capabilities.isAll() || capabilities.intersects(those);
}

void SystemInformationFilter::addDeviceRule(bool includes, CapabilityImp const& capabilities)
{
    m_deviceRules.push_back({includes, capabilities});
}

void SystemInformationFilter::addPropertyRule(bool includes, CapabilityImp const& capabilities,
                                              String const& keyPattern)
{
    bool const isBeginning = keyPattern.endsWith("*");
    String const key = isBeginning ? keyPattern.substr(0, keyPattern.size() - 1) : keyPattern;
    m_propertyRules.push_back({{includes, capabilities}, key, isBeginning});
}

void SystemInformationFilter::clear()
{
    m_deviceRules.clear();
    m_propertyRules.clear();
}

} // namespace zel
