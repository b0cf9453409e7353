#include "../HardwareMachine.h"

#include <zel/enumerator/sensors/discover.h>

#include <gtest/gtest.h>

#include <limits>

using namespace zel;
using namespace zel::test;

namespace {

using C = CapabilityImp;

RecordingSink discovered(void (*discover)(Root const&, DeviceSink&), Root const& root)
{
    RecordingSink sink;
    discover(root, sink);
    return sink;
}

RecordingSink discovered(void (*discover)(HardwareTree&, DeviceSink&), Root const& root)
{
    RecordingSink sink;
    HardwareTree tree(root, HardwareNames::none());
    discover(tree, sink);
    return sink;
}

std::string fact(RecordingSink const& sink, char const* location, char const* key)
{
    return RecordingSink::property(sink.at(location), key);
}

/// In which a property of that key is measured.
UnitType unitOf(std::string_view key)
{
    struct
    {
        char const* end;
        UnitType const& unit;
    } const units[] = {{"Temperature", UnitType::CELSIUS()}, {"Voltage", UnitType::VOLTS()},
                       {"Current", UnitType::AMPS()},        {"Power", UnitType::WATTS()},
                       {"PowerLimit", UnitType::WATTS()},    {"Energy", UnitType::WATTHOURS()},
                       {"Capacity", UnitType::WATTHOURS()}};
    for (auto const& one : units)
        if (key.ends_with(one.end))
            return one.unit;
    return UnitType::NOUNIT();
}

/// A measurement in the plain unit of its kind; NaN when the device does not carry it, or in another unit.
double measured(RecordingSink const& sink, char const* location, std::string_view key)
{
    if (DeviceDescription const* const device = sink.at(location))
        for (auto const& [name, value] : device->properties)
            if (name == key && value.nonDiscreteMeasurement().unitType() == unitOf(key))
                return value.nonDiscreteMeasurement().value(UnitMagnitude::BASEUNIT());
    return std::numeric_limits<double>::quiet_NaN();
}

struct Measured
{
    char const* location;
    char const* key;
    double value;
};

} // namespace

TEST(Sensors, ReadingsLimitsAndSentinels)
{
    MemoryRoot root;
    root.files("sys/class/hwmon/hwmon0", {{"name", "nvme\n"},
                                          {"temp1_input", "32850\n"},
                                          {"temp1_label", "Composite\n"},
                                          {"temp1_min", "-273150\n"},
                                          {"temp1_crit", "84850\n"},
                                          {"temp2_input", "-12500\n"},
                                          {"temp2_max", "65261850\n"},
                                          {"in0_input", "975\n"},
                                          {"fan1_input", "0\n"},
                                          {"fan1_max", "3200\n"},
                                          {"fan1_input_extra", "1\n"},
                                          {"tempx_input", "1\n"}});
    root.link("sys/class/hwmon/hwmon0/device", "../../nvme0");
    RecordingSink const sink = discovered(&discoverSensors, root);
    ASSERT_EQ(sink.devices.size(), 4u);
    EXPECT_EQ(sink.at("HWMON:nvme:nvme0:temp1")->name.toUtf8(), "Drive nvme0 Composite");
    EXPECT_EQ(sink.at("HWMON:nvme:nvme0:temp2")->name.toUtf8(), "Drive nvme0 temperature 2");
    EXPECT_EQ(fact(sink, "HWMON:nvme:nvme0:temp1", "MinimumTemperature"), "-") << "absolute zero is no limit";
    EXPECT_EQ(fact(sink, "HWMON:nvme:nvme0:temp2", "MaximumTemperature"), "-")
        << "65261 degrees are no limit";
    for (Measured const& m : {Measured{"HWMON:nvme:nvme0:temp1", "Temperature", 32.85},
                              Measured{"HWMON:nvme:nvme0:temp1", "CriticalTemperature", 84.85},
                              Measured{"HWMON:nvme:nvme0:temp2", "Temperature", -12.5},
                              Measured{"HWMON:nvme:nvme0:in0", "Voltage", 0.975}})
        EXPECT_DOUBLE_EQ(measured(sink, m.location, m.key), m.value) << m.location << " " << m.key;
    EXPECT_EQ(fact(sink, "HWMON:nvme:nvme0:fan1", "MaximumFanSpeed").substr(0, 4), "3200");
    EXPECT_TRUE(sink.at("HWMON:nvme:nvme0:fan1")->state == DeviceStateImp::FUNCTIONAL()) << "a fan may stand";
}

