#include "Listings.h"

#include <listing/forms/Listing.h>

#include <zel/foundation/Exception.h>

#include <gtest/gtest.h>

#include <cmath>

namespace listing::test {

namespace {

using namespace zel;

void add(Device& device, char const* key, ValueImp value)
{
    auto const spec = std::make_shared<PropertySpecImp>(
        key, PropertyCategoryImp::SysInfo() | PropertyCategoryImp::Volatile(), value.type(),
        CapabilityImp::ALL());
    spec->setDefaultName(String("Name of ") + key);
    device.properties.push_back({spec, std::move(value)});
}

/// Every type, at its limits, and every text that is hard to write.
Machine everything()
{
    Machine machine;
    machine.origin.program = "test \"1\"";
    machine.origin.version = "2";
    machine.origin.date = "2026-11-22T09:00:00Z";
    machine.origin.isLive = false;
    machine.origin.isMasked = true;
    machine.origin.classes = {"HardDrive"};
    machine.origin.gaps = {"line\nbreak"};
    Device device;
    device.type = CapabilityImp("OfItsOwn");
    device.capabilities = device.type | CapabilityImp::PCI();
    device.busClass = CapabilityImp::PCI();
    device.name = "\x1b[31m\xF0\x9F\x92\xBE \"\\/\b\f\n\r\t\xC2\x9B\xE2\x80\xAE";
    device.description = "d";
    device.hwLocator = "PCI:1:2:3";
    device.osLocator = "/dev/x";
    device.guid = "g";
    device.state = "DISABLED";
    device.childBusIds = {"PCI:2", "USB:1"};
    add(device, "a", 4294967295u);
    add(device, "b", -2147483647 - 1);
    add(device, "c", 18446744073709551615ull);
    add(device, "d", ValueImp(0.1, DataTypeImp::DOUBLE()));
    add(device, "e", ValueImp(-1e300, DataTypeImp::DOUBLE()));
    add(device, "f", ValueImp(NAN, DataTypeImp::PERCENT()));
    add(device, "g", true);
    add(device, "h", "text");
    add(device, "i", DiscreteMeasurement(UnitType::BYTES(), 18446744073709551615ull));
    add(device, "j", NonDiscreteMeasurement(UnitType::VOLTS(), 3300, UnitMagnitude::MILLI(), 0));
    add(device, "k", std::vector<String>{"a, b", ""});
    add(device, "l", std::vector<std::uint32_t>{0, 4294967295u});
    add(device, "m", std::vector<std::int32_t>{-1, 1});
    add(device, "n", std::vector<DiscreteMeasurement>{{UnitType::HERTZ(), 1}, {UnitType::BYTES(), 2}});
    add(device, "o", ValueImp(DataTypeImp::STRINGARRAY()));
    machine.devices.push_back(device);
    device.properties.clear();
    device.hwLocator = "PCI:1:2:4";
    device.isPath = true;
    for (std::size_t i = 0; i < 3; ++i) { // a child, its child, and a second child
        device.hwLocator += ":1";
        device.parent = i == 1 ? 1 : 0;
        device.depth = i == 1 ? 2 : 1;
        machine.devices.push_back(device);
    }
    return machine;
}

/// The reason for which a document is refused; empty when it is taken.
std::string refusal(std::string const& document, SavedLimits const& limits = {})
{
    try {
        readSaved(document, "file", limits);
    } catch (ParseException const& error) {
        return error.getMessage().toUtf8();
    }
    return {};
}

std::string head(char const* rest)
{
    return std::string("{\"format\": \"zel-devices\",\n\"formatVersion\": 1,\n") + rest;
}

} // namespace

TEST(SavedListing, WhatIsWrittenReadsBackEqual)
{
    Machine const machine = everything();
    std::string const document = json(machine);
    Machine const read = readSaved(document, "file");
    EXPECT_EQ(json(read), document);
    ASSERT_EQ(read.devices.size(), machine.devices.size());
    for (std::size_t i = 0; i < read.devices.size(); ++i) {
        Device const &a = machine.devices[i], &b = read.devices[i];
        EXPECT_EQ(a.parent, b.parent);
        EXPECT_EQ(a.depth, b.depth);
        EXPECT_EQ(a.isPath, b.isPath);
        EXPECT_EQ(a.name, b.name);
        EXPECT_EQ(a.capabilities, b.capabilities);
        ASSERT_EQ(a.properties.size(), b.properties.size());
        for (std::size_t p = 0; p < a.properties.size(); ++p) {
            EXPECT_EQ(a.properties[p].value, b.properties[p].value) << a.properties[p].key().toUtf8();
            EXPECT_EQ(a.properties[p].name(), b.properties[p].name());
            EXPECT_TRUE(b.properties[p].isVolatile());
        }
    }
}

// The form before there was a head: a list of devices, with the enumerator's own names for what it knows.
TEST(SavedListing, ReadsTheOldForm)
{
    Machine const old = readSaved(R"([{"type": "HardDrive", "osLocator": "/dev/sda",
                       "properties": {"CorrectedErrors": {"type": "UINT64", "value": 3},
                                      "Voltage": {"type": "NONDISCRETEMEASUREMENT",
                                                  "value": {"value": 3.3, "unit": "VOLTS"}}}}])",
                                  "file");
    ASSERT_EQ(old.devices.size(), 1u);
    EXPECT_EQ(old.devices[0].location(), "/dev/sda");
    EXPECT_TRUE(old.devices[0].isFunctional());
    EXPECT_EQ(old.devices[0].property("CorrectedErrors")->name(), "Corrected errors");
    EXPECT_TRUE(old.devices[0].property("CorrectedErrors")->isVolatile());
    EXPECT_EQ(old.devices[0].property("Voltage")->value.toString(), "3.300 V");
}

