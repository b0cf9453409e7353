// Monitors, by what they say of themselves.

#include "../HardwareMachine.h"

#include <zel/enumerator/attached/Edid.h>

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
    node(root, "sys/class/drm", card + "/card1-DP-1",
         {{"status", "connected\n"}, {"edid", edid() + std::string(128, '\x02')}});
    node(root, "sys/class/drm", card + "/card1-HDMI-A-1", {{"status", "disconnected\n"}, {"edid", edid()}});
    node(root, "sys/class/drm", card + "/card1-HDMI-A-2", {{"status", "connected\n"}, {"edid", edid(false)}});
    root.file("sys/class/drm/version", "drm 1.1.0\n").file("sys/class/drm/card0-/status", "connected\n");
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
        {summed("\1" + edid().substr(1)), "-", "-", "The monitor's description of itself is damaged"},
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

TEST(Monitors, EachFactStandsForItself)
{
    using Edits = std::vector<std::pair<std::size_t, std::string>>;
    constexpr std::size_t kTiming = 54, kSerial = 77, kNameTag = 93; // of the block above
    std::string const blank(13, ' ');
    struct Case
    {
        char const* what;
        Edits edits;
        char const* wanted;
    } const cases[] = {
        {"as it is", {}, "DEL, DELL U2713HM, 9X2VY43D00TL, 597x336, 2560x1440, 60 Hz"},
        {"half-pictures",
         {{kTiming + 17, "\x9A"}},
         "DEL, DELL U2713HM, 9X2VY43D00TL, 597x336, 2560x2880i, 60 Hz"},
        {"first and last letter",
         {{8, "\x07\x5A"}},
         "AZZ, DELL U2713HM, 9X2VY43D00TL, 597x336, 2560x1440, 60 Hz"},
        {"beyond the last letter",
         {{8, "\x6C\x21"}},
         "-, DELL U2713HM, 9X2VY43D00TL, 597x336, 2560x1440, 60 Hz"},
        {"before the first letter",
         {{8, "\x04\x01"}},
         "-, DELL U2713HM, 9X2VY43D00TL, 597x336, 2560x1440, 60 Hz"},
        {"no name", {{kNameTag, "\xFE"}}, "DEL, -, 9X2VY43D00TL, 597x336, 2560x1440, 60 Hz"},
        {"a ratio for the size, centimetres",
         {{kTiming + 12, "\x10\x09\0"s}},
         "DEL, DELL U2713HM, 9X2VY43D00TL, 600x340, 2560x1440, 60 Hz"},
        {"a ratio on one side",
         {{kTiming + 13, "\x09\x20"}},
         "DEL, DELL U2713HM, 9X2VY43D00TL, 600x340, 2560x1440, 60 Hz"},
        {"a ratio twice",
         {{kTiming + 12, "\x10\x09\0"s}, {22, "\0"s}},
         "DEL, DELL U2713HM, 9X2VY43D00TL, -, 2560x1440, 60 Hz"},
        {"a ratio twice, upright",
         {{kTiming + 12, "\x10\x09\0"s}, {21, "\0"s}},
         "DEL, DELL U2713HM, 9X2VY43D00TL, -, 2560x1440, 60 Hz"},
        {"the smallest picture",
         {{kTiming + 12, "\x14\x14\0"s}},
         "DEL, DELL U2713HM, 9X2VY43D00TL, 20x20, 2560x1440, 60 Hz"},
        {"no timing", {{kTiming, "\0\0"s}}, "DEL, DELL U2713HM, 9X2VY43D00TL, 600x340, -"},
        {"no columns", {{kTiming + 2, "\0\xA0\0"s}}, "DEL, DELL U2713HM, 9X2VY43D00TL, 600x340, -"},
        {"no serial number",
         {{kSerial, blank}, {12, "\0\0\0\0"s}},
         "DEL, DELL U2713HM, -, 597x336, 2560x1440, 60 Hz"},
        {"ones for a serial number",
         {{kSerial, blank}, {12, "\1\1\1\1"}},
         "DEL, DELL U2713HM, -, 597x336, 2560x1440, 60 Hz"},
        {"an erased serial number",
         {{kSerial, blank}, {12, "\xFF\xFF\xFF\xFF"}},
         "DEL, DELL U2713HM, -, 597x336, 2560x1440, 60 Hz"},
    };
    for (Case const& c : cases) {
        std::string block = edid();
        for (auto const& [at, octets] : c.edits)
            block.replace(at, octets.size(), octets);
        auto const read = Edid::parse(summed(block) + std::string(128, '\x11')); // and a block of extensions
        ASSERT_TRUE(read) << c.what;
        std::string const size =
            read->widthMm ? std::to_string(*read->widthMm) + "x" + std::to_string(*read->heightMm) : "-";
        EXPECT_EQ(read->manufacturer.value_or("-") + ", " + read->name.value_or("-") + ", " +
                      read->serial.value_or("-") + ", " + size + ", " + read->preferredMode.value_or("-"),
                  c.wanted)
            << c.what;
    }
}
