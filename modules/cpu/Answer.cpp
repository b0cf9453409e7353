#include <cpu/Kernel.h>

#include <cstdio>

namespace krel5::modules::cpu {

std::string Answer::text() const
{
    std::size_t used = m_words.size();
    while (used > 1 && m_words[used - 1] == 0)
        --used;
    std::string out;
    for (std::size_t i = 0; i < used; ++i) {
        char digits[20];
        std::snprintf(digits, sizeof digits, "%s%016llx", i == 0 ? "" : ":",
                      static_cast<unsigned long long>(m_words[i]));
        out += digits;
    }
    return out;
}

} // namespace krel5::modules::cpu