TEST(Sensors, ARangeOfNothingIsNoLimit)
{
    MemoryRoot root;
    root.files("sys/class/hwmon/hwmon0", {{"name", "nct6775\n"},
                                          {"in0_input", "975\n"},
                                          {"in0_min", "0\n"},
                                          {"in0_max", "0\n"},
                                          {"in1_input", "1000\n"},
                                          {"in1_min", "0\n"},
                                          {"in1_max", "1744\n"},
                                          {"temp1_input", "30000\n"},
                                          {"temp1_min", "0\n"},
                                          {"temp1_max", "0\n"},
                                          {"fan1_input", "800\n"},
                                          {"fan1_min", "0\n"},
                                          {"fan1_max", "0\n"}});
    RecordingSink const sink = discovered(&discoverSensors, root);
    for (auto const& [location, key] : {std::pair{"HWMON:nct6775:hwmon0:in0", "Voltage"},
                                        std::pair{"HWMON:nct6775:hwmon0:temp1", "Temperature"},
                                        std::pair{"HWMON:nct6775:hwmon0:fan1", "FanSpeed"}})
        for (std::string const end : {"Minimum", "Maximum"})
            EXPECT_EQ(fact(sink, location, (end + key).c_str()), "-") << location;
    EXPECT_EQ(measured(sink, "HWMON:nct6775:hwmon0:in1", "MinimumVoltage"), 0);
    EXPECT_EQ(measured(sink, "HWMON:nct6775:hwmon0:in1", "MaximumVoltage"), 1.744);
}

TEST(Sensors, PowerCurrentEnergyAndHumidity)
{
    MemoryRoot root;
    root.files("sys/class/hwmon/hwmon0", {{"name", "chip\n"},
                                          {"power1_average", "35021000\n"},
                                          {"power1_cap", "185000000\n"},
                                          {"power1_crit", "0\n"},
                                          {"power2_input", "-5\n"},
                                          {"power2_average", "7000000\n"},
                                          {"curr1_input", "-1250\n"},
                                          {"curr1_min", "0\n"},
                                          {"curr1_max", "0\n"},
                                          {"curr1_crit", "32000\n"},
                                          {"curr2_input", "2147483647\n"},
                                          {"energy1_input", "5400000000\n"},
                                          {"energy2_input", "-1\n"},
                                          {"humidity1_input", "43500\n"},
                                          {"humidity1_max", "90000\n"},
                                          {"humidity2_input", "100001\n"}});
    RecordingSink const sink = discovered(&discoverSensors, root);
    ASSERT_EQ(sink.devices.size(), 8u) << "an average beside an input is no sensor of its own";
    for (Measured const& m : {Measured{"HWMON:chip:hwmon0:power1", "Power", 35.021},
                              Measured{"HWMON:chip:hwmon0:power1", "PowerLimit", 185},
                              Measured{"HWMON:chip:hwmon0:curr1", "Current", -1.25},
                              Measured{"HWMON:chip:hwmon0:curr1", "CriticalCurrent", 32},
                              Measured{"HWMON:chip:hwmon0:energy1", "Energy", 1.5}})
        EXPECT_DOUBLE_EQ(measured(sink, m.location, m.key), m.value) << m.location << " " << m.key;
    EXPECT_EQ(fact(sink, "HWMON:chip:hwmon0:humidity1", "Humidity"), "43.5%");
    EXPECT_EQ(fact(sink, "HWMON:chip:hwmon0:humidity1", "MaximumHumidity"), "90%");
    EXPECT_EQ(fact(sink, "HWMON:chip:hwmon0:curr1", "MaximumCurrent"), "-");
    EXPECT_EQ(fact(sink, "HWMON:chip:hwmon0:power1", "CriticalPower"), "-");
    for (char const* out : {"HWMON:chip:hwmon0:power2", "HWMON:chip:hwmon0:curr2",
                            "HWMON:chip:hwmon0:energy2", "HWMON:chip:hwmon0:humidity2"})
        EXPECT_EQ(fact(sink, out, "Status"), "No reading: the value is out of range") << out;
    EXPECT_EQ(sink.at("HWMON:chip:hwmon0:power1")->osLocator.toUtf8(),
              "/sys/class/hwmon/hwmon0/power1_average");
}

