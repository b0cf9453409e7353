#include <listing/saved/Compare.h>

#include <listing/machine/Mask.h>

#include <map>
#include <optional>
#include <tuple>
#include <unordered_map>

namespace listing {

using namespace zel;

namespace {

// Which device of the other listing is the same one.
class Pairs
{
public:
    Pairs(Machine const& before, Machine const& after) : m_before(before), m_after(after)
    {
        m_afterOf.resize(before.devices.size(), Device::kNone);
        m_isTaken.resize(after.devices.size());
        pair([](Device const& device) {
            return std::optional(Key(device.type.toString(), device.location()));
        });
        pair(serialOf);
        pair([](Device const& device) { // several without a place, or in one
            return device.guid.empty() ? std::nullopt
                                       : std::optional(Key(device.type.toString(), device.guid));
        });
    }
    std::size_t afterOf(std::size_t before) const { return m_afterOf[before]; }
    bool isTaken(std::size_t after) const { return m_isTaken[after]; }

private:
    using Key = std::tuple<String, String>;

    static std::optional<Key> serialOf(Device const& device)
    {
        Property const* const serial = device.property("SerialNumber");
        Property const* const model = device.property("Model");
        if (!serial || serial->value.toString().empty())
            return std::nullopt;
        return Key(device.type.toString(),
                   serial->value.toString() + "\n" + (model ? model->value.toString() : String()));
    }

    // Those of what is left that one device on either side has the key of.
    template <typename KeyOf>
    void pair(KeyOf keyOf)
    {
        struct Places
        {
            std::vector<std::size_t> before, after;
        };
        std::map<Key, Places> places;
        for (std::size_t i = 0; i < m_before.devices.size(); ++i)
            if (auto const key = m_afterOf[i] == Device::kNone ? keyOf(m_before.devices[i]) : std::nullopt)
                places[*key].before.push_back(i);
        for (std::size_t i = 0; i < m_after.devices.size(); ++i)
            if (auto const key = m_isTaken[i] ? std::nullopt : keyOf(m_after.devices[i]))
                places[*key].after.push_back(i);
        for (auto const& [key, place] : places)
            if (place.before.size() == 1 && place.after.size() == 1) {
                m_afterOf[place.before[0]] = place.after[0];
                m_isTaken[place.after[0]] = true;
            }
    }

    Machine const& m_before;
    Machine const& m_after;
    std::vector<std::size_t> m_afterOf;
    std::vector<bool> m_isTaken;
};

bool isText(ValueImp const& value)
{
    return value.type() == DataTypeImp::STRING() || value.type() == DataTypeImp::LOCALIZEDSTRING();
}

bool isSame(ValueImp const& a, ValueImp const& b)
{
    if (a.type() == DataTypeImp::NONDISCRETEMEASUREMENT() && b.type() == a.type()) {
        auto const& x = a.nonDiscreteMeasurement();
        auto const& y = b.nonDiscreteMeasurement(); // how many decimals are worth showing is no difference
        return x.unitType() == y.unitType() &&
               x.value(UnitMagnitude::BASEUNIT()) == y.value(UnitMagnitude::BASEUNIT());
    }
    return isText(a) && isText(b) ? a.toString() == b.toString() : a == b;
}

// Properties of a device by key; a machine's devices have a few dozen, a hostile file's may have a million.
class ByKey
{
public:
    explicit ByKey(Device const& device)
    {
        for (Property const& property : device.properties)
            m_properties.emplace(property.key(), &property);
    }
    Property const* find(String const& key) const
    {
        auto const found = m_properties.find(key);
        return found == m_properties.end() ? nullptr : found->second;
    }

private:
    std::unordered_map<String, Property const*> m_properties;
};

class Comparer
{
public:
    Comparer(Machine const& before, Machine const& after, bool all)
        : m_before(before), m_after(after), m_pairs(before, after), m_all(all),
          m_areMasked(before.origin.isMasked || after.origin.isMasked)
    {}

