// What reading all of a machine's own counters costs a test. The machine is a written one of 128 processors, 16 memory modules,
// 128 bus functions and 24 drives; files of a folder in memory take as long as the kernel's own, but for what a driver adds.

#include <common/evidence/EvidenceWatch.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;
using krel5::modules::MachineFolder;
using krel5::modules::evidence::MachineCounters;

class Machine
{
public:
    Machine()
    {
        std::string pattern = "/dev/shm/evidenceXXXXXX";
        if (!::mkdtemp(pattern.data()))
            std::abort();
        m_folder = pattern;
        std::string head = "     ", row = "MCE: ";
        for (int i = 0; i < 128; ++i) {
            std::string const number = std::to_string(i);
            std::string const processor = "sys/devices/system/cpu/cpu" + number + "/thermal_throttle/";
            write(processor + "core_throttle_count", "0\n");
            write(processor + "package_throttle_count", "0\n");
            head += "       CPU" + number;
            row += "          0";
            std::string const function = "sys/bus/pci/devices/0000:" + number + ":00.0/";
            write(function + "aer_dev_correctable", "RxErr 0\nTOTAL_ERR_COR 0\n");
            write(function + "aer_dev_nonfatal", "DLP 0\nTOTAL_ERR_NONFATAL 0\n");
            write(function + "aer_dev_fatal", "DLP 0\nTOTAL_ERR_FATAL 0\n");
        }
        write("proc/interrupts", head + "\n" + row + "  Machine check exceptions\n");
        for (int i = 0; i < 16; ++i) {
            std::string const module = "sys/devices/system/edac/mc/mc0/dimm" + std::to_string(i) + "/";
            write(module + "dimm_ce_count", "0\n");
            write(module + "dimm_ue_count", "0\n");
        }
        for (int i = 0; i < 24; ++i) {
            std::string const drive = "sys/class/block/sd" + std::string(1, char('a' + i)) + "/device/";
            write(drive + "ioerr_cnt", "0x0\n");
            write(drive + "iotmo_cnt", "0x0\n");
        }
    }
    ~Machine()
    {
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }
    std::string const& root() const { return m_folder; }

private:
    void write(std::string const& file, std::string const& text) const
    {
        fs::path const path = fs::path(m_folder) / file;
        fs::create_directories(path.parent_path());
        std::ofstream(path) << text;
    }
    std::string m_folder;
};

void look(benchmark::State& state, std::string const& root)
{
    MachineFolder const folder(root);
    for (auto _ : state)
        benchmark::DoNotOptimize(MachineCounters(folder).all().size());
}

void read(benchmark::State& state, std::string const& root)
{
    MachineFolder const folder(root);
    MachineCounters const counters(folder);
    for (auto _ : state)
        benchmark::DoNotOptimize(counters.read());
    state.counters["values"] = double(counters.read().size());
}

void lookWritten(benchmark::State& state)
{
    Machine const machine;
    look(state, machine.root());
}
void readWritten(benchmark::State& state)
{
    Machine const machine;
    read(state, machine.root());
}
void lookHere(benchmark::State& state) { look(state, "/"); }
void readHere(benchmark::State& state) { read(state, "/"); }

BENCHMARK(lookWritten)->Unit(benchmark::kMillisecond);
BENCHMARK(readWritten)->Unit(benchmark::kMillisecond);
BENCHMARK(lookHere)->Unit(benchmark::kMillisecond);
BENCHMARK(readHere)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
