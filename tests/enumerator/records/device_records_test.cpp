#include <zel/enumerator/Enumerator.h>
#include <zel/enumerator/records/DeviceRecords.h>
#include <zel/enumerator/records/Properties.h>
#include <zel/foundation/Exception.h>
#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <set>

using namespace zel;

namespace {

using C = CapabilityImp;

DeviceDescription device(C const& type, char const* location)
{
    DeviceDescription description;
    description.type = type;
    description.name = location;
    description.hwLocator = location;
    return description;
}

DeviceDescription below(DeviceDescription description, C const& type, char const* location)
{
    description.parentType = type;
    description.parentLocator = location;
    return description;
}

} // namespace

TEST(Enumerator, CompletesAStateWithoutTakingBackWhatItKnows)
{
    auto const size = std::make_shared<PropertySpecImp>("Size", PropertyCategoryImp::SysInfo(),
                                                        DataTypeImp::UINT32(), C::ALL());
    auto const make = [&](char const* location, unsigned value) {
        auto made =
            DeviceImp::createGeneric(C::HardDrive(), C::HardDrive(), location, "", "", location, C("SATA"));
        PropertyImp const property(size, ValueImp(value));
        made->addProperty(&property);
        return made;
    };
    StateManager& found = ModuleManager::getInstance().getStateManager();
    found.clear();
    found.addDevice(make("a", 1), nullptr);
    DeviceImp const& other = found.addDevice(make("b", 1), nullptr);
    StateManager state;
    DeviceImp const& mine = state.addDevice(make("a", 2), nullptr);
    state.takeChanges();
    Enumerator::instance().buildStateManager(state);
    EXPECT_EQ(state.takeChanges().size(), 1u) << "one device is new, nothing else changed";
    EXPECT_EQ(mine.property("Size")->value().uint32(), 2u);
    EXPECT_TRUE(state.matchingDevice(other));
    found.clear();
}

TEST(Properties, RowsAreSound)
{
    std::set<std::string> keys;
    for (PropertyRow const& row : propertyRows()) {
        EXPECT_TRUE(keys.insert(std::string(row.key)).second) << row.key << " stands twice";
        EXPECT_EQ(std::string(row.key).find_first_of(" \t="), std::string::npos) << row.key;
        EXPECT_FALSE(row.category().isEmpty()) << row.key;
        EXPECT_NE(std::string(row.name), "") << row.key;
        EXPECT_EQ(findProperty(std::string(row.key)), &row);
    }
    EXPECT_EQ(findProperty("NoSuchProperty"), nullptr);
    for (PropertyGroupRow const& group : propertyGroups())
        EXPECT_TRUE(keys.insert(std::string(group.key)).second)
            << "a group and a property are called " << group.key;
    EXPECT_TRUE(findProperty("Size")->category().isCapable(PropertyCategoryImp::RequiredForEnumeration()));
}

// Two listings of one machine are compared without what changes by itself, and given away without what names the machine.
TEST(Properties, WhatChangesAndWhatNamesTheMachineIsMarked)
{
    using Group = PropertyGroup;
    std::set<Group> const fixed{Group::Capacity, Group::Limits, Group::Firmware, Group::Software};
    std::set<std::string> identifying;
    for (PropertyRow const& row : propertyRows()) {
        PropertyCategoryImp const category = row.category();
        bool const changes = category.isCapable(PropertyCategoryImp::Volatile());
        bool const isCounter = row.group == Group::Condition && row.type() == DataTypeImp::UINT64();
        EXPECT_TRUE(changes || !(row.group == Group::Readings || isCounter)) << row.key;
        EXPECT_FALSE(changes && fixed.count(row.group) != 0) << row.key;
        if (category.isCapable(PropertyCategoryImp::SecurityInfo()))
            identifying.insert(std::string(row.key));
    }
    for (char const* const key :
         {"Online", "LinkSpeed", "LinkWidth", "DataRate", "LinkDetected", "OperationalState", "MountPoint",
          "FileSystemUsed", "Ipv4Addresses", "MemberStates", "Status"})
        EXPECT_TRUE(findProperty(key)->category().isCapable(PropertyCategoryImp::Volatile())) << key;
    for (char const* const key :
         {"Model", "SerialNumber", "MacAddress", "Present", "Health", "MaximumLinkSpeed", "Driver"})
        EXPECT_FALSE(findProperty(key)->category().isCapable(PropertyCategoryImp::Volatile())) << key;
    EXPECT_EQ(identifying,
              (std::set<std::string>{"AssetTag", "FileSystemUuid", "FirmwareTables", "HostName",
                                     "Ipv4Addresses", "Ipv6Addresses", "MacAddress", "PartitionUuid",
                                     "PermanentMacAddress", "SerialNumber", "Uuid", "WorldWideId"}));
}

