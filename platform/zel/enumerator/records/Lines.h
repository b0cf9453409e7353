#pragma once

#include <zel/enumerator/records/Describe.h>

namespace zel {

/// A property of several lines; none where there are none.
inline void addLines(DeviceDescription& device, char const* key, std::vector<std::string> const& lines)
{
    if (!lines.empty())
        device.properties.emplace_back(key, ValueImp(std::vector<String>(lines.begin(), lines.end())));
}

} // namespace zel
