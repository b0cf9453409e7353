#include <zel/enumerator/root/Text.h>

#include <gtest/gtest.h>

using namespace zel;

TEST(Text, Numbers)
{
    struct Case
    {
        char const* text;
        std::optional<std::int64_t> expected;
    };
    Case const cases[] = {
        {"42", 42},
        {" 42\n", 42},
        {"-7", -7},
        {"0x1F", 31},
        {"0XfF", 255},
        {"9223372036854775807", INT64_MAX},
        {"-9223372036854775808", INT64_MIN},
        {"9223372036854775808", std::nullopt},
        {"", std::nullopt},
        {"0x", std::nullopt},
        {"0x-1", std::nullopt},
        {"+1", std::nullopt},
        {"12abc", std::nullopt},
        {"1 2", std::nullopt},
        {"1.5", std::nullopt},
        {"<unsupported>", std::nullopt},
    };
    for (Case const& c : cases)
        EXPECT_EQ(text::toNumber(c.text), c.expected) << c.text;
    EXPECT_EQ(text::toUnsigned("18446744073709551615"), UINT64_MAX);
    EXPECT_EQ(text::toUnsigned("-1"), std::nullopt);
    EXPECT_EQ(text::toHexadecimal("8086"), 0x8086u);
    EXPECT_EQ(text::toHexadecimal("0x8086\n"), 0x8086u);
    EXPECT_EQ(text::toHexadecimal("10000000000000000"), std::nullopt);
    EXPECT_EQ(text::toHexadecimal("0x"), std::nullopt);
}

TEST(Text, KernelListsAndMasks)
{
    using List = std::optional<std::vector<unsigned>>;
    EXPECT_EQ(text::toList("0-2,8\n"), List({0, 1, 2, 8}));
    EXPECT_EQ(text::toList("\n"), List(std::vector<unsigned>{}));
    EXPECT_EQ(text::toList("3-1"), std::nullopt);
    EXPECT_EQ(text::toList("1,,2"), std::nullopt);
    EXPECT_EQ(text::toList("0-4294967295"), std::nullopt) << "a hostile range must not fill the memory";
    EXPECT_EQ(text::toList("0-3,0-3", 6), std::nullopt) << "the limit counts over all parts";
    EXPECT_EQ(text::toList("0-3,0-2", 6), std::nullopt) << "one too many";
    EXPECT_EQ(text::toList("0-3,0-1", 6), List({0, 1, 2, 3, 0, 1}));
    EXPECT_EQ(text::toMask("80000001,000000f0\n"), List({4, 5, 6, 7, 32, 63}));
    EXPECT_EQ(text::toMask("f"), List({0, 1, 2, 3}));
    EXPECT_EQ(text::toMask("100000000"), std::nullopt);
    EXPECT_EQ(text::listText({0, 1, 2, 8}), "0-2,8");
    EXPECT_EQ(text::listText({5, 7}), "5,7");
    EXPECT_EQ(text::listText({3, 5, 6}), "3,5-6");
}

TEST(Text, CacheSizes)
{
    EXPECT_EQ(text::toByteCount("32K"), 32768u);
    EXPECT_EQ(text::toByteCount("16M\n"), 16777216u);
    EXPECT_EQ(text::toByteCount("512"), 512u);
    EXPECT_EQ(text::toByteCount("2k"), 2048u);
    EXPECT_EQ(text::toByteCount("1G"), 1u << 30);
    EXPECT_EQ(text::toByteCount("18446744073709551615"), UINT64_MAX);
    EXPECT_EQ(text::toByteCount("18014398509481983K"), UINT64_MAX - 1023);
    EXPECT_EQ(text::toByteCount(""), std::nullopt);
    EXPECT_EQ(text::toByteCount("K"), std::nullopt);
    EXPECT_EQ(text::toByteCount("18446744073709551615K"), std::nullopt);
    EXPECT_EQ(text::toByteCount("32 KB"), std::nullopt);
}

