#pragma once
// Waits for devices that come and go.

#include <chrono>
#include <string_view>

namespace krel5::modules::sensors {

/// Whether a message of the kernel tells of a device of a watched kind that came, went, or was renamed.
bool tellsOfChange(std::string_view message);

/// Thread rule: one thread.
class DeviceEvents
{
public:
    /// Not `isLive`: the machine is a folder, of which the kernel says nothing.
    explicit DeviceEvents(bool isLive);
    /// Takes possession of a datagram socket at which such messages come.
    explicit DeviceEvents(int socket) : m_socket(socket) {}
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