    Comparison compare()
    {
        for (std::size_t i = 0; i < m_before.devices.size(); ++i)
            if (m_pairs.afterOf(i) != Device::kNone)
                compareDevices(i, m_pairs.afterOf(i));
            else if (!m_before.devices[i].isPath)
                m_result.removed.push_back(&m_before.devices[i]);
        for (std::size_t i = 0; i < m_after.devices.size(); ++i)
            if (!m_pairs.isTaken(i) && !m_after.devices[i].isPath)
                m_result.added.push_back(&m_after.devices[i]);
        return std::move(m_result);
    }

private:
    void compareDevices(std::size_t beforeIndex, std::size_t afterIndex)
    {
        Device const& before = m_before.devices[beforeIndex];
        Device const& after = m_after.devices[afterIndex];
        if (before.isPath || after.isPath)
            return;
        ChangedDevice changed{&before, &after, {}};
        auto const texts = [&](char const* name, String const& a, String const& b) {
            if (a != b)
                changed.changes.push_back({name, {}, nullptr, nullptr, a, b});
        };
        texts("State", before.state, after.state);
        texts("Name", before.name, after.name);
        texts("Description", before.description, after.description);
        texts("Place", before.hwLocator, after.hwLocator);
        texts("Capabilities", before.capabilities.toString(), after.capabilities.toString());
        if (hasMoved(before, after))
            texts("Below", parentOf(m_before, before), parentOf(m_after, after));
        if (m_all)
            texts("Name in the system", before.osLocator, after.osLocator);
        compareProperties(before, after, changed);
        if (!changed.changes.empty())
            m_result.changed.push_back(std::move(changed));
    }

    // Below another device, where that is no longer the same: when the parent has another name, it is the parent
    // that changed.
    bool hasMoved(Device const& before, Device const& after) const
    {
        if (before.parent == Device::kNone || after.parent == Device::kNone)
            return before.parent != after.parent;
        return m_pairs.afterOf(before.parent) != after.parent;
    }
    static String parentOf(Machine const& machine, Device const& device)
    {
        if (device.parent == Device::kNone)
            return "nothing";
        Device const& parent = machine.devices[device.parent];
        return parent.name + " (" + parent.location() + ")";
    }

    void compareProperties(Device const& before, Device const& after, ChangedDevice& changed)
    {
        ByKey const mine(before), theirs(after);
        for (Property const& property : before.properties)
            compare(&property, theirs.find(property.key()), changed);
        for (Property const& property : after.properties)
            if (!mine.find(property.key()))
                compare(nullptr, &property, changed);
    }

    void compare(Property const* before, Property const* after, ChangedDevice& changed)
    {
        Property const& any = after ? *after : *before;
        bool const isMasked = m_areMasked && any.isIdentifying();
        if (before && after && isMasked)
            m_result.leftOutIdentifying = true;
        if (before && after && (isMasked || isSame(before->value, after->value)))
            return;
        bool const isVolatile = any.isVolatile() || (before && before->isVolatile());
        if (isVolatile && !m_all) {
            m_result.leftOutVolatile = true;
            return;
        }
        changed.changes.push_back({any.name(),
                                   any.key(),
                                   before ? &before->value : nullptr,
                                   after ? &after->value : nullptr,
                                   {},
                                   {}});
    }

    Machine const& m_before;
    Machine const& m_after;
    Pairs m_pairs;
    bool m_all, m_areMasked;
    Comparison m_result;
};

std::vector<CapabilityImp> classesOf(Machine const& machine)
{
    std::vector<CapabilityImp> classes;
    for (String const& word : machine.origin.classes)
        classes.emplace_back(word);
    return classes;
}

} // namespace

void align(Machine& before, Machine& after)
{
    if (before.origin.isMasked != after.origin.isMasked)
        Mask().apply(before.origin.isMasked ? after : before);
    std::vector<CapabilityImp> const classes = classesOf(before);
    selectClasses(before, classesOf(after));
    selectClasses(after, classes);
}

Comparison compare(Machine const& before, Machine const& after, bool all)
{
    return Comparer(before, after, all).compare();
}

} // namespace listing
