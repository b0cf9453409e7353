#pragma once
// A module as an engine knows it: what it says of itself, and what that means for this machine.

#include <zel/model/module/ModuleImp.h>
#include <zel/model/module/TestImp.h>

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

namespace zel {
class DeviceImp;
}

namespace engine {

struct ModuleTest
{
    explicit ModuleTest(zel::TestImp test) : record(std::move(test)) {}

    zel::TestImp record;     ///< with the settings of the module's file, global parameters among its own
    std::string name;        ///< what a person reads; the key where nobody gave it one
    std::string description; ///< may be empty
    std::vector<std::string> parameterNames; ///< of each of the record's; empty where nobody gave it one
    std::size_t number = 0;                  ///< in lists, from 1
    bool isDeclinable = false; ///< the module has not been asked yet whether it wants these devices
    bool isUnanswered = false; ///< the module was asked, and did not say
    std::vector<zel::DeviceImp*> devices; ///< that it goes to, in the machine's order
    std::string notHere;                  ///< why there are none; empty when there are some
    std::string notHereResult;            ///< the same as one of TestResultImp: "NO DEVICE"
};

/// Stands where it is made: tests point into it.
struct Module
{
    Module() : record(zel::String()) {}
    Module(Module const&) = delete;
    Module& operator=(Module const&) = delete;

    std::string program; ///< absolute path
    std::string folder;  ///< of the program
    zel::ModuleImp record;
    std::string version;
    std::string name, description; ///< what a person reads; the guid where nobody gave it a name
    std::deque<ModuleTest> tests;
    std::size_t indicatorCount = 0;
    double updateSeconds = 5; ///< from one reading of an indicator to the next, as the settings say
    /// Why no test of the module runs whatever it is: nobody can tell what its settings say. Empty: nothing.
    std::string settingsTrouble;

    std::string guid() const { return record.guid().toUtf8(); }
};

/// "memory:quick", as a person types it.
std::string wordOf(Module const& module, ModuleTest const& test);

} // namespace engine
