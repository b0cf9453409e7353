// Monitors, by what they say of themselves.

#include "../HardwareMachine.h"

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;
using namespace std::string_literals;
using C = CapabilityImp;

namespace {

std::string bytes(std::initializer_list<unsigned> octets)
{
    std::string text;
    for (unsigned const octet : octets)
        text += static_cast<char>(octet);
    return text;
}

std::string summed(std::string block)
{
    unsigned sum = 0;
    for (std::size_t i = 0; i < 127; ++i)
        sum += static_cast<unsigned char>(block[i]);
    block[127] = static_cast<char>(256 - sum % 256);
    return block;
}

/// A 2560x1440 monitor of 597 by 336 mm, laid out by the standard's tables.
std::string edid(bool withSerial = true)
{
    std::string block = bytes({0,    255,  255,  255,  255, 255, 255, 0, 0x10, 0xAC, 0xC0, 0xA0,
                               0x4C, 0x35, 0x30, 0x30, 12,  24,  1,   4, 0xA5, 60,   34});
    block.resize(54, '\0');
    // 241.5 MHz; 2560 + 160 across, 1440 + 41 down
    block += bytes(
        {0x56, 0x5E, 0x00, 0xA0, 0xA0, 0xA0, 0x29, 0x50, 0x30, 0x20, 0x35, 0, 0x55, 0x50, 0x21, 0, 0, 0x1A});
    block += bytes({0, 0, 0, 0xFF, 0}) + (withSerial ? "9X2VY43D00TL\n"s : std::string(13, ' '));
    block += bytes({0, 0, 0, 0xFC, 0}) + "DELL U2713HM\n";
    block += bytes({0, 0, 0, 0xFD, 0, 56, 76, 30, 113, 25, 0, 10, 32, 32, 32, 32, 32, 32});
    block.resize(128, '\0');
    return summed(block);
}

std::string property(RecordingSink const& sink, char const* monitor, char const* key)
{
    return RecordingSink::property(known(sink, monitor), key);
}

} // namespace

TEST(Monitors, WhatTheySayOfThemselves)
{
    std::string const card = kBridge + "/0000:02:00.0/drm/card1"s;
    MemoryRoot root = machine();
    node(root, "sys/class/drm", card, {{"dev", "226:1\n"}});
    node(root, "sys/class/drm", card + "/card1-DP-1", {{"status", "connected\n"}, {"edid", edid()}});
    node(root, "sys/class/drm", card + "/card1-HDMI-A-1", {{"status", "disconnected\n"}, {"edid", edid()}});
    node(root, "sys/class/drm", card + "/card1-HDMI-A-2", {{"status", "connected\n"}, {"edid", edid(false)}});
    root.file("sys/class/drm/version", "drm 1.1.0\n");
    RecordingSink const sink = scan(root);
    EXPECT_EQ(sink.ofType(C::Monitor()).size(), 2u);
    EXPECT_EQ(placeOf(sink, "card1-DP-1"), "Monitor PCI:2:0:0:DP-1 below PCI:2:0:0");
    EXPECT_EQ(known(sink, "card1-DP-1")->name, String("DELL U2713HM"));
    for (auto const& [key, wanted] : {std::pair{"Connector", "DP-1"},
                                      {"Manufacturer", "DEL"},
                                      {"Model", "DELL U2713HM"},
                                      {"SerialNumber", "9X2VY43D00TL"},
                                      {"DeviceId", "a0c0"},
                                      {"PreferredMode", "2560x1440, 60 Hz"},
                                      {"YearOfManufacture", "2014"},
                                      {"Status", "-"}})
        EXPECT_EQ(property(sink, "card1-DP-1", key), wanted) << key;
    EXPECT_EQ(property(sink, "card1-DP-1", "PictureWidth").substr(0, 3), "597");
    EXPECT_EQ(property(sink, "card1-DP-1", "PictureHeight").substr(0, 3), "336");
    EXPECT_EQ(property(sink, "card1-HDMI-A-2", "SerialNumber"), "808465740")
        << "the number stands for the text";
}

TEST(Monitors, DamageCostsFactsOnly)
{
    std::string turned = edid();
    turned[20] = static_cast<char>(turned[20] ^ 1);
    std::string empty = bytes({0, 255, 255, 255, 255, 255, 255, 0});
    empty.resize(128, '\0');
    struct Case
    {
        std::string content;
        char const *model, *manufacturer, *status;
    } const cases[] = {
        {turned, "-", "-", "The monitor's description of itself is damaged"},
        {edid().substr(0, 127), "-", "-", "The monitor's description of itself is damaged"},
        {std::string(256, '\xFF'), "-", "-", "The monitor's description of itself is damaged"},
        {"", "-", "-", "-"},
        {summed(empty), "-", "-", "-"},
    };
    for (Case const& c : cases) {
        MemoryRoot root = machine();
        root.files("sys/class/drm/card0-VGA-1", {{"status", "connected\n"}, {"edid", c.content}});
        RecordingSink const sink = scan(root);
        ASSERT_EQ(sink.ofType(C::Monitor()).size(), 1u);
        EXPECT_EQ(placeOf(sink, "card0-VGA-1"), "Monitor Monitor:VGA-1 below System");
        EXPECT_EQ(property(sink, "card0-VGA-1", "Model"), c.model);
        EXPECT_EQ(property(sink, "card0-VGA-1", "Manufacturer"), c.manufacturer);
        EXPECT_EQ(property(sink, "card0-VGA-1", "Status"), c.status);
        for (char const* key : {"PreferredMode", "PictureWidth", "YearOfManufacture", "SerialNumber"})
            EXPECT_EQ(property(sink, "card0-VGA-1", key), "-") << key;
    }
}
