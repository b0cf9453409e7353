// Sound cards that have hardware behind them.

#include "../HardwareMachine.h"

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;
using namespace std::string_literals;

TEST(Hardware, SoundCardsAndWhatIsNone)
{
    MemoryRoot root = machine();
    // What is no card, leads nowhere or has no hardware keeps none of the others back.
    root.file("sys/class/sound/adsp/dev", "14:12\n").link("sys/class/sound/card0", "/sys/devices/gone/card0");
    node(root, "sys/class/sound", "sys/devices/virtual/sound/card1", {{"id", "Loopback\n"}});
    node(root, "sys/class/sound", "sys/devices/platform/pcspkr/sound/card2", {{"id", "Speaker\n"}});
    node(root, "sys/class/sound", kNic + "/sound/card3"s, {{"id", "Other\n"}});
    root.file("proc/asound/cards", " 2 [Speaker        ]: pcsp - PC Speaker\n"
                                   "                      Internal PC Speaker\n");
    RecordingSink const sink = scan(root);
    for (auto const& [card, wanted] : {std::pair{"hw:0", "none"},
                                       {"hw:1", "none"},
                                       {"hw:2", "SoundCard pcspkr below System"},
                                       {"hw:3", "SoundCard PCI:2:0:0 below PCI:2:0:0"}})
        EXPECT_EQ(placeOf(sink, card), wanted);
    EXPECT_EQ(known(sink, "hw:2")->name, String("PC Speaker"));
    EXPECT_EQ(RecordingSink::property(known(sink, "hw:2"), "Driver"), "pcsp");
    EXPECT_EQ(known(sink, "hw:3")->name, String("PCI device 8086:10d3 (Sound card)"));
}
