#include <zel/model/vocabulary/CapabilityImp.h>
#include <zel/model/vocabulary/PropertyCategoryImp.h>

#include <gtest/gtest.h>

using namespace zel;

namespace {

CapabilityImp capability(char const* text) { return CapabilityImp::getConstantByString(text); }

struct PairCase
{
    char const *left, *right;        // as text
    char const *joined, *common;     // union and intersection, as text
    bool leftHasRight, rightHasLeft; // isCapable in both directions
};

} // namespace

TEST(Capability, unionIntersectionAndInclusion)
{
    PairCase const cases[] = {
        {"PCI", "USB", "PCI, USB", "NIL", false, false},
        {"USB", "PCI", "PCI, USB", "NIL", false, false}, // the table's order, not that of the calls
        {"PCI, USB", "USB", "PCI, USB", "USB", true, false},
        {"NIL", "USB", "USB", "NIL", false, true},
        {"", "NIL", "NIL", "NIL", true, true},
        {"All", "USB", "All", "USB", true, false},
        {"All", "NIL", "All", "NIL", true, false},
        {"All", "All", "All", "All", true, true},
        {"All", "FD", "All", "FD", true, false}, // also what is no constant
        {"FD", "PS/2", "FD, PS/2", "NIL", false, false},
        {"PS/2, USB, FD", "FD, PCI", "PCI, USB, FD, PS/2", "FD", false, false},
        {"FD, USB", "USB, FD", "USB, FD", "USB, FD", true, true},
        {"INVALID", "USB", "INVALID, USB", "NIL", false, false},
    };
    for (PairCase const& c : cases) {
        SCOPED_TRACE(std::string(c.left) + " with " + c.right);
        CapabilityImp const left = capability(c.left), right = capability(c.right);
        EXPECT_EQ((left | right).toString().toUtf8(), c.joined);
        EXPECT_EQ(left | right, right | left);
        EXPECT_EQ(left.intersect(right).toString().toUtf8(), c.common);
        EXPECT_EQ(right.intersect(left).toString().toUtf8(), c.common);
        EXPECT_EQ(left.intersects(right), std::string(c.common) != "NIL");
        EXPECT_EQ(left.isCapable(right), c.leftHasRight);
        EXPECT_EQ(right.isCapable(left), c.rightHasLeft);
        CapabilityImp grown = left;
        grown |= right;
        EXPECT_EQ(grown, left | right);
        EXPECT_TRUE(grown.isCapable(left) && grown.isCapable(right));
    }
}

TEST(Capability, textsThatAreHardToRead)
{
    std::size_t const rowsButNilAllAndInvalid = CapabilityImp::table().size() - 3;
    struct
    {
        char const* text;
        char const* set;
        std::size_t count;
    } const cases[] = {
        {"", "NIL", 0},
        {" , ,, ", "NIL", 0},
        {"NIL, USB", "USB", 1},
        {"USB,USB , USB", "USB", 1},
        {"FD,FD", "FD", 1},
        {"  PS/2 ", "PS/2", 1},
        {"usb", "usb", 1}, // case counts: not the constant
        {"USB, All, FD", "All", rowsButNilAllAndInvalid},
        {"3DNOW", "3DNOW", 1},
        {"Zażółć", "Zażółć", 1},
    };
    for (auto const& c : cases) {
        CapabilityImp const parsed = capability(c.text);
        EXPECT_EQ(parsed.toString().toUtf8(), c.set) << c.text;
        EXPECT_EQ(parsed.primitiveCapabilityCount(), c.count) << c.text;
        EXPECT_EQ(capability(c.set), parsed) << c.text; // what is printed is read back
    }
    EXPECT_EQ(CapabilityImp::NIL(), CapabilityImp());
    EXPECT_TRUE(capability("NIL").isEmpty());
}

TEST(Capability, everythingReadOneByOneIsNotAll)
{
    CapabilityImp every;
    for (int row = 0; row < static_cast<int>(CapabilityImp::Code::kCount); ++row) {
        if (row != static_cast<int>(CapabilityImp::Code::ALL))
            every |= CapabilityImp(static_cast<CapabilityImp::Code>(row));
    }
    EXPECT_EQ(every.primitiveCapabilityCount(),
              CapabilityImp::table().size() - 2); // all rows but NIL and ALL
    EXPECT_FALSE(every.isAll());
    EXPECT_FALSE(every.isCapable(CapabilityImp::ALL()));
    EXPECT_TRUE(CapabilityImp::ALL().isCapable(every));
    EXPECT_EQ(capability(every.toString().toUtf8().c_str()), every);
}

TEST(Capability, rankIsTheGreatestOfTheMembers)
{
    struct
    {
        char const* text;
        int rank;
    } const cases[] = {
        {"NIL", 0},
        {"All", 0},
        {"MouseTest", -1},
        {"MouseTest, FD", 0},
        {"FD", 0},
        {"PCI, CPU", 30},
        {"CDROM, DVDRAM", 85},
        {"BDRE", 125},
        {"MouseTest, KeyboardTest", -1},
        {"ServeRaid", 100},
        {"CDRWHIGHSPEED", 71},
        {"PCIBridge", 20},
    };
    for (auto const& c : cases)
        EXPECT_EQ(capability(c.text).rank(), c.rank) << c.text;
}

TEST(PropertyCategory, isASetOfFlags)
{
    using Category = PropertyCategoryImp;
    Category const link = Category::LinkInFromDevice() | Category::Group();
    EXPECT_EQ(link.toString(), "Group, LinkInFromDevice");
    EXPECT_EQ(Category::getConstantByString("LinkInFromDevice,Group"), link);
    EXPECT_TRUE(link.isCapable(Category::Group()));
    EXPECT_FALSE(Category::Group().isCapable(link));
    EXPECT_TRUE(Category::Group().isCapable(Category()));
    EXPECT_TRUE(Category::ALL().isCapable(link));
    EXPECT_FALSE(link.isCapable(Category::ALL()));
    EXPECT_EQ(link | Category::ALL(), Category::ALL());
    EXPECT_EQ(Category().toString(), "");
    EXPECT_EQ(Category::getConstantByString(" , "), Category());
    EXPECT_EQ(Category::getConstantByString("FRU, nonsense").toString(), "Invalid, FRU");
}
