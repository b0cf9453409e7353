#pragma once
// What the samples in the public headers take for granted.
#include <krel5/krel5.h>

#include <zel/foundation/Logger.h>

#include <cstdio>
#include <fcntl.h>
#include <thread>

// Samples name things alike and do not use all that they make.
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wunused-variable"
#pragma GCC diagnostic ignored "-Wunused-function"

namespace samples {

using namespace krel5;

// where devices are found
extern SysInfoDevice* fan;
extern SysInfoDevice* drive;
extern DeviceProperty* temperature;
extern SyncDeviceProperty s_serial;
extern Alert* alert;
extern Tip* tip;

// where they are tested
extern DiagDevice const& device;
extern Parameter const* parameter;
extern Event const* event;
extern OperatingSystem const& system;
extern KrelDiscreteMeasurement size;
extern int errors;

TestResult patternTest(DiagDevice const& device);
TestResult memoryTest(DiagDevice const& device);
TestResult readSurface(DiagDevice const& device);

// where a module is hosted
void show(IndicatorReport const& report);

// where something is logged
zel::Logger& logger();
extern std::uint64_t count;

} // namespace samples
