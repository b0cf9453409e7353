// What drives say of their own health: from a report to readings, and the program that is asked.
#include "Machine.h"
#include "Tree.h"

#include <sensors/DriveHealth.h>

#include <algorithm>
#include <fstream>
#include <map>

namespace krel5::modules::sensors {
namespace {

using test::Machine;
using test::Tree;

std::map<std::string, double> named(Readings const& readings)
{
    std::map<std::string, double> all;
    for (auto const& [id, value] : readings.values)
        all[rowOf(id).key] = value;
    for (Limit const& limit : readings.limits)
        all[limit.key] = limit.value;
    return all;
}

using Numbers = std::map<std::string, double>;

TEST(DriveHealth, IsWhatTheReportSays)
{
    EXPECT_EQ(named(healthReadings(R"({"smart_status":{"passed":true},"temperature":{"current":41},
        "nvme_smart_health_information_log":{"critical_warning":0,"percentage_used":7,"available_spare":90,
        "available_spare_threshold":10,"media_errors":2}})",
                                   0)),
              (Numbers{{"Failing", 0},
                       {"Temperature", 41},
                       {"Wear", 7},
                       {"SpareSpace", 90},
                       {"MinimumSpareSpace", 10},
                       {"MediaErrors", 2}}));
    EXPECT_EQ(named(healthReadings(R"({"smart_status":{"passed":true},"ata_smart_attributes":{"table":[
        {"id":5,"name":"Reallocated_Sector_Ct","value":99,"thresh":10,"raw":{"value":8,"string":"8"}},
        {"id":177,"name":"Wear_Leveling_Count","value":83,"thresh":0,"raw":{"value":170,"string":"170"}},
        {"id":187,"name":"Reported_Uncorrect","value":100,"thresh":0,"raw":{"value":3,"string":"3"}},
        {"id":197,"name":"Current_Pending_Sector","value":100,"thresh":0,"raw":{"value":4,"string":"4"}},
        {"id":199,"name":"UDMA_CRC_Error_Count","value":200,"thresh":0,"raw":{"value":5,"string":"5"}}]}})",
                                   0)),
              (Numbers{{"Failing", 0},
                       {"Wear", 17},
                       {"ReallocatedSectors", 8},
                       {"MediaErrors", 3},
                       {"PendingSectors", 4},
                       {"LinkErrors", 5}}));
    EXPECT_EQ(
        named(healthReadings(
            R"({"smart_status":{"passed":true},"scsi_grown_defect_list":6,"temperature":{"current":40,"drive_trip":65},
        "scsi_percentage_used_endurance_indicator":120,
        "scsi_error_counter_log":{"read":{"total_uncorrected_errors":1},"write":{"total_uncorrected_errors":2}}})",
            0)),
        (Numbers{{"Failing", 0},
                 {"Wear", 100},
                 {"ReallocatedSectors", 6},
                 {"MediaErrors", 3},
                 {"Temperature", 40},
                 {"MaximumTemperature", 65}}));
    EXPECT_EQ(
        named(healthReadings(R"({"smart_status":{"passed":true},"temperature":{"current":40,"op_limit_max":60,
        "limit_max":70,"op_limit_min":0,"drive_trip":0}})",
                             0)),
        (Numbers{
            {"Failing", 0}, {"Temperature", 40}, {"MaximumTemperature", 60}, {"CriticalTemperature", 70}}));
    EXPECT_TRUE(named(healthReadings(R"({"smartctl":{"exit_status":2,"messages":[
        {"string":"Device is in STANDBY mode, exit","severity":"information"
}]
}
})",
                                     2))
                    .empty());
    std::size_t const deep = 1'000'000;
    for (std::string const& damaged :
         {std::string(), std::string("no report"), std::string("[]"), std::string("{\"smart_status\":"),
          std::string("\xFF\xFE"), std::string(deep, '['), std::string(deep, '[') + std::string(deep, ']')})
        EXPECT_FALSE(healthReadings(damaged, 0).failure.empty()) << damaged.substr(0, 20);
    std::string nested;
    for (int i = 0; i < 100'000; ++i)
        nested += "{\"temperature\":";
    EXPECT_TRUE(named(healthReadings(nested + "1" + std::string(100'000, '}'), 0)).empty());
}

// The test of a drive's health judges these, too: what is watched must not say anything else.
TEST(DriveHealth, IsAsTheTestOfDrivesJudgesIt)
{
    std::ifstream in(SMART_REPORTS);
    std::string name, verdict, report;
    int status = 0;
    bool hasOptions = false;
    std::size_t failing = 0, well = 0, unknown = 0;
    auto const judge = [&] {
        if (report.empty() || hasOptions)
            return;
        auto const said = healthReadings(report, status).find(ReadingId::Failing);
        std::optional<double> const wanted = verdict.starts_with("FAIL ")   ? std::optional(1.0)
                                             : verdict.starts_with("PASS ") ? std::optional(0.0)
                                                                            : std::nullopt;
        EXPECT_EQ(said, wanted) << name;
        ++(!wanted ? unknown : *wanted > 0 ? failing : well);
    };
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("=== ")) {
            judge();
            name = line;
            report.clear();
            hasOptions = false;
        } else if (line.starts_with("exit "))
            status = std::stoi(line.substr(5));
        else if (line.starts_with("verdict "))
            verdict = line.substr(8);
        else if (line.starts_with("set "))
            hasOptions = true;
        else if (line.starts_with("{") || line.starts_with(" "))
            report += line + "\n";
    }
    judge();
    EXPECT_GT(failing, 5u);
    EXPECT_GT(well, 5u);
    EXPECT_GT(unknown, 5u);
}

std::string program(Tree const& tree, std::string const& body)
{
    tree.write("smartctl", "#!/bin/sh\n" + body);
    ::chmod(tree.path("smartctl").c_str(), 0700);
    return tree.path("smartctl");
}

TEST(DriveHealth, IsAskedForOfAProgramThatMayBeMissingHangOrFlood)
{
    Tree tree;
    std::string const asking = program(tree, "[ \"$*\" = '--json -a -n standby /dev/sda' ] && "
                                             "echo '{\"smart_status\":{\"passed\":false}}'; exit 8\n");
    EXPECT_EQ(named(askDrive(asking, "/dev/sda")), (Numbers{{"Failing", 1}}));
    EXPECT_EQ(askDrive(program(tree, "exec sleep 60\n"), "/dev/sda", 0.3).failure,
              "smartctl: no answer within 0 s");
    EXPECT_EQ(askDrive(program(tree, "kill -9 $$\n"), "/dev/sda").failure, "smartctl: ended by signal 9");
    EXPECT_EQ(askDrive(program(tree, "exec yes\n"), "/dev/sda").failure, "smartctl: too much output");
    EXPECT_EQ(askDrive(tree.path("nothing"), "/dev/sda").failure, "smartctl: No such file or directory");
}

/// A SATA drive as the kernel shows it.
void writeDrive(Tree const& tree, std::string const& name, int number)
{
    std::string const host = "host" + std::to_string(number), address = std::to_string(number) + ":0:0:0";
    std::string const device = "sys/devices/pci0000:00/0000:00:1f.2/ata" + std::to_string(number + 1) + "/" +
                               host + "/target" + address.substr(0, address.rfind(':')) + "/" + address;
    std::string const drive = device + "/block/" + name;
    tree.write(device + "/vendor", "ATA     \n");
    tree.write(device + "/model", "Drive " + name + "\n");
    tree.write(drive + "/size", "1000000\n");
    tree.write(drive + "/queue/rotational", "0\n");
    tree.link("sys/block/" + name, drive);
    tree.link(drive + "/device", device);
}

TEST(DriveHealth, IsAskedForSeldomAndOfRealDrivesOnly)
{
    Tree tree;
    writeDrive(tree, "sda", 0);
    writeDrive(tree, "sdb", 1);
    tree.write("sys/block/loop0/size", "1000\n");
    tree.write("smartctl/sda.json", R"({"smart_status":{"passed":true},"temperature":{"current":30}})");
    Machine machine(tree.root());
    std::vector<Part const*> asked;
    for (auto const& part : machine.parts())
        if (part->isHealth)
            asked.push_back(part.get());
    ASSERT_EQ(asked.size(), 2u);
    EXPECT_NE(asked[0]->id(), asked[0]->guid) << "the drive has readings of its own";
    machine.poller().setHealthInterval(std::chrono::hours(1));
    EXPECT_EQ(machine.read().count("sda Temperature"), 1u);
    tree.write("smartctl/sda.json", R"({"smart_status":{"passed":true},"temperature":{"current":50}})");
    machine.read();
    Part const& first = asked[0]->path == "sda" ? *asked[0] : *asked[1];
    auto last = machine.poller().take(first.id());
    ASSERT_TRUE(last);
    EXPECT_EQ(last->readings.find(ReadingId::Temperature), 30) << "within the hour";
    EXPECT_FALSE(last->isSilent);
    auto const other = machine.poller().take((&first == asked[0] ? asked[1] : asked[0])->id());
    EXPECT_FALSE(other->isSilent) << "one of which there is no report is not ill";
    EXPECT_TRUE(other->readings.values.empty());
}

} // namespace
} // namespace krel5::modules::sensors
