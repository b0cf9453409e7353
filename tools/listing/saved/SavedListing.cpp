#include <listing/saved/SavedListing.h>

#include <listing/saved/JsonTree.h>
#include <listing/saved/SavedValue.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/FileSystem.h>
#include <zel/foundation/System.h>
#include <zel/model/vocabulary/DeviceStateImp.h>

#include <cerrno>
#include <cstdio>
#include <map>
#include <memory>
#include <tuple>
#include <unordered_map>

namespace listing {

using namespace zel;

namespace {

using Kind = JsonNode::Kind;

constexpr std::size_t kMostKeys = 10'000; // a machine has a few hundred; each costs a specification

class Reader
{
public:
    explicit Reader(std::string const& name) : m_name(name) {}

    Machine read(JsonNode const& top)
    {
        JsonNode const* devices =
            &top; // a list of devices and nothing else: the form before there was a head
        if (top.kind == Kind::Object) {
            readOrigin(top);
            readSpecifications(top);
            devices = &wanted(top, "devices", Kind::Array, "a list");
        } else if (top.kind != Kind::Array) {
            refuse(m_name, top.line, "no list of devices");
        }
        addDevices(*devices, Device::kNone);
        return std::move(m_machine);
    }

private:
    JsonNode const& wanted(JsonNode const& node, char const* key, Kind kind, char const* what) const
    {
        JsonNode const* const found = node.member(key);
        if (!found)
            refuse(m_name, node.line, std::string("\"") + key + "\" is missing");
        if (found->kind != kind)
            refuse(m_name, found->line, std::string("\"") + key + "\" is not " + what);
        return *found;
    }
    /// Empty when absent.
    String text(JsonNode const& node, char const* key) const
    {
        return node.member(key) ? String(wanted(node, key, Kind::Text, "a text").text) : String();
    }
    bool truth(JsonNode const& node, char const* key, bool standard) const
    {
        return node.member(key) ? wanted(node, key, Kind::Truth, "true or false").truth : standard;
    }
    std::vector<String> texts(JsonNode const& node, char const* key) const
    {
        std::vector<String> read;
        if (!node.member(key))
            return read;
        for (JsonNode const& one : wanted(node, key, Kind::Array, "a list").children) {
            if (one.kind != Kind::Text)
                refuse(m_name, one.line, std::string("an element of \"") + key + "\" is no text");
            read.emplace_back(one.text);
        }
        return read;
    }

    void readOrigin(JsonNode const& top)
    {
        JsonNode const* const format = top.member("format");
        if (!format || format->kind != Kind::Text || format->text != kSavedFormat)
            refuse(m_name, top.line,
                   std::string("no saved listing: \"format\" is not \"") + kSavedFormat + "\"");
        JsonNode const& version = wanted(top, "formatVersion", Kind::Unsigned, "a whole number");
        if (version.whole == 0 || version.whole > kSavedVersion)
            refuse(m_name, version.line,
                   "format version " + std::to_string(version.whole) + "; this program reads up to " +
                       std::to_string(kSavedVersion));
        Origin& origin = m_machine.origin;
        origin.program = text(top, "program");
        origin.version = text(top, "version");
        origin.date = text(top, "date");
        origin.isLive = truth(top, "live", true);
        origin.isMasked = truth(top, "masked", false);
        origin.classes = texts(top, "classes");
        origin.gaps = texts(top, "gaps");
    }

    // Only names and categories: the type stands with each value.
    void readSpecifications(JsonNode const& top)
    {
        if (!top.member("properties"))
            return;
        for (JsonNode const& one : wanted(top, "properties", Kind::Object, "an object").children) {
            if (one.kind != Kind::Object)
                refuse(m_name, one.line, "what describes \"" + one.key + "\" is no object");
            auto spec = std::make_shared<PropertySpecImp>(
                String(one.key), PropertyCategoryImp::getConstantByString(text(one, "categories")),
                DataTypeImp::STRING(), CapabilityImp::ALL());
            spec->setDefaultName(text(one, "name"));
            if (!m_specs.emplace(one.key, std::move(spec)).second)
                refuse(m_name, one.line, "\"" + one.key + "\" is described twice");
            checkKeys(one);
        }
    }

    std::shared_ptr<PropertySpecImp const> const& specOf(JsonNode const& node)
    {
        auto& spec = m_specs[node.key];
        if (!spec)
            spec = specificationOf(String(node.key));
        checkKeys(node);
        return spec;
    }
    void checkKeys(JsonNode const& node) const
    {
        if (m_specs.size() > kMostKeys)
            refuse(m_name, node.line, "more than " + std::to_string(kMostKeys) + " different properties");
    }

    void addDevices(JsonNode const& list, std::size_t parent)
    {
        for (JsonNode const& node : list.children) {
            if (node.kind != Kind::Object)
                refuse(m_name, node.line, "no device: not an object");
            std::size_t const index = m_machine.devices.size();
            m_machine.devices.push_back(deviceOf(node));
            Device& device = m_machine.devices.back();
            device.parent = parent;
            device.depth = parent == Device::kNone ? 0 : m_machine.devices[parent].depth + 1;
            auto const [first, isNew] =
                m_places.try_emplace({device.type.toString(), device.location(), device.guid}, node.line);
            if (!isNew)
                refuse(m_name, node.line,
                       "the device " + device.type.toString().toUtf8() + " at \"" +
                           device.location().toUtf8() + "\" stands twice; first on line " +
                           std::to_string(first->second));
            if (node.member("children"))
                addDevices(wanted(node, "children", Kind::Array, "a list"), index); // as deep as the limit
        }
    }

