#pragma once
// Machine trees captured elsewhere, with facts about them that were not read by this code.

#include <zel/enumerator/records/DeviceRecords.h>
#include <zel/enumerator/root/Root.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel::test {

/// One captured tree: its root, what the enumerator finds in it, and the facts of its EXPECTED.txt.
class CapturedMachine
{
public:
    explicit CapturedMachine(std::string const& folder);

    std::string const& name() const { return m_name; }
    Root const& root() const { return *m_root; }
    std::vector<DeviceDescription> const& devices() const { return m_records.devices(); }
    std::vector<TableDamage> const& damages() const { return m_records.damages(); }
    std::vector<DeviceDescription const*> ofType(CapabilityImp const& type) const;
    DeviceDescription const* byOsLocator(std::string const& osLocator) const;
    DeviceDescription const* byLocation(CapabilityImp const& type, std::string const& hwLocator) const;

    /// Lines below "[section]".
    std::vector<std::string> const& section(std::string const& name) const;
    /// What stands behind "{key} = " in a section, without the quotes around it; nothing when the line is not
    /// there.
    std::optional<std::string> fact(std::string const& section, std::string_view key) const;
    /// The number in "ASSERT {number}" of a fact; nothing when the sources of the fact do not agree.
    std::optional<std::size_t> asserted(std::string const& section, std::string_view key) const;

private:
    std::string m_name;
    std::unique_ptr<Root> m_root;
    DeviceRecords m_records;
    std::map<std::string, std::vector<std::string>> m_sections;
};

/// Every captured machine, unpacked on first use into a folder that goes at the end of the process; empty
/// where the archive is not there.
std::vector<CapturedMachine> const& capturedMachines();
/// The one of that name. Throws std::runtime_error when there is none.
CapturedMachine const& machineCalled(std::string const& name);

/// "KEY=value" or KEY="value" in a line of words; '-' and None count as nothing.
std::optional<std::string> word(std::string const& line, std::string const& key, char quote = '"');

std::optional<ValueImp> propertyOf(DeviceDescription const* device, std::string_view key);
/// As text for people; "-" when the device does not carry it.
std::string propertyText(DeviceDescription const* device, std::string_view key);
/// Of a measurement that counts, in its unit (bytes, hertz).
std::optional<std::uint64_t> count(DeviceDescription const* device, char const* key);

} // namespace zel::test

/// In a test body: skips where there are no captured machines.
#define SKIP_WITHOUT_MACHINES()                                                                              \
    if (zel::test::capturedMachines().empty())                                                               \
    GTEST_SKIP() << "no captured machines: " << KREL5_FIXTURES << "/given.tar.xz is not there"