TEST(Sensors, ChipsOfOneKindKeepTheirPlace)
{
    MemoryRoot root;
    for (char const* number : {"hwmon3", "hwmon10"}) {
        root.files("sys/class/hwmon/" + std::string(number),
                   {{"name", "drivetemp\n"}, {"temp1_input", "30000\n"}});
        root.link("sys/class/hwmon/" + std::string(number) + "/device", "../../../0:0:0:0");
    }
    RecordingSink const sink = discovered(&discoverSensors, root);
    ASSERT_EQ(sink.devices.size(), 2u);
    EXPECT_EQ(sink.devices[0].hwLocator.toUtf8(), "HWMON:drivetemp:0:0:0:0:temp1");
    EXPECT_EQ(sink.devices[1].hwLocator.toUtf8(), "HWMON:drivetemp:0:0:0:0:hwmon10:temp1");
}

TEST(Sensors, StandBelowWhatTheyMeasureAndAreNamedAfterIt)
{
    std::string const top = "sys/devices/pci0000:00/";
    std::string const ata = top + "0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0";
    std::string const optical = top + "0000:00:1f.2/ata2/host1/target1:0:0/1:0:0:0";
    struct Chip
    {
        char const *number, *name;
        std::string device; ///< path; empty: belongs to nothing
        char const *wanted, *below;
    };
    Chip const chips[] = {
        {"hwmon0", "nvme", top + "0000:01:00.0/nvme/nvme0", "KINGSTON SKC1000 temperature 1",
         "HardDrive PCI:1:0:0"},
        {"hwmon1", "nvme", top + "0000:02:00.0/nvme/nvme1", "Drive nvme1 temperature 1",
         "MassStorageController PCI:2:0:0"},
        {"hwmon2", "drivetemp", ata, "ST910021AS temperature 1", "HardDrive SATA:250:1:0:0"},
        {"hwmon3", "amdgpu", top + "0000:09:00.0", "Graphics card temperature 1", "VideoCard PCI:9:0:0"},
        {"hwmon4", "jc42", top + "0000:00:1f.4/i2c-0/0-0018", "Memory module 0-0018 temperature 1",
         "Memory Memory"},
        {"hwmon5", "jc42", top + "0000:00:1f.4/i2c-0/0-0019", "Memory module 0-0019 temperature 1",
         "Memory Memory"},
        {"hwmon6", "coretemp", "sys/devices/platform/coretemp.0", "Processor 0 temperature 1", "CPU CPU:0"},
        {"hwmon7", "coretemp", "sys/devices/platform/coretemp.1", "Processor 1 temperature 1", "CPU CPU:1"},
        {"hwmon8", "acpitz", "", "Thermal zone hwmon8 temperature 1", "System System"}, // no zone is named
        {"hwmon9", "acpitz", "", "Thermal zone hwmon9 temperature 1", "System System"},
        {"hwmon10", "iwlwifi_1", "", "Wireless network card temperature 1", "System System"},
        {"hwmon11", "k10temp", top + "0000:00:18.3", "Processor temperature 1", "CPU CPU:3"},
        {"hwmon12", "drivetemp", optical, "DVD-RAM UJ-842 temperature 1", "DVD SATA:250:2:0:0"},
        {"hwmon13", "nct6775", "sys/devices/platform/nct6775.656", "nct6775 temperature 1", "System System"},
        // Two of a kind that does not count packages.
        {"hwmon14", "k8temp", top + "0000:00:19.3", "Processor 0000:00:19.3 temperature 1", "System System"},
        {"hwmon15", "k8temp", top + "0000:00:1a.3", "Processor 0000:00:1a.3 temperature 1", "System System"},
    };
    MemoryRoot root;
    test::pci(root, top + "0000:02:00.0", "10802", "1987:5012");
    test::pci(root, top + "0000:09:00.0", "30000", "1002:67DF");
    test::pci(root, top + "0000:00:1f.2", "10601", "8086:2829");
    root.file(top + "0000:01:00.0/nvme/nvme0/model", "KINGSTON SKC1000   \n")
        .file(top + "0000:01:00.0/nvme/nvme0/nvme0n1/size", "1\n")
        .link("sys/block/nvme0n1", "/" + top + "0000:01:00.0/nvme/nvme0/nvme0n1")
        .file(ata + "/model", "ST910021AS  \n")
        .file(ata + "/block/sda/size", "1\n")
        .link("sys/block/sda", "/" + ata + "/block/sda")
        .file(optical + "/model", "DVD-RAM UJ-842  \n")
        .file(optical + "/block/sr0/size", "1\n")
        .link("sys/block/sr0", "/" + optical + "/block/sr0")
        .file("proc/sys/dev/cdrom/info", "drive name:\tsr0\nCan read DVD:\t1\n")
        .file("sys/devices/system/cpu/cpu0/topology/physical_package_id", "3\n");
    for (Chip const& chip : chips) {
        std::string const folder = std::string("sys/class/hwmon/") + chip.number;
        root.files(folder, {{"name", chip.name + std::string("\n")}, {"temp1_input", "30000\n"}});
        if (!chip.device.empty())
            root.link(folder + "/device", "/" + chip.device).file(chip.device + "/power/control", "");
    }
    RecordingSink const sink = discovered(&discoverSensors, root);
    ASSERT_EQ(sink.devices.size(), std::size(chips));
    for (std::size_t i = 0; i < std::size(chips); ++i) {
        DeviceDescription const& sensor = sink.devices[i];
        EXPECT_EQ(sensor.name.toUtf8(), chips[i].wanted);
        EXPECT_EQ((sensor.parentType.toString() + " " + sensor.parentLocator).toUtf8(), chips[i].below)
            << chips[i].wanted;
    }
    for (char const* odd : {"-1\n", "65536\n"}) {
        root.file("sys/devices/system/cpu/cpu0/topology/physical_package_id", odd);
        EXPECT_EQ(discovered(&discoverSensors, root).devices.at(11).parentLocator, String("CPU:0")) << odd;
    }
}