TEST(Text, NamesSortAsPeopleCount)
{
    char const* const ascending[] = {"",       "cpu",     "cpu0",    "cpu00",   "cpu02", "cpu2",
                                     "cpu9",   "cpu10",   "cpu1000", "cpus",    "eth",   "usb1",
                                     "usb1.2", "usb1.10", "usb1x",   "\xC3\xA9"};
    std::size_t const count = std::size(ascending);
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < count; ++j)
            EXPECT_EQ(text::naturalLess(ascending[i], ascending[j]), i < j)
                << ascending[i] << " " << ascending[j];
}

TEST(Text, WhatVendorsLeaveBlank)
{
    for (char const* blank : {"",
                              "   ",
                              "To Be Filled By O.E.M.",
                              "to be filled by o.e.m.",
                              "Not Specified",
                              "Default string",
                              "System Serial Number",
                              "0123456789",
                              "9876543210",
                              "None",
                              "N/A",
                              "........",
                              "00000000",
                              "FFFFFFFF",
                              "xxxxxxxx",
                              "0x00000000",
                              "-",
                              "SerNum0",
                              "Array1_PartNumber2",
                              "Manufacturer01",
                              "Not Available",
                              "No Asset Information",
                              "Undefined",
                              "Dimm0_AssetTag",
                              "\xFF\xFF\xFF\xFF"})
        EXPECT_EQ(text::meaningful(std::string_view(blank)), std::nullopt) << blank;
    EXPECT_EQ(text::meaningful(std::string_view(std::string(4095, 'q'))), std::nullopt) << "a page of noise";
    // Looks like a blank, is none.
    for (char const* kept :
         {"L3AK195", "0", "7", "F1", "None of them", "Dell Inc.", "15C774EF", "ffff1", "Manufacturer X",
          "DIMM A1", "Rack_AssetTag", "0x", "\xC2\xA9 ACME", "ACME\xC2\xA0", "ACME\xC2"})
        EXPECT_EQ(text::meaningful(std::string_view(kept)), kept);
    EXPECT_EQ(text::meaningful(std::string_view(" Intel(R)   Core\t i5 \n")), "Intel(R) Core i5");
    EXPECT_EQ(text::meaningful(std::string_view("AC\xC2\x80ME\xC2\x9F!")), "ACME!") << "controls";
    std::string const longest(1023, 'q');
    EXPECT_EQ(text::meaningful(std::optional(longest + "r")), longest + "r");
    EXPECT_EQ(text::meaningful(std::optional(longest + "rs")), std::nullopt);
    EXPECT_EQ(text::meaningful(std::string_view("a\x01\x7f"
                                                "b")),
              "a b");
}

TEST(Text, KeyValueLines)
{
    auto const values = text::keyValueLines("A=1\nnoise\nB = two words \nA=2\n=x\nC=", '=');
    EXPECT_EQ(values.at("A"), "1");
    EXPECT_EQ(values.at("B"), "two words");
    EXPECT_EQ(values.at("C"), "");
    EXPECT_EQ(values.count("noise"), 0u);
}

TEST(Text, SmallLetters) { EXPECT_EQ(text::lowered("@AZ[`az{\xC3\x84"), "@az[`az{\xC3\x84"); }

TEST(Text, TheChoiceInForce)
{
    std::string const most(64, 'c');
    for (auto const& [line, chosen] : {std::pair<std::string, std::string>{"source [sink]\n", "sink"},
                                       {"[host] device", "host"},
                                       {"C [ PD ] PD_PPS", "PD"},
                                       {"usb_power_delivery", "usb_power_delivery"},
                                       {"C] [PD]", "PD"},
                                       {"source sink", "-"},
                                       {"source [sink", "-"},
                                       {"sink]", "-"},
                                       {"[source sink]", "-"},
                                       {"[]", "-"},
                                       {"", "-"},
                                       {most, most},
                                       {most + "c", "-"}})
        EXPECT_EQ(text::chosenOf(line).value_or("-"), chosen) << line;
}
