#include <listing/forms/Columns.h>
#include <listing/forms/Facts.h>
#include <listing/forms/Listing.h>
#include <listing/saved/Compare.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

namespace listing {

using namespace zel;

namespace {

std::string titleOf(Device const& device)
{
    std::string title = harmless(device.name) + "  [" + harmless(device.type.toString()) + "]";
    for (std::string const& where : {harmless(device.hwLocator), harmless(device.osLocator)})
        if (!where.empty() && title.find("  " + where) == std::string::npos)
            title += "  " + where;
    return title;
}

std::string originOf(Machine const& machine, std::string const& source)
{
    std::string text = harmless(source);
    for (String const& part : {machine.name(), machine.hostName(), machine.origin.date})
        if (!part.empty())
            text += ", " + harmless(part);
    return text + (machine.origin.isMasked ? ", masked" : "") + "\n";
}

// Two values may read alike and yet differ, in bytes that the unit "GiB" hides.
std::string exactly(ValueImp const& value)
{
    if (value.type() == DataTypeImp::DISCRETEMEASUREMENT())
        return value.discreteMeasurement().toString(UnitMagnitude::BASEUNIT()).toUtf8();
    if (value.type() == DataTypeImp::NONDISCRETEMEASUREMENT()) {
        auto const& reading = value.nonDiscreteMeasurement();
        return (String::number(reading.value(UnitMagnitude::BASEUNIT())) + " " +
                reading.unitType().toString())
            .toUtf8();
    }
    return harmless(value.toString() + " (" + value.type().toString() + ")");
}

std::string quoted(std::string const& text) { return text.empty() ? "nothing" : text; }

std::string joined(std::vector<String> const& texts)
{
    std::string all;
    for (String const& text : texts)
        all += (all.empty() ? "" : ", ") + harmless(text);
    return all;
}

// Of a long list a person wants to know what came and what went.
std::string ofLists(std::vector<String> before, std::vector<String> after)
{
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    std::vector<String> gone, come;
    std::set_difference(before.begin(), before.end(), after.begin(), after.end(), std::back_inserter(gone));
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(come));
    if (gone.empty() && come.empty())
        return "in another order";
    std::string const losses = gone.empty() ? "" : "no longer " + joined(gone);
    std::string const gains = come.empty() ? "" : "now " + joined(come);
    return losses + (gone.empty() || come.empty() ? "" : "; ") + gains;
}

std::string ofValues(Change const& change)
{
    if (!change.before && !change.after)
        return quoted(harmless(change.beforeText)) + " -> " + quoted(harmless(change.afterText));
    if (!change.before)
        return "now " + quoted(harmless(change.after->toString()));
    if (!change.after)
        return "no longer " + quoted(harmless(change.before->toString()));
    if (change.before->type() == DataTypeImp::STRINGARRAY() && change.after->type() == change.before->type())
        return ofLists(change.before->stringArray(), change.after->stringArray());
    std::string const before = harmless(change.before->toString()),
                      after = harmless(change.after->toString());
    if (before == after)
        return exactly(*change.before) + " -> " + exactly(*change.after);
    return quoted(before) + " -> " + quoted(after);
}

std::string lineOf(Change const& change)
{
    std::string line = "      " + harmless(change.name);
    if (!change.key.empty() && change.key != change.name)
        line += " (" + harmless(change.key) + ")";
    return wrapped(line + ": " + ofValues(change), 10);
}

// With those below another one of the list indented below it.
void addDevices(char const* heading, Machine const& machine, std::vector<Device const*> const& devices,
                std::string& out)
{
    if (devices.empty())
        return;
    out += std::string("\n") + heading + "\n";
    std::map<Device const*, std::size_t> depths;
    for (Device const* device : devices) {
        auto const parent =
            device->parent == Device::kNone ? depths.end() : depths.find(&machine.devices[device->parent]);
        std::size_t const depth = parent == depths.end() ? 1 : parent->second + 1;
        depths[device] = depth;
        std::string const what = facts(*device, nullptr);
        out += std::string(2 * depth, ' ') + titleOf(*device) + (what.empty() ? "" : ": " + what) + "\n";
    }
}

void addCount(std::size_t count, char const* word, std::string& out)
{
    if (count > 0)
        out += (out.empty() ? "" : ", ") + std::to_string(count) + " " + word;
}

void addGaps(Machine const& machine, std::string const& name, std::string& out)
{
    for (String const& gap : machine.origin.gaps)
        out += "Note: " + harmless(name) + ": " + harmless(gap) + "\n";
}

} // namespace

std::string text(Comparison const& comparison, Machine const& before, std::string const& beforeName,
                 Machine const& after, std::string const& afterName)
{
    std::string out = "Before: " + originOf(before, beforeName) + "After:  " + originOf(after, afterName);
    addDevices("Removed", before, comparison.removed, out);
    addDevices("Added", after, comparison.added, out);
    if (!comparison.changed.empty())
        out += "\nChanged\n";
    for (ChangedDevice const& changed : comparison.changed) {
        out += "  " + titleOf(*changed.after) + "\n";
        for (Change const& change : changed.changes)
            out += lineOf(change);
    }
    std::string counts;
    addCount(comparison.removed.size(), "removed", counts);
    addCount(comparison.added.size(), "added", counts);
    addCount(comparison.changed.size(), "changed", counts);
    out += "\n" + (counts.empty() ? "No differences." : "Devices: " + counts + ".") + "\n";
    if (comparison.leftOutVolatile)
        out += "Note: readings that change by themselves differ; --all shows them.\n";
    if (comparison.leftOutIdentifying)
        out += "Note: serial numbers, addresses and the like are masked and were not compared.\n";
    addGaps(before, beforeName, out);
    addGaps(after, afterName, out);
    return out;
}

} // namespace listing