// The kernel makes a chip of each battery, supply and thermal zone, of files that their own records tell of.
TEST(Sensors, WhatHasARecordIsNoChipAsWell)
{
    std::string const supplies = "sys/devices/LNXSYSTM:00/PNP0C0A:00/power_supply/";
    struct Chip
    {
        char const* name;
        std::string device;
        bool isKnown; ///< its class has it, too
        char const* wanted;
    } const chips[] = {
        {"BAT0", supplies + "BAT0", true, nullptr},
        {"BAT1", supplies + "BAT1", false, "Battery temperature 1"},
        {"hidpp_battery_0", "sys/devices/0003:046D:405E/power_supply/hidpp_battery_0", true, nullptr},
        {"acpitz", "sys/devices/virtual/thermal/thermal_zone0", true, nullptr},
        {"SEN1", "sys/devices/virtual/thermal/thermal_zone1", true, nullptr},
        {"acpitz", "sys/devices/virtual/thermal/thermal_zone2", false,
         "Thermal zone thermal_zone2 temperature 1"},
        {"iwlwifi_1", "sys/devices/virtual/thermal/thermal_zone3", true,
         "Wireless network card temperature 1"},
    };
    MemoryRoot root;
    std::vector<std::string> wanted;
    for (std::size_t i = 0; i < std::size(chips); ++i) {
        std::string const folder = "sys/class/hwmon/hwmon" + std::to_string(i), &device = chips[i].device;
        root.files(folder, {{"name", chips[i].name + std::string("\n")}, {"temp1_input", "30000\n"}})
            .link(folder + "/device", "/" + device)
            .file(device + "/type", "Battery\n");
        std::string const kind = device.find("/thermal/") == std::string::npos ? "power_supply/" : "thermal/";
        if (chips[i].isKnown)
            root.link("sys/class/" + kind + device.substr(device.rfind('/') + 1), "/" + device);
        if (chips[i].wanted)
            wanted.emplace_back(chips[i].wanted);
    }
    std::vector<std::string> names;
    for (DeviceDescription const& sensor : discovered(&discoverSensors, root).devices)
        names.push_back(sensor.name.toUtf8());
    EXPECT_EQ(names, wanted);
}

