#pragma once
// A module with one test whose body each case writes itself, run against a TestBackend in this process.

#include <krel5/internal/runs/TestBackend.h>

#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/krel5.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace test {

class RunTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        krel5::ModuleCommon::module().setGuid("mod");
        s_objects = s_objects ? s_objects : new Objects();
    }
    void SetUp() override
    {
        m_device = zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(), zel::CapabilityImp(),
                                                 "disk", "/dev/x", "a disk", "SATA:1", zel::CapabilityImp());
        auto backend = std::make_unique<TestBackend>(&test().imp(), m_device.get());
        m_backend = backend.get();
        krel5::ModuleCommon::setComm(std::move(backend));
    }
    void TearDown() override
    {
        zel::TestRunManager::instance().clear();
        zel::StateManager::instance().clear();
        krel5::ModuleCommon::setComm(nullptr);
    }

    /// Runs `body` as the test of the module.
    static krel5::TestResult run(std::function<krel5::TestResult()> body)
    {
        s_body = std::move(body);
        return krel5::DiagModule::runTest();
    }
    static krel5::Test& test() { return *s_objects->test; }
    static krel5::Event* event() { return s_objects->event; }
    static krel5::LocalizedString* text() { return s_objects->text; }

    std::unique_ptr<zel::DeviceImp> m_device;
    TestBackend* m_backend = nullptr;

private:
    struct Objects // live as long as the process, as all objects of a module do
    {
        krel5::Test* test = krel5::DiagModule::createTest(
            "t", krel5::DeviceCapability::HardDrive(), +[](krel5::DiagDevice const&) { return s_body(); });
        krel5::Event* event = krel5::DiagModule::createEvent("e");
        krel5::LocalizedString* text = krel5::DiagModule::createLocalizedString("Text.t", "working");
    };
    static inline Objects* s_objects = nullptr;
    static inline std::function<krel5::TestResult()> s_body;
};

} // namespace test
