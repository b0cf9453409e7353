// Mounts, optical drives, vital product data, names of partitions.

#include <zel/enumerator/drives/CdromInfo.h>
#include <zel/enumerator/drives/Drive.h>
#include <zel/enumerator/drives/Mounts.h>
#include <zel/enumerator/drives/ScsiVpd.h>

#include <gtest/gtest.h>

using namespace zel;
using C = CapabilityImp;

namespace {

std::string page(unsigned code, std::string const& content, int claimedMore = 0)
{
    auto const size = static_cast<int>(content.size()) + claimedMore;
    return std::string{'\0', static_cast<char>(code), static_cast<char>(size >> 8),
                       static_cast<char>(size & 0xFF)} +
           content;
}

std::string designator(char type, std::string const& content)
{
    return std::string{'\x02', type, '\0', static_cast<char>(content.size())} + content;
}

std::string padded(std::string text, std::size_t size) { return text.append(size - text.size(), ' '); }

} // namespace

TEST(Mounts, readsBothFilesAndLeavesOutOtherLines)
{
    auto const mounts =
        parseMountInfo("22 27 0:21 / /proc rw - proc proc rw\n"
                       "67 0 8:4 / / rw,relatime shared:1 master:2 - ext4 /dev/sda4 rw\n"
                       "80 67 8:5 / /mnt/two\\040words rw - vfat /dev/sda5 rw\n"
                       "garbage\n81 67 8:6 / /x rw shared:1\n81 67 8:6 / /x rw - ext4\n- - - - - - -\n"
                       "1 2 3:4 / -\n82 67 8:7 / /y rw - ext4 /dev/sdb7\n");
    ASSERT_EQ(mounts.size(), 4u);
    EXPECT_EQ(mounts[3].source, "/dev/sdb7");
    EXPECT_EQ(mounts[1].device, "8:4");
    EXPECT_EQ(mounts[1].source, "/dev/sda4");
    EXPECT_EQ(mounts[1].mountPoint, "/");
    EXPECT_EQ(mounts[1].fileSystem, "ext4");
    EXPECT_EQ(mounts[2].mountPoint, "/mnt/two words");

    auto const old = parseMounts("/dev/sda2 /boot ext4 rw 0 0\nproc /proc\n\\0 \\777 \\04 x\n");
    ASSERT_EQ(old.size(), 2u);
    EXPECT_EQ(old[0].source, "/dev/sda2");
    EXPECT_EQ(old[1].mountPoint, "\\777"); // no character has that number
    for (auto const& [written, read] : {std::pair{"\\040x", " x"},
                                        {"\\123\\134", "S\\"},
                                        {"\\377", "\xFF"},
                                        {"\\400", "\\400"},
                                        {"\\048", "\\048"},
                                        {"\\/12", "\\/12"},
                                        {"x\\04", "x\\04"},
                                        {"x\\", "x\\"},
                                        {"0400", "0400"}})
        EXPECT_EQ(parseMounts("/dev/sda1 " + std::string(written) + " ext4 rw\n").at(0).mountPoint, read);
}

TEST(CdromInfo, givesEachColumnToItsDrive)
{
    auto const drives = parseCdromInfo("CD-ROM information, Id: cdrom.c 3.20 2003/12/17\n\n"
                                       "drive name:\t\tsr1\tsr0\n"
                                       "Can write CD-R:\t\t0\t1\n"
                                       "Can read DVD:1\t1\n"
                                       "Can write DVD-RAM:\t0\t1\t1\t1\n");
    ASSERT_EQ(drives.size(), 2u);
    EXPECT_EQ(opticalType(drives.at("sr0")), C::DVDRAM());
    EXPECT_TRUE(drives.at("sr0").isCapable(C::CDR() | C::DVD() | C::CDROM()));
    EXPECT_EQ(opticalType(drives.at("sr1")), C::DVD());
    EXPECT_FALSE(drives.at("sr1").isCapable(C::CDR()));
    EXPECT_TRUE(parseCdromInfo("Can read DVD:\t1\n").empty());
    EXPECT_EQ(opticalType(C()), C::CDROM());
}

TEST(ScsiVpd, readsSerialNumberAndWholeModel)
{
    EXPECT_EQ(vpdSerialNumber(page(0x80, "  ABC123  ")), "ABC123");
    EXPECT_FALSE(vpdSerialNumber(page(0x83, "ABC123")));
    EXPECT_FALSE(vpdSerialNumber(page(0x80, "      ")));
    EXPECT_FALSE(vpdSerialNumber(""));

    std::string const ata = "ATA     " + padded("KINGSTON SH103S3240G", 40) + padded("50026B724B09A1FF", 20);
    auto const identity =
        vpdAtaIdentity(page(0x83, designator(0, padded("50026B724B09A1FF", 20)) + designator(1, ata)));
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->model, "KINGSTON SH103S3240G");
    EXPECT_EQ(identity->serial, "50026B724B09A1FF");
    // Lengths that promise more than there is.
    EXPECT_TRUE(vpdAtaIdentity(page(0x83, designator(1, ata), 200)));
    EXPECT_FALSE(vpdAtaIdentity(page(0x83, designator(1, ata)).substr(0, 50)));
    EXPECT_FALSE(vpdAtaIdentity(page(0x83, designator(1, "SEAGATE " + padded("x", 60)))));
    EXPECT_FALSE(vpdAtaIdentity(page(0x83, std::string(300, '\0'))));
}

TEST(ScsiVpd, tellsWhatTheMediumIsLike)
{
    struct Case
    {
        std::string content;
        std::optional<unsigned> revolutions;
        std::optional<std::string> form;
    } const cases[] = {
        {{"\x1C\x20\0\x02", 4}, 7200u, "3.5 inch"},
        {{"\0\x01\0\x03", 4}, std::nullopt, "2.5 inch"}, // nothing rotates
        {{"\0\0\0\0", 4}, std::nullopt, std::nullopt},
        {{"\xFF\xFF\0\x0F", 4}, std::nullopt, std::nullopt}, // reserved
        {{"\x1C\x20\0", 3}, std::nullopt, std::nullopt},
    };
    for (Case const& c : cases) {
        MediumFacts const facts = vpdMediumFacts(page(0xB1, c.content));
        EXPECT_EQ(facts.revolutions, c.revolutions);
        EXPECT_EQ(facts.formFactor, c.form);
    }
    EXPECT_FALSE(vpdMediumFacts(page(0xB0, cases[0].content)).revolutions);
}

TEST(Drives, knowTheirPartitions)
{
    EXPECT_EQ(partitionNumber("sda10", "sda"), 10u);
    EXPECT_EQ(partitionNumber("nvme0n1p2", "nvme0n1"), 2u);
    EXPECT_EQ(partitionNumber("nvme0n9p2", "nvme0n9"), 2u);
    EXPECT_EQ(partitionNumber("mmcblk0p3", "mmcblk0"), 3u);
    for (auto const& [name, drive] : {std::pair("sdaa1", "sda"),
                                      {"nvme0n12", "nvme0n1"},
                                      {"sda", "sda"},
                                      {"sda1x", "sda"},
                                      {"queue", "sda"},
                                      {"sda99999999999", "sda"}})
        EXPECT_FALSE(partitionNumber(name, drive)) << name;
}
