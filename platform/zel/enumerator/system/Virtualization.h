#pragma once

#include <zel/enumerator/root/Root.h>

#include <initializer_list>
#include <optional>
#include <string>

namespace zel {

struct Virtualization
{
    std::optional<bool> isVirtual; ///< absent when nothing tells
    std::optional<std::string> by; ///< "KVM"; of a virtual machine only
};

/// `makers`: what the firmware calls the machine, its board and itself.
Virtualization virtualization(Root const& root, std::initializer_list<std::optional<std::string>> makers);

} // namespace zel
