#include <zel/foundation/linux/SymbolFinder.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <elfutils/libdwfl.h>
#include <memory>
#include <mutex>
#include <unistd.h>

namespace zel {
namespace {

/// The few functions of libdw, bound by name.
struct Library
{
    decltype(&::dwfl_begin) begin = nullptr;
    decltype(&::dwfl_end) end = nullptr;
    decltype(&::dwfl_linux_proc_report) report = nullptr;
    decltype(&::dwfl_report_end) reportEnd = nullptr;
    decltype(&::dwfl_addrmodule) moduleOf = nullptr;
    decltype(&::dwfl_module_addrname) nameOf = nullptr;
    decltype(&::dwfl_module_getsrc) sourceOf = nullptr;
    decltype(&::dwfl_lineinfo) lineInfo = nullptr;
    Dwfl_Callbacks callbacks{};
    bool complete = false;

    Library()
    {
        void* const handle = ::dlopen("libdw.so.1", RTLD_NOW | RTLD_LOCAL);
        complete = handle && bind(handle, begin, "dwfl_begin") && bind(handle, end, "dwfl_end") &&
                   bind(handle, report, "dwfl_linux_proc_report") &&
                   bind(handle, reportEnd, "dwfl_report_end") && bind(handle, moduleOf, "dwfl_addrmodule") &&
                   bind(handle, nameOf, "dwfl_module_addrname") &&
                   bind(handle, sourceOf, "dwfl_module_getsrc") && bind(handle, lineInfo, "dwfl_lineinfo") &&
                   bind(handle, callbacks.find_elf, "dwfl_linux_proc_find_elf") &&
                   // Not the standard finder, which may ask servers in the network.
                   bind(handle, callbacks.find_debuginfo, "dwfl_build_id_find_debuginfo");
    }

    template <typename Function>
    static bool bind(void* handle, Function& function, char const* name)
    {
        function = reinterpret_cast<Function>(::dlsym(handle, name));
        return function != nullptr;
    }
};

/// What is mapped into this process, as libdw sees it. Guarded by s_mutex.
class Session
{
public:
    explicit Session(Library const& library) : m_library(library) { open(); }
    ~Session() { close(); }
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    /// Null for an address in no file, also after a fresh look at what has been loaded since.
    Dwfl_Module* moduleOf(Dwarf_Addr address)
    {
        Dwfl_Module* module = m_dwfl ? m_library.moduleOf(m_dwfl, address) : nullptr;
        Dl_info info;
        if (!module && ::dladdr(reinterpret_cast<void*>(address), &info) != 0) {
            close();
            open();
            module = m_dwfl ? m_library.moduleOf(m_dwfl, address) : nullptr;
        }
        return module;
    }

private:
    void open()
    {
        m_dwfl = m_library.begin(&m_library.callbacks);
        if (!m_dwfl)
            return;
        int const reported = m_library.report(m_dwfl, ::getpid());
        int const ended = m_library.reportEnd(m_dwfl, nullptr, nullptr);
        if (reported != 0 || ended != 0)
            close();
    }
    void close()
    {
        if (m_dwfl)
            m_library.end(m_dwfl);
        m_dwfl = nullptr;
    }

    Library const& m_library;
    Dwfl* m_dwfl = nullptr;
};

std::string fileName(char const* path)
{
    std::string const text = path ? path : "";
    return text.substr(text.rfind('/') + 1);
}

std::string hexadecimal(std::uintptr_t number)
{
    char text[2 + 16 + 1];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
    return text;
}

std::string demangled(char const* name)
{
    struct Free
    {
        void operator()(char* text) const { std::free(text); }
    };
    std::unique_ptr<char, Free> const text(abi::__cxa_demangle(name, nullptr, nullptr, nullptr));
    return text ? text.get() : name;
}

void askLibdw(Library const& library, Session& session, Dwarf_Addr address, SymbolFinder::Symbol& symbol)
{
    Dwfl_Module* const module = session.moduleOf(address);
    if (!module)
        return;
    if (char const* name = library.nameOf(module, address))
        symbol.function = demangled(name);
    Dwfl_Line* const line = library.sourceOf(module, address);
    int number = 0;
    char const* file = line ? library.lineInfo(line, nullptr, &number, nullptr, nullptr, nullptr) : nullptr;
    if (file)
        symbol.source = fileName(file) + ":" + std::to_string(number);
}

} // namespace

SymbolFinder::Symbol SymbolFinder::find(void* address)
{
    static std::mutex& s_mutex = *new std::mutex; // never destroyed: a late fault still wants its trace
    std::lock_guard<std::mutex> guard(s_mutex);
    static Library const& s_library = *new Library;
    static Session* const s_session = s_library.complete ? new Session(s_library) : nullptr;

    Symbol symbol;
    symbol.place = hexadecimal(reinterpret_cast<std::uintptr_t>(address));
    Dl_info info = {};
    ::dladdr(address, &info);
    if (info.dli_fname) {
        auto const offset =
            reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(info.dli_fbase);
        symbol.place = fileName(info.dli_fname) + "+" + hexadecimal(offset);
    }
    if (s_session)
        askLibdw(s_library, *s_session, reinterpret_cast<Dwarf_Addr>(address), symbol);
    if (symbol.function.empty() && info.dli_sname)
        symbol.function = demangled(info.dli_sname);
    return symbol;
}

} // namespace zel