TEST(Sensors, SilenceHasAReason)
{
    MemoryRoot root;
    root.files("sys/class/hwmon/hwmon0", {{"name", "chip\n"},
                                          {"temp1_input", "30000\n"},
                                          {"temp1_fault", "0\n"},
                                          {"temp2_input", "30000\n"},
                                          {"temp2_fault", "1\n"},
                                          {"temp3_input", "-273150\n"},
                                          {"temp4_input", "cold\n"},
                                          {"temp5_input", ""},
                                          {"temp5_enable", "0\n"}})
        .unreadable("sys/class/hwmon/hwmon0/temp6_input");
    root.files("sys/class/thermal/thermal_zone0", {{"temp", ""}, {"mode", "disabled\n"}});
    RecordingSink const sink = discovered(&discoverSensors, root);
    char const* const wanted[] = {"-",
                                  "The chip reports that the sensor is faulty or not connected",
                                  "No reading: the value is out of range",
                                  "No reading: the value is no number",
                                  "Switched off",
                                  "No reading: the sensor does not answer"};
    ASSERT_EQ(sink.devices.size(), std::size(wanted));
    for (std::size_t i = 0; i < std::size(wanted); ++i) {
        EXPECT_EQ(RecordingSink::property(&sink.devices[i], "Status"), wanted[i]);
        EXPECT_EQ(sink.devices[i].state == DeviceStateImp::FUNCTIONAL(), i == 0);
    }
    EXPECT_EQ(fact(discovered(&discoverThermalZones, root), "THERMAL:0", "Status"), "Switched off");
}

TEST(Sensors, OldLayoutAndUnreadableInputs)
{
    MemoryRoot root;
    root.link("sys/class/hwmon/hwmon0", "../../devices/platform/thinkpad_hwmon/hwmon/hwmon0")
        .file("sys/devices/platform/thinkpad_hwmon/hwmon/hwmon0/uevent", "")
        .link("sys/devices/platform/thinkpad_hwmon/hwmon/hwmon0/device", "../../../thinkpad_hwmon")
        .files("sys/devices/platform/thinkpad_hwmon", {{"name", "thinkpad\n"},
                                                       {"temp1_input", "46000\n"},
                                                       {"temp2_input", ""},
                                                       {"temp3_input", "cold\n"},
                                                       {"fan1_input", "3446\n"}})
        .unreadable("sys/devices/platform/thinkpad_hwmon/temp4_input");
    RecordingSink const sink = discovered(&discoverSensors, root);
    ASSERT_EQ(sink.devices.size(), 5u);
    EXPECT_EQ(measured(sink, "HWMON:thinkpad:thinkpad_hwmon:temp1", "Temperature"), 46);
    for (char const* silent : {"HWMON:thinkpad:thinkpad_hwmon:temp2", "HWMON:thinkpad:thinkpad_hwmon:temp3",
                               "HWMON:thinkpad:thinkpad_hwmon:temp4"}) {
        EXPECT_EQ(fact(sink, silent, "Temperature"), "-");
        EXPECT_TRUE(sink.at(silent)->state == DeviceStateImp::OTHER());
    }
}

