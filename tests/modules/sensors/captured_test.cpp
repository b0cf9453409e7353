// Machines that were captured elsewhere: every sensor of them is found, and what is read is what its file says.
#include "Machine.h"
#include "Tree.h"

#include <cstdio>

namespace krel5::modules::sensors {
namespace {

namespace fs = std::filesystem;
using test::Machine;
using test::Tree;

/// Where the file that is read stands, and by how much its number is larger than the reading.
struct Input
{
    char const* prefix;
    ReadingId id;
    double factor, least, most;
};

constexpr Input kInputs[] = {{"temp", ReadingId::Temperature, 1e-3, -20, 120},
                             {"fan", ReadingId::FanSpeed, 1, 0, 20'000},
                             {"in", ReadingId::Voltage, 1e-3, 0, 60},
                             {"power", ReadingId::Power, 1e-6, 0, 1000}};

std::size_t compare(std::string const& root)
{
    Machine machine(root);
    MachineFiles const files(root);
    machine.read();
    std::size_t compared = 0;
    for (auto const& part : machine.parts()) {
        std::string const file = part->path.substr(part->path.rfind('/') + 1);
        auto const number = numberIn(files.read(part->path).content);
        auto const last = machine.poller().take(part->guid);
        for (Input const& input : kInputs) {
            if (!file.starts_with(input.prefix) || !number || part->path.find("hwmon") == std::string::npos)
                continue;
            double const wanted = *number * input.factor;
            if (wanted < input.least || wanted > input.most)
                continue;
            EXPECT_NEAR(last->readings.find(input.id).value_or(-1e9), wanted, 1e-9) << root << part->path;
            ++compared;
        }
        for (Limit const& low : part->limits)
            for (Limit const& high : part->limits) {
                bool const isPair =
                    low.key.starts_with("Minimum") && high.key == "Maximum" + low.key.substr(7);
                EXPECT_TRUE(!isPair || low.value < high.value) << root << part->path;
            }
        if (auto const charge = last->readings.find(ReadingId::Charge)) {
            EXPECT_GE(*charge, 0);
            EXPECT_LE(*charge, 100);
            ++compared;
        }
    }
    return compared;
}

TEST(CapturedSensors, AreReadAsTheirFilesSay)
{
    fs::path const archive = fs::path(KREL5_FIXTURES) / "given.tar.xz";
    if (!fs::exists(archive))
        GTEST_SKIP() << "no captured machines: " << archive << " is not there";
    Tree tree;
    std::string const command = "tar -C '" + tree.root() + "' -xJf '" + archive.string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::size_t machines = 0, withSensors = 0, compared = 0;
    for (auto const& folder : fs::directory_iterator(tree.path("given")))
        if (folder.is_directory()) {
            std::size_t const here = compare(folder.path().string());
            ++machines;
            withSensors += here > 0;
            compared += here;
        }
    RecordProperty("compared", static_cast<int>(compared));
    std::printf("%zu machines, %zu with sensors, %zu readings\n", machines, withSensors, compared);
    EXPECT_GE(withSensors, 3u);
    EXPECT_GE(compared, 20u);
}

} // namespace
} // namespace krel5::modules::sensors
