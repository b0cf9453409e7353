#pragma once
// Waits for devices that come and go.

#include <chrono>

namespace krel5::modules::sensors {

/// Thread rule: one thread.
class DeviceEvents
{
public:
    /// Not `isLive`: the machine is a folder, of which the kernel says nothing.
    explicit DeviceEvents(bool isLive);
    DeviceEvents(DeviceEvents const&) = delete;
    DeviceEvents& operator=(DeviceEvents const&) = delete;
    ~DeviceEvents();

    /// Returns when a device of a watched kind came or went, when the kernel's messages about it may have been lost, or after
    /// `longest`. Behind a message it waits a moment for those that come with it.
    void wait(std::chrono::milliseconds longest);

private:
    int m_socket; ///< -1: none could be had
};

} // namespace krel5::modules::sensors
