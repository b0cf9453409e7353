// What devices and their properties are made of comes back as it was.
#include "../TestDevices.h"

#include <zel/model/wire/Serializable.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace zel;
using namespace zel::test;

namespace {

std::string written(StateManager const& state) { return Serializable::serializeUtf8(state, "StateManager"); }

PropertyImp& add(DeviceImp& to, char const* key, ValueImp const& value,
                 PropertyCategoryImp const& category = PropertyCategoryImp::SysInfo())
{
    auto const spec = std::make_shared<PropertySpecImp>(key, category, value.type(), CapabilityImp::ALL());
    PropertyImp const property(spec, value);
    return to.addProperty(&property);
}

LocalizedStringImp text()
{
    LocalizedStringImp text("Key", "a {n}", "module");
    text.setOverride("over {n}");
    text.setVariable("n", ValueImp(std::uint32_t{7}));
    text.setVariable("list", ValueImp(std::vector<String>{"a", "", "b"}));
    text.setVariable("size", ValueImp(DiscreteMeasurement(UnitType::BYTES(), 5)));
    return text;
}

/// One of each type, with the extremes of it.
std::vector<ValueImp> values()
{
    double const inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
    std::vector<ValueImp> all{
        ValueImp(std::numeric_limits<std::uint32_t>::max()),
        ValueImp(std::numeric_limits<std::int32_t>::min()),
        ValueImp(std::numeric_limits<std::uint64_t>::max()),
        ValueImp(true),
        ValueImp(false),
        ValueImp(String()),
        ValueImp(std::vector<String>{"", "two words", "<&\">"}),
        ValueImp(std::vector<String>()),
        ValueImp(std::vector<std::uint32_t>{0, 4294967295u}),
        ValueImp(std::vector<std::int32_t>{-2147483647 - 1, 2147483647}),
        ValueImp(DiscreteMeasurement(UnitType::HEXADECIMAL64(), std::numeric_limits<std::uint64_t>::max())),
        ValueImp(std::vector<DiscreteMeasurement>{{UnitType::BYTES(), 1}, {UnitType::NOUNIT(), 0}}),
        ValueImp(NonDiscreteMeasurement(UnitType::VOLTS(), 0.1 + 0.2, UnitMagnitude::MILLI(), 30)),
        ValueImp(text()),
        ValueImp(LocalizedStringImp()),
        ValueImp(std::vector<LocalizedStringImp>{text(), LocalizedStringImp()}),
        ValueImp(std::vector<LocalizedStringImp>()),
    };
    for (double const number :
         {0.0, -0.0, 0.1, 1.0 / 3, 5e-324, 1.7976931348623157e308, 1e20, inf, -inf, nan})
        for (auto const& type : {DataTypeImp::DOUBLE(), DataTypeImp::PERCENT()})
            all.emplace_back(number, type);
    return all;
}

} // namespace

TEST(SerializedDevices, comeBackEqual)
{
    StateManager state;
    ModuleImp module("name of it");
    module.setGuid("module");
    state.addModule(module, false);
    DeviceImp& board = state.addDevice(device("board"), nullptr);
    DeviceImp& drive = state.addDevice(device("drive"), &board);
    state.associate(module, drive, false);
    board.addChildBusId("PCI:2");
    board.setState(DeviceStateImp::MISCONFIGURED());
    board.addCapability(CapabilityImp("PS/2, Memory, a word"));
    board.setDeviceID(4294967295u);
    board.setComplete(false);
    int number = 0;
    for (ValueImp const& value : values())
        add(drive, ("p" + std::to_string(number++)).c_str(), value);

    std::string const document = written(state);
    StateManager back;
    Serializable::deserializeUtf8(document, back);
    EXPECT_EQ(written(back), document);
    EXPECT_EQ(devices(back), "board drive<board");
    EXPECT_TRUE(back.takeChanges().empty());
    DeviceImp const& copy = *back.device(drive.guid());
    ASSERT_EQ(copy.propertyCount(), drive.propertyCount());
    for (std::size_t i = 0; i < copy.propertyCount(); ++i)
        EXPECT_EQ(copy.getProperty(i).value(), drive.getProperty(i).value()) << i;
    EXPECT_TRUE(std::signbit(copy.property("p19")->value().doubleValue())) << "the zero below zero";
}
