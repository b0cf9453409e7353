// Reads a whole block device as the storage module's surface test does, and ends: for timing against dd.
//     storage_surface DEVICE

#include <storage/Drive.h>
#include <storage/ReadTest.h>

#include <cstdio>
#include <cstring>

namespace {

using namespace krel5::modules;
using namespace krel5::modules::storage;

struct PrintingHost : TestHost
{
    void progress(int) override {}
    bool stopRequested() override { return false; }
    void fault(Fault const& fault) override { std::fprintf(stderr, "%s\n", fault.m_eventKey.text()); }
    void problem(Report const& report) override { std::fprintf(stderr, "%s\n", report.m_eventKey.text()); }
    void note(Report const&) override {}
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "storage_surface DEVICE\n");
        return 2;
    }
    OpenedSource const drive = openDrive(argv[1]);
    if (drive.m_error != 0 || !drive.m_direct) {
        std::fprintf(stderr, "%s: %s\n", argv[1],
                     drive.m_error != 0 ? std::strerror(drive.m_error) : "no reading past the cache");
        return 1;
    }
    PrintingHost host;
    ReadPlan plan;
    plan.m_order = ReadPlan::Order::Surface;
    plan.m_blockSize = std::size_t(1) << 20;
    return runReadTest(host, *drive.m_source, plan).m_outcome == Outcome::Pass ? 0 : 1;
}
