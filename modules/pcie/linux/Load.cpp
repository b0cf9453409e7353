// Direct reads of a drive below a PCI function.
#include <pcie/LinkTest.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <linux/fs.h>
#include <memory>
#include <new>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace krel5::modules::pcie {
namespace {

constexpr std::size_t kPiece = std::size_t(1) << 20; // bytes
constexpr std::size_t kAlignment = 4096;

struct Free
{
    void operator()(void* memory) const noexcept { std::free(memory); }
};

/// A drive that is open for direct reads.
class Drive
{
public:
    explicit Drive(std::string const& name)
    {
        m_file = ::open(("/dev/" + name).c_str(), O_RDONLY | O_DIRECT | O_CLOEXEC | O_NONBLOCK);
        struct stat status = {};
        if (m_file < 0 || ::fstat(m_file, &status) != 0 || !S_ISBLK(status.st_mode) ||
            ::ioctl(m_file, BLKGETSIZE64, &m_size) != 0 || m_size < kPiece)
            return;
        m_memory.reset(std::aligned_alloc(kAlignment, kPiece));
        if (!m_memory)
            throw std::bad_alloc();
    }
    Drive(Drive const&) = delete;
    Drive& operator=(Drive const&) = delete;
    ~Drive()
    {
        if (m_file >= 0)
            ::close(m_file);
    }
    bool isOpen() const { return m_memory != nullptr; }

    bool readOnce()
    {
        if (m_size - m_at < kPiece)
            m_at = 0;
        bool const isRead = ::pread(m_file, m_memory.get(), kPiece, static_cast<off_t>(m_at)) > 0;
        m_at += kPiece;
        return isRead;
    }

private:
    int m_file = -1;
    std::uint64_t m_size = 0, m_at = 0;
    std::unique_ptr<void, Free> m_memory;
};

} // namespace

Load systemLoad(MachineFolder const& machine, std::string const& function)
{
    Load load;
    load.wait = [](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); };
    load.now = [] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    };
    if (function.empty())
        return load;
    for (std::string const& name : machine.list("sys/block")) {
        auto const place = machine.resolve("sys/block/" + name);
        if (!place || place->find("/" + function + "/") == place->npos)
            continue;
        auto const drive = std::make_shared<Drive>(name);
        if (!drive->isOpen())
            continue;
        load.what = name;
        load.once = [drive] { return drive->readOnce(); };
        break;
    }
    return load;
}

} // namespace krel5::modules::pcie
