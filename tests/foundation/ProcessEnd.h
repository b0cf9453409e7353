#pragma once

#include <fstream>
#include <string>
#include <unistd.h>

namespace test {

/// Whether the process is gone, or comes to be within a few seconds. One whose parent has yet to ask how it
/// ended is gone.
inline bool ends(long id)
{
    for (int i = 0; i < 5000; ++i) {
        std::ifstream state("/proc/" + std::to_string(id) + "/stat");
        std::string text;
        if (!std::getline(state, text) || text.find(") Z ") != std::string::npos)
            return true;
        ::usleep(1000);
    }
    return false;
}

} // namespace test
