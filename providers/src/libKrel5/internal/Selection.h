#pragma once
// What the person at the console picked by number, and the errors of picking.

#include <krel5/TestResult.h>

#include <zel/model/StateManager.h>

#include <unordered_set>
#include <vector>

namespace krel5 {

/// The devices that have a test or an indicator, in first-seen order: by the module's tests in order of
/// registration, then by its indicators.
class DeviceSelection
{
public:
    void addDevicesOfTests();
    void addDevicesOfIndicators();
    std::vector<zel::DeviceImp*> const& all() const noexcept { return m_devices; }
    /// The device that -d names, or all. Ends the process when the number is out of range.
    std::vector<zel::DeviceImp*> selected() const;

private:
    void add(zel::DeviceImp* device);

    std::vector<zel::DeviceImp*> m_devices;
    std::unordered_set<zel::String> m_guids;
};

/// The tests that -t names, or all; the indicators that -i names, or all. End the process as above.
std::vector<zel::TestImp*> selectedTests();
std::vector<zel::IndicatorImp*> selectedIndicators();

/// Writes the line to standard error and the log, then ends the process with the result's value.
[[noreturn]] void endWithSelectionError(zel::String const& line, TestResult const& result);

/// Ends the process with the message that fits an empty selection: `what` is "test" or "indicator"; `key`
/// that of the one selected, where it is one.
[[noreturn]] void endWithoutRuns(zel::String const& what, std::vector<zel::DeviceImp*> const& devices,
                                 std::size_t selectedCount, zel::String const& key);

/// Position of the test of that key in the module's order of registration, from 1; 0 when there is none.
std::size_t positionOfTest(zel::String const& key);
std::size_t positionOfIndicator(zel::String const& key);

} // namespace krel5