TEST(SavedListing, RefusesWithLineAndReason)
{
    struct Case
    {
        std::string document;
        char const* reason; ///< as far as it is this program's own
    };
    std::vector<Case> const cases = {
        {"", "file:1: no JSON: "},
        {"{}", "file:1: no saved listing: \"format\" is not \"zel-devices\""},
        {"\n\n7", "file:3: no list of devices"},
        {head("\"devices\": [}"), "file:3: no JSON: "},
        {head("\"devices\": []"), "file:3: no JSON: "},
        {head("\"devices\": []}\n\nx"), "file:5: no JSON: "},
        {head("\"devices\": [{\"type\": \"\xFF\"}]}"), "file:3: no JSON: "},
        {head("\"gaps\": []}"), "file:1: \"devices\" is missing"},
        {head("\"devices\": {}}"), "file:3: \"devices\" is not a list"},
        {head("\"devices\": [\n7]}"), "file:4: no device: not an object"},
        {head("\"masked\":\n 1, \"devices\": []}"), "file:4: \"masked\" is not true or false"},
        {"{\"format\": \"zel-devices\",\n\"formatVersion\": 2, \"devices\": []}",
         "file:2: format version 2; this program reads up to 1"},
        {"{\"format\": \"zel-devices\", \"devices\": []}", "file:1: \"formatVersion\" is missing"},
        {head("\"devices\": [\n{\"name\": \"x\"}]}"), "file:4: \"type\" is missing"},
        {head("\"devices\": [{\"type\": \"X\",\n\"name\": 7\n}]}"), "file:4: \"name\" is not a text"},
        {head("\"devices\": [{\"type\": \"X\",\n\"capabilities\": [\n1]}]}"),
         "file:5: an element of \"capabilities\" is no text"},
        {head("\"devices\": [{\"type\": \"X\", \"hwLocator\": \"a\"},\n{\"type\": \"X\", \"hwLocator\": "
              "\"a\"}]}"),
         "file:4: the device X at \"a\" stands twice; first on line 3"},
        {head("\"properties\": {\"a\": {}, \"a\": {}}, \"devices\": []}"),
         "file:3: \"a\" is described twice"},
    };
    for (Case const& one : cases)
        EXPECT_EQ(refusal(one.document).substr(0, std::string(one.reason).size()), one.reason)
            << one.document;
}

