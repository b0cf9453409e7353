#pragma once
// What the person at the console picked by number, and the errors of picking.

#include <krel5/TestResult.h>

#include <zel/foundation/Array.h>
#include <zel/model/state/StateManager.h>

#include <unordered_set>

namespace krel5 {

/// The devices that have a test or an indicator, in first-seen order: by the module's tests in order of
/// registration, then by its indicators.
class DeviceSelection
{
public:
    void addDevicesOfTests();
    void addDevicesOfIndicators();
    zel::Array<zel::DeviceImp*> const& all() const noexcept { return m_devices; }
    /// The device that -d names, or all. Ends the process when the number is out of range.
    zel::Array<zel::DeviceImp*> selected() const;

private:
    void add(zel::DeviceImp* device);

    zel::Array<zel::DeviceImp*> m_devices;
    std::unordered_set<zel::String> m_guids;
};

/// The tests that -t names, or all; the indicators that -i names, or all. End the process as above.
zel::Array<zel::TestImp*> selectedTests();
zel::Array<zel::IndicatorImp*> selectedIndicators();

/// Writes the line to standard error and the log, closes the connection, then ends the process with the result's
/// value. The module-exit callback is not called.
[[noreturn]] void endWithSelectionError(zel::String const& line, TestResult const& result);

/// Ends the process with the message that fits an empty selection. What of the selected is switched off is told
/// first, with the line of the settings that did it.
[[noreturn]] void endWithoutTestRuns(zel::Array<zel::DeviceImp*> const& devices,
                                     zel::Array<zel::TestImp*> const& tests);
[[noreturn]] void endWithoutIndicatorRuns(zel::Array<zel::DeviceImp*> const& devices,
                                          zel::Array<zel::IndicatorImp*> const& indicators);

/// Position of the test of that key in the module's order of registration, from 1; 0 when there is none.
std::size_t positionOfTest(zel::String const& key);
std::size_t positionOfIndicator(zel::String const& key);

} // namespace krel5
