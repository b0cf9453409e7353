// Machines that were captured elsewhere: every counter of them is found, by what a walk over all of their files finds, and has the number
// that stands in its file.
#include <common/evidence/Counters.h>
#include <common/evidence/HwmonInputs.h>

#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

namespace krel5::modules::evidence {
namespace {

namespace fs = std::filesystem;

bool isCounter(std::string const& path)
{
    for (char const* const ending : {"_throttle_count", "/statistics/rx_errors", "/statistics/tx_errors",
                                     "/ioerr_cnt", "/iotmo_cnt", "/dimm_ce_count", "/dimm_ue_count"})
        if (path.ends_with(ending))
            return true;
    return false;
}

/// Paths below the root, links resolved, of all files that are counters.
std::set<std::string> countersOnDisk(fs::path const& root)
{
    std::set<std::string> all;
    std::error_code error;
    for (fs::recursive_directory_iterator it(root / "sys", error), end; !error && it != end;
         it.increment(error))
        if (!it->is_symlink() && it->is_regular_file() && isCounter(it->path().string()))
            all.insert(it->path().lexically_relative(root).string());
    return all;
}

TEST(CapturedEvidence, IsFoundAndReadAsItsFilesSay)
{
    fs::path const archive = fs::path(KREL5_FIXTURES) / "given.tar.xz";
    if (!fs::exists(archive))
        GTEST_SKIP() << "no captured machines: " << archive << " is not there";
    ::test::TemporaryFolder tree;
    std::string const command = "tar -C '" + tree.path() + "' -xJf '" + archive.string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::size_t machines = 0, compared = 0, inputs = 0;
    for (auto const& folder : fs::directory_iterator(tree.path("given"))) {
        if (!folder.is_directory())
            continue;
        ++machines;
        std::string const root = folder.path().string();
        MachineFolder const machine(root);
        MachineCounters const counters(machine);
        std::set<std::string> found;
        for (CounterValue const& value : counters.read()) {
            Counter const& counter = counters.all().at(value.counter);
            if (!counter.word.empty()) // a row of a table
                continue;
            std::ifstream file(root + "/" + counter.path);
            std::uint64_t number = 0;
            std::string const digits((std::istreambuf_iterator<char>(file)), {});
            number = std::strtoull(digits.c_str(), nullptr, 0);
            EXPECT_EQ(number, value.value) << root << "/" << counter.path;
            EXPECT_NE("", value.part);
            found.insert(machine.resolve(counter.path).value_or(counter.path));
            ++compared;
        }
        for (std::string const& path : countersOnDisk(root))
            EXPECT_EQ(1u, found.count(path)) << root << "/" << path << " counts, and nobody looks";
        for (HotPart const& hot : counters.hotParts())
            EXPECT_GE(hot.degrees, hot.limit) << hot.part;
        for (char const* const kind : {"temp", "fan", "in"})
            inputs += hwmonInputs(machine, kind).size();
        hasErrorCorrection(machine);
    }
    std::printf("%zu machines, %zu counters, %zu inputs of chips\n", machines, compared, inputs);
    EXPECT_GE(machines, 10u);
    EXPECT_GE(compared, 10u);
    EXPECT_GE(inputs, 10u);
}

} // namespace
} // namespace krel5::modules::evidence
