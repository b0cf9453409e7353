// Enumerating this machine against reading the same files plainly, each once, in one process.
#include <zel/enumerator/Discoverers.h>
#include <zel/enumerator/records/DeviceRecords.h>
#include <zel/enumerator/root/Root.h>
#include <zel/model/state/StateManager.h>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

/// Notes which files a scan reads.
class NotingRoot : public zel::Root
{
public:
    explicit NotingRoot(zel::Root const& root) : m_root(root) {}
    bool isLive() const override { return m_root.isLive(); }
    std::optional<std::string> read(std::string const& path, std::size_t limit) const override
    {
        auto content = m_root.read(path, limit);
        if (content)
            m_files.insert(path);
        return content;
    }
    std::vector<std::string> list(std::string const& path) const override { return m_root.list(path); }
    std::optional<std::string> resolve(std::string const& path) const override
    {
        return m_root.resolve(path);
    }
    std::optional<std::string> linkName(std::string const& path) const override
    {
        return m_root.linkName(path);
    }
    std::set<std::string> const& files() const { return m_files; }

private:
    zel::Root const& m_root;
    mutable std::set<std::string> m_files;
};

std::unique_ptr<zel::Root> machine() { return zel::Root::open("/"); }

void scan(zel::Root const& root)
{
    zel::DeviceRecords records(zel::CapabilityImp::ALL());
    zel::discover(root, zel::CapabilityImp::ALL(), records);
    zel::StateManager state;
    records.fill(state);
    benchmark::DoNotOptimize(state.deviceCount());
}

void enumerate(benchmark::State& state)
{
    auto const root = machine();
    for (auto _ : state)
        scan(*root);
}

void plainRead(benchmark::State& state)
{
    auto const root = machine();
    NotingRoot const noting(*root);
    scan(noting);
    std::vector<char> buffer(1 << 16);
    for (auto _ : state)
        for (std::string const& path : noting.files()) {
            int const file = ::open(("/" + path).c_str(), O_RDONLY | O_CLOEXEC);
            while (file >= 0 && ::read(file, buffer.data(), buffer.size()) > 0) {
            }
            if (file >= 0)
                ::close(file);
        }
    state.SetLabel("files: " + std::to_string(noting.files().size()));
}

} // namespace

BENCHMARK(enumerate)->Unit(benchmark::kMicrosecond);
BENCHMARK(plainRead)->Unit(benchmark::kMicrosecond);
BENCHMARK_MAIN();