TEST(SavedListing, RefusesValuesThatAreNotOfTheirType)
{
    struct Case
    {
        char const* property; ///< members of the object
        char const* reason;
    };
    std::vector<Case> const cases = {
        {R"("type": "UINT32", "value": 4294967296)",
         "the value is not a whole number of its size, or below zero"},
        {R"("type": "UINT32", "value": -1)", "the value is not a whole number of its size, or below zero"},
        {R"("type": "INT32", "value": 2147483648)", "the value is not a whole number of its size"},
        {R"("type": "INT32", "value": 1.0)", "the value is not a whole number of its size"},
        {R"("type": "UINT64", "value": 18446744073709551616)",
         "the value is not a whole number of its size, or below zero"},
        {R"("type": "BOOLEAN", "value": 1)", "the value is not true or false"},
        {R"("type": "STRING", "value": null)", "the value is not a text"},
        {R"("type": "DOUBLE", "value": "1")", "the value is not a number"},
        {R"("type": "STRINGARRAY", "value": "a")", "the value is not a list"},
        {R"("type": "STRINGARRAY", "value": [1])", "the value is not a text"},
        {R"("type": "DISCRETEMEASUREMENT", "value": 1)",
         "the value is not a measurement, an object with \"value\" and \"unit\""},
        {R"("type": "DISCRETEMEASUREMENT", "value": {"value": 1, "unit": "PARSECS"})",
         "there is no unit \"PARSECS\""},
        {R"("type": "COLOUR", "value": 1)", "there is no type \"COLOUR\""},
    };
    for (Case const& one : cases)
        EXPECT_EQ(
            refusal(head("\"devices\": [{\"type\": \"X\", \"properties\": {\n\"p\": {\"type\": \"UINT32\", "
                         "\"value\": 1},\n\"q\": {") +
                    one.property + "}}}]}"),
            std::string("file:5: the property \"q\": ") + one.reason);
    std::string const twice = "\"p\": {\"type\": \"UINT32\", \"value\": 1}";
    EXPECT_EQ(
        refusal(head("\"devices\": [{\"type\": \"X\", \"properties\": {") + twice + ",\n" + twice + "}}]}"),
        "file:4: the property \"p\" stands twice");
}

TEST(SavedListing, BoundsWhatAFileMayCost)
{
    std::string const deep(100'000, '[');
    EXPECT_EQ(refusal(deep), "file:1: nested deeper than 160 levels");
    std::string nested = head("\"devices\": ");
    for (int i = 0; i < 100; ++i)
        nested += "[{\"type\": \"X\", \"children\": ";
    EXPECT_EQ(refusal(nested), "file:3: nested deeper than 160 levels");
    std::string keys = head("\"devices\": [{\"type\": \"X\", \"properties\": {");
    for (int i = 0; i <= 10'000; ++i)
        keys += (i ? ",\n\"" : "\"") + std::to_string(i) + R"(": {"type": "UINT32", "value": 1})";
    EXPECT_EQ(refusal(keys + "}}]}"), "file:10003: more than 10000 different properties");
    SavedLimits few;
    few.values = 10;
    few.bytes = 1u << 20;
    EXPECT_EQ(refusal("[0,0,0,0,0,\n0,0,0,0,0,0]", few), "file:2: more than 10 values");
    EXPECT_EQ(refusal(std::string((1u << 20) + 1, ' '), few), "file: larger than 1 MiB");
}

// Cut anywhere it is refused with a line that it has, and with any byte changed it is read or refused: nothing else.
TEST(SavedListing, DamagedFilesAreReadOrRefused)
{
    std::string const document = json(everything());
    std::size_t const end = document.find_last_of('}');
    for (std::size_t length = 0; length <= end; ++length) {
        std::string const cut = document.substr(0, length);
        std::string const reason = refusal(cut);
        ASSERT_TRUE(reason.starts_with("file:")) << length << ": " << reason;
        auto const lines = static_cast<std::size_t>(std::count(cut.begin(), cut.end(), '\n')) + 1;
        EXPECT_LE(std::stoul(reason.substr(5)), lines);
        EXPECT_GE(std::stoul(reason.substr(5)) + 1, lines) << reason;
    }
    std::size_t refused = 0;
    for (std::size_t at = 0; at < end; at += 7)
        for (char const other : {'\0', '"', '}', '9', '\xC3'}) {
            std::string changed = document;
            changed[at] = other;
            refused += refusal(changed).empty() ? 0 : 1;
        }
    EXPECT_GT(refused, end / 7) << "most changes break something";
}

} // namespace listing::test