TEST(ThermalZones, CriticalTripOnly)
{
    MemoryRoot root;
    root.files("sys/class/thermal/thermal_zone1", {{"type", "acpitz\n"},
                                                   {"temp", "47000\n"},
                                                   {"trip_point_0_temp", "100000\n"},
                                                   {"trip_point_0_type", "critical\n"},
                                                   {"trip_point_1_temp", "95500\n"},
                                                   {"trip_point_1_type", "passive\n"},
                                                   {"trip_point_2_temp", "99000\n"},
                                                   {"trip_point_2_type", "critical\n"},
                                                   {"trip_point_3_temp", "105000\n"},
                                                   {"trip_point_3_type", "critical\n"}});
    root.file("sys/class/thermal/thermal_zone2/uevent", "")
        .file("sys/class/thermal/cooling_device0/type", "Fan\n");
    RecordingSink const sink = discovered(&discoverThermalZones, root);
    ASSERT_EQ(sink.devices.size(), 2u);
    EXPECT_EQ(measured(sink, "THERMAL:1", "Temperature"), 47);
    EXPECT_EQ(measured(sink, "THERMAL:1", "CriticalTemperature"), 99) << "the lowest";
    EXPECT_TRUE(sink.at("THERMAL:2")->state == DeviceStateImp::OTHER());
}

TEST(Power, EnergyAndChargeBatteries)
{
    MemoryRoot root;
    root.files("sys/class/power_supply/BAT0", {{"type", "Battery\n"},
                                               {"present", "1\n"},
                                               {"status", "Discharging\n"},
                                               {"manufacturer", "SANYO\n"},
                                               {"model_name", "42T5245\n"},
                                               {"serial_number", "6463\n"},
                                               {"energy_full_design", "84240000\n"},
                                               {"energy_full", "42120000\n"},
                                               {"energy_now", "21060000\n"},
                                               {"voltage_min_design", "10800000\n"},
                                               {"current_now", "25830000\n"}});
    root.files("sys/class/power_supply/BAT1", {{"type", "Battery\n"},
                                               {"capacity", "68\n"},
                                               {"charge_full_design", "9000000\n"},
                                               {"charge_full", "8548123\n"},
                                               {"charge_now", "5879000\n"},
                                               {"current_now", "-4520000\n"},
                                               {"power_now", "34350000\n"},
                                               {"voltage_now", "8370000\n"},
                                               {"voltage_min", "0\n"},
                                               {"voltage_max", "8700000\n"},
                                               {"current_max", "0\n"},
                                               {"temp", "-53\n"},
                                               {"temp_alert_min", "0\n"},
                                               {"temp_alert_max", "450\n"},
                                               {"temp_max", "600\n"},
                                               {"cycle_count", "17\n"},
                                               {"voltage_min_design", "7600000\n"}});
    root.files("sys/class/power_supply/BAT2", {{"type", "Battery\n"}, {"present", "0\n"}});
    root.files("sys/class/power_supply/AC", {{"type", "Mains\n"}, {"online", "0\n"}});
    RecordingSink const sink = discovered(&discoverPower, root);
    EXPECT_EQ(sink.ofType(C::Battery()).size(), 2u) << "an empty bay is no battery";
    EXPECT_EQ(sink.ofType(C::PowerSupply()).size(), 1u);
    EXPECT_EQ(sink.at("POWER:BAT0")->name.toUtf8(), "SANYO 42T5245");
    EXPECT_EQ(fact(sink, "POWER:BAT0", "SerialNumber"), "6463");
    EXPECT_EQ(fact(sink, "POWER:BAT0", "Current"), "-") << "where energy is counted it holds a power";
    for (Measured const& m :
         {Measured{"POWER:BAT0", "FullCapacity", 42.12}, Measured{"POWER:BAT0", "DesignVoltage", 10.8},
          Measured{"POWER:BAT0", "Power", 25.83}, Measured{"POWER:BAT1", "FullCapacity", 8.548123 * 7.6},
          Measured{"POWER:BAT1", "Current", -4.52}, Measured{"POWER:BAT1", "Power", 34.35},
          Measured{"POWER:BAT1", "Voltage", 8.37}, Measured{"POWER:BAT1", "MaximumVoltage", 8.7},
          Measured{"POWER:BAT1", "Temperature", -5.3}, Measured{"POWER:BAT1", "MinimumTemperature", 0},
          Measured{"POWER:BAT1", "MaximumTemperature", 45},
          Measured{"POWER:BAT1", "CriticalTemperature", 60}})
        EXPECT_NEAR(measured(sink, m.location, m.key), m.value, 1e-9) << m.location << " " << m.key;
    for (char const* unset : {"MinimumVoltage", "MaximumCurrent"})
        EXPECT_EQ(fact(sink, "POWER:BAT1", unset), "-");
    auto const percent = [&sink](char const* location, std::string_view key) {
        for (auto const& [name, value] : sink.at(location)->properties)
            if (name == key)
                return value.doubleValue();
        return -1.0;
    };
    EXPECT_DOUBLE_EQ(percent("POWER:BAT0", "Charge"), 50);
    EXPECT_DOUBLE_EQ(percent("POWER:BAT0", "Health"), 50);
    EXPECT_DOUBLE_EQ(percent("POWER:BAT1", "Charge"), 68);
    EXPECT_EQ(fact(sink, "POWER:BAT1", "Health"), "95%") << "one decimal is enough";
    EXPECT_EQ(fact(sink, "POWER:BAT1", "FullCharge"), "8.548 Ah");
    EXPECT_EQ(fact(sink, "POWER:AC", "Online"), "false");
}

