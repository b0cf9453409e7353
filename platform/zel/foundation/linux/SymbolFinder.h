#pragma once
// Names for code addresses of this process. Internal to the foundation.

#include <string>

namespace zel {

/// Asks elfutils' libdw, which reads symbol tables and debug information, where that library is installed,
/// and the dynamic linker otherwise. Loaded on first use: a module that never fails pays nothing. Thread
/// rule: any thread; one look-up at a time.
struct SymbolFinder
{
    struct Symbol
    {
        std::string function; ///< demangled; empty when not known
        std::string source;   ///< "file.cpp:12"; empty when not known
        std::string place;    ///< "libName.so+0x1234", or the bare address; never empty
    };
    /// `address` lies inside the instruction in question.
    static Symbol find(void* address);
};

} // namespace zel