    Device deviceOf(JsonNode const& node)
    {
        Device device;
        JsonNode const& type = wanted(node, "type", Kind::Text, "a text");
        device.type = CapabilityImp(String(type.text));
        if (device.type.isEmpty())
            refuse(m_name, type.line, "\"type\" is empty");
        device.name = text(node, "name");
        device.description = text(node, "description");
        if (device.name.trimmed().empty()) // as the enumerator names those of modules
            device.name = device.description.trimmed().empty() ? device.type.toString() : device.description;
        device.hwLocator = text(node, "hwLocator");
        device.osLocator = text(node, "osLocator");
        device.busClass = CapabilityImp(text(node, "busClass"));
        device.guid = text(node, "guid");
        device.state = node.member("state") ? text(node, "state") : DeviceStateImp::FUNCTIONAL().toString();
        device.isPath = truth(node, "isPath", false);
        device.capabilities = device.type;
        for (String const& word : texts(node, "capabilities"))
            device.capabilities |= CapabilityImp(word);
        device.childBusIds = texts(node, "childBusIds");
        if (node.member("properties"))
            addProperties(wanted(node, "properties", Kind::Object, "an object"), device);
        return device;
    }

    void addProperties(JsonNode const& list, Device& device)
    {
        std::map<std::string_view, std::uint32_t> lines;
        for (JsonNode const& node : list.children) {
            if (!lines.try_emplace(node.key, node.line).second)
                refuse(m_name, node.line, "the property \"" + node.key + "\" stands twice");
            if (node.kind != Kind::Object)
                refuse(m_name, node.line, "the property \"" + node.key + "\" is no object");
            JsonNode const& type = wanted(node, "type", Kind::Text, "a text");
            JsonNode const* const value = node.member("value");
            if (!value)
                refuse(m_name, node.line, "the property \"" + node.key + "\" has no value");
            try {
                device.properties.push_back({specOf(node), valueOf(*value, type.text)});
            } catch (InvalidArgumentException const& error) {
                refuse(m_name, value->line,
                       "the property \"" + node.key + "\": " + error.getMessage().toUtf8());
            }
        }
    }

    std::string const& m_name;
    Machine m_machine;
    std::unordered_map<std::string, std::shared_ptr<PropertySpecImp const>> m_specs;
    std::map<std::tuple<String, String, String>, std::uint32_t> m_places; // type, location and guid; line
};

[[noreturn]] void throwReason(std::string const& path, std::string const& reason)
{
    throw ParseException(String((path == "-" ? "standard input" : path) + ": " + reason));
}

[[noreturn]] void throwTooLarge(std::string const& path, std::size_t limit)
{
    throwReason(path, "larger than " + std::to_string(limit >> 20) + " MiB");
}

} // namespace

Machine readSaved(std::string_view utf8, std::string const& name, SavedLimits const& limits)
{
    if (utf8.size() > limits.bytes)
        throwTooLarge(name, limits.bytes);
    JsonNode const top = parseJson(utf8, name, limits);
    return Reader(name).read(top);
}

namespace {

/// Standard input, and what the shell opened: "compare <(ssh host zel-devices --json)".
bool isOpenAlready(std::string const& path)
{
    return path == "-" || path.starts_with("/dev/fd/") || path.starts_with("/proc/self/fd/");
}

std::string readStream(std::string const& path, std::size_t limit)
{
    struct Close
    {
        void operator()(std::FILE* file) const
        {
            if (file != stdin)
                std::fclose(file);
        }
    };
    std::unique_ptr<std::FILE, Close> const file(path == "-" ? stdin : std::fopen(path.c_str(), "rbe"));
    if (!file)
        throwReason(path, System::errorText(errno).toUtf8());
    std::string bytes;
    char block[1 << 16];
    for (std::size_t count;
         bytes.size() <= limit && (count = std::fread(block, 1, sizeof block, file.get())) > 0;)
        bytes.append(block, count);
    if (std::ferror(file.get()))
        throwReason(path, System::errorText(errno).toUtf8());
    return bytes;
}

/// Whatever else stands there may never end, as a named pipe that nobody writes to never begins.
std::string readRegular(std::string const& path, std::size_t limit)
{
    auto read = FileSystem::readFile(path, limit);
    if (read.errorNumber == EINVAL)
        throwReason(path, "is no regular file; - is standard input");
    if (read.errorNumber == EFBIG)
        throwTooLarge(path, limit);
    if (!read.content)
        throwReason(path, read.reason().toUtf8());
    return std::move(*read.content);
}

} // namespace

std::string readBytes(std::string const& path, SavedLimits const& limits)
{
    std::string bytes =
        isOpenAlready(path) ? readStream(path, limits.bytes) : readRegular(path, limits.bytes);
    if (bytes.size() > limits.bytes)
        throwTooLarge(path, limits.bytes);
    return bytes;
}

} // namespace listing
