// Loaded before the memory module (LD_PRELOAD) by brokenpage.sh: as soon as the module has locked the start of its
// region, one page of that is broken. BROKEN_PAGE says how:
//   file     the page is one behind the end of a file, an access to which raises SIGBUS
//   poison   the kernel treats the page as it does after an uncorrectable error; ends with 77 where it cannot

#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr std::size_t kOffset = 0x5000;
constexpr int kNotPossible = 77;

void breakPage(char* page)
{
    char const* const way = std::getenv("BROKEN_PAGE");
    auto const size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    if (way && std::strcmp(way, "poison") == 0) {
        if (madvise(page, size, MADV_HWPOISON) != 0)
            _exit(kNotPossible);
        return;
    }
    int const empty = memfd_create("empty", MFD_CLOEXEC);
    if (mmap(page, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, empty, 0) != page)
        _exit(kNotPossible);
}

} // namespace

extern "C" [[gnu::visibility("default")]] int mlock(void const* begin, std::size_t bytes) noexcept
{
    static bool s_isFirst = true;
    auto const result = static_cast<int>(syscall(SYS_mlock, begin, bytes));
    if (result == 0 && s_isFirst)
        breakPage(static_cast<char*>(const_cast<void*>(begin)) + kOffset);
    s_isFirst = false;
    return result;
}
