// Facts about captured machines: sensors, thermal zones, batteries and power supplies.

#include "CapturedMachine.h"

#include <zel/enumerator/root/Text.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;

namespace {

using C = CapabilityImp;

std::optional<double> reading(DeviceDescription const* device, char const* key)
{
    auto const value = propertyOf(device, key);
    return value ? std::optional(value->nonDiscreteMeasurement().value(UnitMagnitude::BASEUNIT()))
                 : std::nullopt;
}

/// "  temp1_input = 32850 label=..."; `folder` is that of the chip. 1 when the line tells of a sensor.
std::size_t expectSensor(CapturedMachine const& machine, std::string const& folder, std::string const& line)
{
    char input[32] = "";
    char text[32] = "";
    if (folder.empty() || std::sscanf(line.c_str(), "  %31s = %31s", input, text) != 2)
        return 0;
    std::string const name = input;
    std::string const kind = name.substr(0, name.find_first_of("0123456789"));
    if (kind != "temp" && kind != "in" && kind != "fan")
        return 0; // power and frequency are no devices
    DeviceDescription const* const device = machine.byOsLocator(folder + name);
    EXPECT_NE(device, nullptr) << folder << name;
    if (!device)
        return 0;
    auto const raw = text::toNumber(text);
    if (!raw) {
        EXPECT_FALSE(device->state == DeviceStateImp::FUNCTIONAL()) << line;
    } else if (kind == "fan") {
        EXPECT_EQ(count(device, "FanSpeed"), static_cast<std::uint64_t>(*raw)) << line;
    } else {
        EXPECT_EQ(reading(device, kind == "in" ? "Voltage" : "Temperature"), static_cast<double>(*raw) / 1000)
            << line;
    }
    if (auto const label = word(line, "label")) {
        EXPECT_TRUE(device->name.endsWith(String(*label))) << line;
    }
    return 1;
}

/// "thermal_zone0 type=... temp=..."; 1 when the line tells of a zone.
std::size_t expectThermalZone(CapturedMachine const& machine, std::string const& line)
{
    unsigned zone = 0;
    if (std::sscanf(line.c_str(), "thermal_zone%u type=", &zone) != 1)
        return 0;
    DeviceDescription const* const device =
        machine.byLocation(C::ThermalZone(), "THERMAL:" + std::to_string(zone));
    EXPECT_NE(device, nullptr) << line;
    auto const text = word(line, "temp");
    auto const raw = text ? text::toNumber(*text) : std::nullopt;
    EXPECT_EQ(reading(device, "Temperature"),
              raw ? std::optional(static_cast<double>(*raw) / 1000) : std::nullopt);
    return 1;
}

} // namespace

TEST(CapturedMachines, Sensors)
{
    SKIP_WITHOUT_MACHINES();
    std::size_t checked = 0;
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        std::string folder;
        for (std::string const& line : machine.section("hwmon")) {
            if (line.rfind("hwmon", 0) == 0 && line.find("attrs_in=") != std::string::npos) {
                bool const old = line.find("hwmonN/device") != std::string::npos;
                folder = "/sys/class/hwmon/" + line.substr(0, line.find(' ')) + (old ? "/device/" : "/");
            }
            checked += expectSensor(machine, folder, line);
        }
        for (std::string const& line : machine.section("thermal"))
            checked += expectThermalZone(machine, line);
    }
    EXPECT_GT(checked, 0u);
}

TEST(CapturedMachines, PowerSupplies)
{
    SKIP_WITHOUT_MACHINES();
    std::size_t checked = 0;
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        DeviceDescription const* device = nullptr;
        for (std::string const& line : machine.section("power_supply")) {
            if (line.front() != ' ') {
                for (C const& type : {C::Battery(), C::PowerSupply()})
                    if (auto const* found = machine.byLocation(type, "POWER:" + line))
                        device = found;
                EXPECT_NE(device, nullptr) << line;
                continue;
            }
            std::string const attribute = line.substr(2, line.find(' ', 2) - 2);
            std::string const value = line.substr(line.find('"') + 1, line.rfind('"') - line.find('"') - 1);
            for (auto const& [name, property] :
                 {std::pair{"manufacturer", "Manufacturer"}, std::pair{"model_name", "Model"},
                  std::pair{"serial_number", "SerialNumber"}, std::pair{"status", "Status"},
                  std::pair{"technology", "Technology"}, std::pair{"cycle_count", "CycleCount"}})
                if (attribute == name && ++checked) {
                    EXPECT_EQ(propertyText(device, property), value) << line;
                }
            for (auto const& [name, property] :
                 {std::pair{"energy_full", "FullCapacity"}, std::pair{"energy_full_design", "DesignCapacity"},
                  std::pair{"voltage_now", "Voltage"}})
                if (attribute == name && ++checked) {
                    EXPECT_EQ(reading(device, property), std::strtod(value.c_str(), nullptr) / 1e6) << line;
                }
            if (attribute == "online") {
                EXPECT_EQ(propertyText(device, "Online"), value == "1" ? "true" : "false");
            }
            if (attribute == "capacity") {
                EXPECT_EQ(propertyOf(device, "Charge")->doubleValue(), std::strtod(value.c_str(), nullptr));
            }
        }
    }
    EXPECT_GT(checked, 0u);
}
