// Hardware addresses, kinds of input devices, names of sound cards.

#include <zel/enumerator/attached/InputClass.h>
#include <zel/enumerator/attached/MacAddress.h>
#include <zel/enumerator/attached/SoundCardNames.h>
#include <zel/enumerator/root/Text.h>

#include <gtest/gtest.h>

using namespace zel;
using C = CapabilityImp;

TEST(MacAddress, readsWhatIdentifiesACard)
{
    EXPECT_EQ(parseMac("00:1A:2b:ff:0d:01"), (MacAddress{0, 0x1A, 0x2B, 0xFF, 0x0D, 1}));
    EXPECT_EQ(macText(*parseMac("00:1A:2b:ff:0d:01")), "00:1a:2b:ff:0d:01");
    for (char const* text :
         {"00:00:00:00:00:00", "ff:ff:ff:ff:ff:ff", "01:00:5e:00:00:01", "00:1a:2b:ff:0d", "",
          "00:1a:2b:ff:0d:0g", "00-1a-2b-ff-0d-01", "00:1a:2b:ff:0d-01", "00:1a:2b:ff:0d:01:02"})
        EXPECT_FALSE(parseMac(text)) << text;
}

TEST(InputKind, tellsWhatAHandWorksWith)
{
    struct Case
    {
        char const* uevent;
        C type; ///< NIL: of no interest
        char const* description;
    } const cases[] = {
        {"EV=120013\nKEY=1100f02902000 8380307cf910f001 feffffdfffefffff fffffffffffffffe\n"
         "MODALIAS=input:b0011v0001p0001eAB41-e0,1,4,11,14,k71,72,ram4,l0,1,2,sfw\n",
         C::Keyboard(), "Keyboard"},
        // As Linux 2.6.27 wrote it.
        {"EV==120013\nKEY==402000000 3803078f800d001 feffffdfffefffff fffffffffffffffe\n", C::Keyboard(),
         "Keyboard"},
        // A kernel with words of 32 bits.
        {"EV=120013\nKEY=10000 7 ff800000 7ff febeffdf f3cfffff ffffffff fffffffe\n", C::Keyboard(),
         "Keyboard"},
        {"EV=7\nKEY=70000 0 0 0 "
         "0\nMODALIAS=input:b0011v0002p000Ae0000-e0,1,2,k110,111,112,r0,1,amlsfw\nREL=3\n",
         C::Mouse(), "Mouse"},
        {"EV=B\nMODALIAS=input:b0018v06CBp7E7Ee0100-e0,1,3,k110,145,148,14A,14D,14E,ra0,1,18,1C,2F,35,36,"
         "mlsfw\nPROP=5\n",
         C::Mouse(), "Touchpad"},
        {"EV=1B\nMODALIAS=input:b0003v1FD2p6003e0100-e0,1,3,4,k14A,ra0,1,2F,m5,lsfw\nPROP=2\n",
         C::TouchScreen(), "Touch screen"},
        {"EV=B\nMODALIAS=input:b0003v056Ap0357e0110-e0,1,3,k140,141,14A,ra0,1,mlsfw\nPROP=1\n",
         C::Digitizer(), "Pen tablet"},
        {"EV=20000B\nMODALIAS=input:b0003v045Ep028Ee0114-e0,1,3,15,k130,131,133,ra0,1,2,mlsf50,w\n",
         C::Joystick(), "Game controller"},
        {"EV=20000B\nMODALIAS=input:b0003v046DpC215e0110-e0,1,3,k120,121,ra0,1,mlsfw\n", C::Joystick(),
         "Game controller"},
        // A touch screen of an old kernel, which says nothing of its surface; a touchpad on glass.
        {"EV=B\nMODALIAS=input:b0003v0EEFp0001e0100-e0,1,3,k14A,ra0,1,mlsfw\n", C::TouchScreen(),
         "Touch screen"},
        {"EV=B\nMODALIAS=input:b0003v05ACp0265e0110-e0,1,3,k110,145,14A,ra0,1,mlsfw\nPROP=2\n",
         C::TouchScreen(), "Touch screen"},
        // The pointer of a virtual machine; a wheel without a button.
        {"EV=B\nMODALIAS=input:b0003v0627p0001e0001-e0,1,3,k110,111,112,ra0,1,mlsfw\n", C::Mouse(),
         "Pointing device"},
        {"EV=F\nMODALIAS=input:b0003v0001p0001e0001-e0,1,2,3,k71,72,r8,a28,mlsf110,w\n", C(), ""},
        {"EV=3\nKEY=10000000000000 0\nMODALIAS=input:b0019v0000p0001e0000-e0,1,k74,ramlsfw\n", C(),
         ""},                                                                            // power button
        {"EV=21\nMODALIAS=input:b0019v0000p0005e0000-e0,5,kramlsfw0,\nSW=1\n", C(), ""}, // lid
        {"", C(), ""},
        {"EV=zzzz\nKEY=\nMODALIAS=input:-\n", C(), ""},
        {"EV=ffffffffffffffffffffffff\nMODALIAS=-k,,,,kkkk\n", C(), ""},
    };
    for (Case const& c : cases) {
        auto const kind = inputKind(text::keyValueLines(c.uevent));
        EXPECT_EQ(kind ? kind->type : C(), c.type) << c.uevent;
        if (kind) {
            EXPECT_STREQ(kind->description, c.description);
        }
    }
}

TEST(SoundCards, haveTheNameAfterTheDash)
{
    auto const cards = parseSoundCards(" 0 [PCH            ]: HDA-Intel - HDA Intel PCH\n"
                                       "                      HDA Intel PCH at 0xdf240000 irq 141\n"
                                       "x [A]: B - C\n9999999 [A]: B - C\n256 [A]: B - C\n2 [A]: B\n3 ]: [\n"
                                       " 1 [C920           ]: USB-Audio - HD Pro Webcam C920\n"
                                       "255 [A]: B - C\n");
    ASSERT_EQ(cards.size(), 3u);
    EXPECT_EQ(cards.at(0).driver, "HDA-Intel");
    EXPECT_EQ(cards.at(1).name, "HD Pro Webcam C920");
}

TEST(InputName, WithoutTheIdsThatTheKernelPutsThere)
{
    for (auto const& [name, wanted] :
         {std::pair{"HID 05f3:0007", ""}, std::pair{"DLL07D1:01 044E:120B", ""},
          std::pair{"SYNA7DB5:01 06CB:CD41 Touchpad", "Touchpad"},
          std::pair{"Logitech USB Receiver", "Logitech USB Receiver"},
          std::pair{"My 05f3-0007", "My 05f3-0007"}, std::pair{"", ""}, std::pair{"Cafe Mouse", "Cafe Mouse"},
          std::pair{"ACME Game 05f3:0007 Pad", "ACME Game 05f3:0007 Pad"}})
        EXPECT_EQ(inputName(name), wanted) << name;
}