TEST(Power, SuppliesOverUsb)
{
    MemoryRoot root;
    root.files("sys/class/power_supply/ucsi-source-psy-USBC000:001", {{"type", "USB\n"},
                                                                      {"online", "1\n"},
                                                                      {"usb_type", "C [PD] PD_PPS\n"},
                                                                      {"voltage_now", "20000000\n"},
                                                                      {"voltage_max", "20000000\n"},
                                                                      {"current_now", "3250000\n"},
                                                                      {"current_max", "3250000\n"}});
    root.files(
        "sys/class/power_supply/port1",
        {{"type", "USB\n"}, {"online", "0\n"}, {"usb_type", "[Unknown] SDP\n"}, {"voltage_now", "-1\n"}});
    RecordingSink const sink = discovered(&discoverPower, root);
    char const* const source = "POWER:ucsi-source-psy-USBC000:001";
    EXPECT_EQ(fact(sink, source, "UsbSupplyType"), "PD");
    for (Measured const& m : {Measured{source, "Voltage", 20}, Measured{source, "MaximumVoltage", 20},
                              Measured{source, "Current", 3.25}, Measured{source, "MaximumCurrent", 3.25}})
        EXPECT_NEAR(measured(sink, m.location, m.key), m.value, 1e-9) << m.key;
    for (char const* key : {"UsbSupplyType", "Voltage", "Current", "MaximumCurrent"})
        EXPECT_EQ(fact(sink, "POWER:port1", key), "-") << key;
}

TEST(Power, PortsOfUsbAreCountedForPeople)
{
    MemoryRoot root;
    root.files("sys/class/power_supply/ucsi-source-psy-USBC000:002", {{"type", "USB\n"}, {"online", "0\n"}});
    root.files("sys/class/power_supply/ADP1", {{"type", "Mains\n"}, {"online", "1\n"}});
    root.files("sys/class/power_supply/ACPI0003:00", {{"online", "1\n"}}); // old kernels tell no type
    RecordingSink const sink = discovered(&discoverPower, root);
    ASSERT_EQ(sink.devices.size(), 3u);
    EXPECT_EQ(sink.at("POWER:ACPI0003:00")->name, String("Power supply ACPI0003:00"));
    EXPECT_EQ(sink.at("POWER:ADP1")->name, String("Power supply ADP1"));
    EXPECT_EQ(sink.at("POWER:ucsi-source-psy-USBC000:002")->name, String("USB-C power supply 2"));
}

