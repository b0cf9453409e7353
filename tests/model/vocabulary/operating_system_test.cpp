#include <zel/model/vocabulary/linux/OperatingSystemLinux.h>

#include <gtest/gtest.h>

#include <string>

using namespace zel;

TEST(OperatingSystem, kernelReleases)
{
    struct
    {
        char const* release;
        char const* major;
        int minor;
    } const cases[] = {
        {"2.6.32-754.el6.x86_64", "2.6", 32},
        {"2.4.37", "2.4", 37},
        {"2.60.1", "Other kernel", 1},
        {"6.1.12-amd64", "Other kernel", 12},
        {"2.6", "2.6", 0},
        {"2.6-custom", "2.6", 0},
        {"2.6.99999999999999", "2.6", 999999},
        {"2.6.-5", "2.6", 0},
        {"", "Other kernel", 0},
        {"...", "Other kernel", 0},
        {"12.6.1", "Other kernel", 1},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(majorVersionOfRelease(c.release).toString().toUtf8(), c.major) << c.release;
        EXPECT_EQ(minorNumberOfRelease(c.release), c.minor) << c.release;
    }
}

TEST(OperatingSystem, machines)
{
    EXPECT_EQ(architectureOfMachine("x86_64"), OperatingSystemArchitectureImp::X86_64());
    EXPECT_EQ(architectureOfMachine("i686"), OperatingSystemArchitectureImp::X86_32());
    EXPECT_EQ(architectureOfMachine("aarch64"), OperatingSystemArchitectureImp::OTHER_ARCHITECTURE());
    EXPECT_EQ(architectureOfMachine(""), OperatingSystemArchitectureImp::OTHER_ARCHITECTURE());
}

TEST(OperatingSystem, distributionsFromOsRelease)
{
    std::string const redHat = "RedHat", suse = "Suse", other = "Other Distribution";
    struct
    {
        std::string osRelease, distribution;
    } const cases[] = {
        {"NAME=\"Red Hat\"\nID=\"rhel\"\nID_LIKE=\"fedora\"\n", redHat},
        {"ID=rocky\nID_LIKE=\"rhel centos fedora\"", redHat},
        {"ID='opensuse-leap'\r\nID_LIKE='suse opensuse'\r\n", suse},
        {"ID_LIKE=suse\nID=geeko\n", suse},
        {"ID=sles\nID_LIKE=fedora", suse}, // its own id goes first
        {"PRETTY_NAME=\"rhel\"\nID=debian\n", other},
        {"ID=debian\nID=fedora\n", redHat}, // the last of two
        {"#ID=rhel\n", other},
        {"ID_LIKE=xrhel rhelx\n", other},
        {"ID=\"rhel\n", other}, // a quote that never ends is part of the value
        {"ID\nID=\n=\n\n==rhel\nID_LIKE", other},
        {"", other},
        {std::string(70000, '\n') + "ID=rhel\n", other}, // beyond what is read
        {std::string("ID=rhel\0\n", 9), other},
    };
    for (auto const& c : cases)
        EXPECT_EQ(distributionOfOsRelease(c.osRelease).toString().toUtf8(), c.distribution)
            << c.osRelease.substr(0, 80);
}

TEST(OperatingSystem, describesItselfInFiveParts)
{
    OperatingSystemPlatformImp const linux_ = OperatingSystemPlatformImp::LINUX();
    OperatingSystemImp const system(
        linux_, OperatingSystemArchitectureImp::X86_64(), OperatingSystemMajorVersionImp::LIN_2_6(),
        OperatingSystemDistributionImp::LIN_REDHAT(), OperatingSystemMinorVersionImp(linux_, 32));
    EXPECT_EQ(system.toString(), "Linux, RedHat, 2.6, 32, x86 64-bit");
    EXPECT_FALSE(system == OperatingSystemImp());
    EXPECT_EQ(OperatingSystemImp::getCurrentOperatingSystem().getPlatform(), linux_);
}