TEST(DeviceRecords, ParentsComeBeforeChildren)
{
    DeviceRecords records(C::ALL());
    records.add(below(device(C::CPUThread(), "CPU:0:THREAD:0"), C::CPUCore(), "CPU:0:CORE:0"));
    records.add(below(device(C::CPUCore(), "CPU:0:CORE:0"), C::CPU(), "CPU:0"));
    records.add(device(C::CPU(), "CPU:0"));
    records.add(below(device(C::Fan(), "orphan"), C::System(), "System"));
    StateManager state;
    records.fill(state);
    ASSERT_EQ(state.deviceCount(), 4u);
    auto const find = [&state](char const* location) -> DeviceImp& {
        for (std::size_t i = 0; i < state.deviceCount(); ++i)
            if (state.deviceAtIndex(i)->hwLocator() == String(location))
                return *state.deviceAtIndex(i);
        throw NullPointerException(location);
    };
    EXPECT_EQ(state.parentOf(find("CPU:0:THREAD:0")), &find("CPU:0:CORE:0"));
    EXPECT_EQ(state.parentOf(find("CPU:0:CORE:0")), &find("CPU:0"));
    EXPECT_EQ(state.parentOf(find("orphan")), nullptr);
    records.fill(state);
    EXPECT_EQ(state.deviceCount(), 4u) << "the same devices again are the same devices";
    StateManager other;
    DeviceRecords parent(C::ALL());
    parent.add(device(C::CPU(), "CPU:0"));
    parent.fill(other);
    records.fill(other);
    EXPECT_EQ(other.deviceCount(), 4u) << "those below a device that is known";
}

TEST(DeviceRecords, EachOthersParentsEnd)
{
    DeviceRecords records(C::ALL());
    records.add(below(device(C::CPU(), "a"), C::CPU(), "b"));
    records.add(below(device(C::CPU(), "b"), C::CPU(), "a"));
    records.add(below(device(C::CPU(), "self"), C::CPU(), "self"));
    StateManager state;
    records.fill(state);
    EXPECT_EQ(state.deviceCount(), 3u);
}

TEST(DeviceRecords, WantedAreKeptAndDoublesLeftOut)
{
    DeviceRecords records(C::HT() | C::Memory());
    DeviceDescription processor = device(C::CPU(), "CPU:0");
    processor.capabilities = C::HT();
    records.add(processor);
    records.add(device(C::CPU(), "CPU:1"));
    records.add(device(C::Memory(), "Memory"));
    records.add(device(C::Memory(), "Memory"));
    EXPECT_EQ(records.count(), 2u);
}

TEST(DeviceRecords, PropertiesAreChecked)
{
    DeviceRecords records(C::ALL());
    auto const with = [](char const* key, ValueImp value) {
        DeviceDescription description = device(C::Memory(), "Memory");
        description.properties.emplace_back(key, std::move(value));
        return description;
    };
    EXPECT_THROW(records.add(with("NoSuchProperty", ValueImp(1u))), InvalidArgumentException);
    EXPECT_THROW(records.add(with("SerialNumber", ValueImp(1u))), InvalidArgumentException);
    DeviceDescription twice = with("SerialNumber", ValueImp("1"));
    twice.properties.emplace_back("SerialNumber", ValueImp("2"));
    EXPECT_THROW(records.add(twice), InvalidArgumentException);
    EXPECT_EQ(records.count(), 0u);

    DeviceDescription good = with("SerialNumber", ValueImp("S1"));
    good.properties.emplace_back("Model", ValueImp(String(std::string(4000, 'q')))); // a page of noise
    good.osLocator = "/proc/meminfo";
    good.description = "System memory";
    good.childBusIds = {"PCI:2"};
    good.busClass = C(String("MEM"));
    records.add(good);
    StateManager state;
    records.fill(state);
    DeviceImp const& record = *state.deviceAtIndex(0);
    EXPECT_EQ(record.property("SerialNumber")->value().string().toUtf8(), "S1");
    EXPECT_EQ(record.property("Model"), nullptr);
    EXPECT_TRUE(record.property("SerialNumber")->category().isCapable(PropertyCategoryImp::FRU()));
    EXPECT_EQ(record.property("SerialNumber")->spec()->defaultName().toUtf8(), "Serial number");
    EXPECT_EQ(record.osLocator().toUtf8(), "/proc/meminfo");
    EXPECT_EQ(record.description().toUtf8(), "System memory");
    EXPECT_EQ(record.busClass().toString().toUtf8(), "MEM");
    EXPECT_EQ(record.childBusIds().size(), 1u);
    EXPECT_TRUE(record.deviceCapabilities().isCapable(C::Memory()));
    EXPECT_EQ(state.propertySpecCount(), 1u);
}