TEST(Power, UselessNumbers)
{
    MemoryRoot root;
    root.files("sys/class/power_supply/BAT0", {{"type", "Battery\n"},
                                               {"capacity", "255\n"},
                                               {"energy_full_design", "0\n"},
                                               {"energy_full", "-1\n"},
                                               {"energy_now", "full\n"},
                                               {"temp", "2147483647\n"},
                                               {"temp_alert_min", "0\n"},
                                               {"temp_alert_max", "0\n"},
                                               {"voltage_now", "99999999999999999999\n"}});
    RecordingSink const sink = discovered(&discoverPower, root);
    ASSERT_EQ(sink.devices.size(), 1u);
    for (char const* key : {"Charge", "Health", "FullCapacity", "RemainingCapacity", "Voltage", "Temperature",
                            "MinimumTemperature", "MaximumTemperature"})
        EXPECT_EQ(fact(sink, "POWER:BAT0", key), "-") << key;
}

TEST(Power, ReadingsAtTheirEnds)
{
    struct Case
    {
        char const *what, *file, *content, *key, *wanted;
    } const cases[] = {
        {"empty", "capacity", "0\n", "Charge", "0%"},
        {"full", "capacity", "100\n", "Charge", "100%"},
        {"fuller than full", "capacity", "101\n", "Charge", "-"},
        {"only when full", "energy_full", "40000000\n", "FullCapacity", "40.00 Wh"},
        {"no level without what is in it", "energy_full", "40000000\n", "Charge", "-"},
        {"no energy without a voltage", "charge_full", "4000000\n", "FullCapacity", "-"},
        {"a current is no power", "current_now", "2000000\n", "Current", "2.000 A"},
        {"at rest", "power_now", "0\n", "Power", "0.00 W"},
        {"being emptied", "power_now", "-5000000\n", "Power", "-5.00 W"},
        {"no voltage", "voltage_now", "0\n", "Voltage", "0.000 V"},
        {"as hot as can be told", "temp", "10000\n", "Temperature", "1000.0 °C"},
        {"hotter", "temp", "10001\n", "Temperature", "-"},
        {"no limit set", "temp_max", "0\n", "CriticalTemperature", "-"},
        {"of the machine", "type", "Battery\n", "description", "Battery"},
        {"of a mouse", "scope", "Device\n", "description", "Battery of a peripheral device"},
        {"from the wall", "type", "Mains\n", "description", "Mains power supply"},
        {"from elsewhere", "type", "UPS\n", "description", "Power supply"},
    };
    for (Case const& c : cases) {
        MemoryRoot root;
        root.files("sys/class/power_supply/X", {{"type", "Battery\n"}, {c.file, c.content}});
        RecordingSink const sink = discovered(&discoverPower, root);
        DeviceDescription const* const supply = sink.at("POWER:X");
        ASSERT_TRUE(supply) << c.what;
        EXPECT_EQ(c.key == std::string("description") ? supply->description.toUtf8()
                                                      : fact(sink, "POWER:X", c.key),
                  c.wanted)
            << c.what;
    }
}

TEST(Switches, Lid)
{
    MemoryRoot root;
    root.file("sys/bus/acpi/devices/PNP0C0D:00/uevent", "")
        .file("sys/bus/acpi/devices/PNP0C0C:00/uevent", "")
        .file("proc/acpi/button/lid/LID/state", "state:      open\n");
    RecordingSink const sink = discovered(&discoverSwitches, root);
    ASSERT_EQ(sink.devices.size(), 1u);
    EXPECT_EQ(fact(sink, "ACPI:PNP0C0D:00", "SwitchState"), "open");
    root.file("proc/acpi/button/lid/LID/state", "status: open\n");
    EXPECT_EQ(fact(discovered(&discoverSwitches, root), "ACPI:PNP0C0D:00", "SwitchState"), "-");
}
