#pragma once
// States that hold every kind of record with values that nobody would expect.

#include <zel/model/runs/MessageBoxImp.h>
#include <zel/model/runs/TestRunImp.h>
#include <zel/model/state/StateManager.h>

#include <deque>
#include <random>

namespace zel::test {

class Random
{
public:
    explicit Random(unsigned seed) : m_numbers(seed) {}

    std::size_t below(std::size_t end) { return m_numbers() % end; }
    bool chance() { return below(2) == 0; }
    unsigned number() { return static_cast<unsigned>(below(3) ? below(200) : m_numbers() >> 32); }
    /// Any units at all.
    String text();
    /// That nothing else has.
    String name() { return String::number(static_cast<std::uint64_t>(m_names++)) + text(); }
    double real();
    ValueImp value();
    ValueImp value(DataTypeImp const& type);
    LocalizedStringImp localized();
    CapabilityImp capability();
    /// A row of the table.
    template <typename Constant>
    Constant constant()
    {
        return Constant(
            static_cast<typename Constant::Code>(below(static_cast<std::size_t>(Constant::count()))));
    }
    TestRunEventImp event();
    MessageBoxImp box();

private:
    template <typename Element, typename Make>
    std::vector<Element> some(Make make)
    {
        std::vector<Element> all(below(4));
        for (Element& one : all)
            one = make();
        return all;
    }
    DiscreteMeasurement measurement() { return {constant<UnitType>(), m_numbers()}; }

    std::mt19937_64 m_numbers;
    unsigned m_names = 0;
};

/// The records that the state borrows live as long as this.
class RandomState
{
public:
    explicit RandomState(unsigned seed);
    StateManager& state() { return m_state; }

private:
    void addModules();
    void addSpecifications();
    void addDevices();
    void addProperties(DeviceImp& device);
    void addFunctions();
    void give(ModuleFunctionImp& function);
    void addRuns();
    void addAlerts();
    void associate();

    Random m_random;
    std::deque<ModuleImp> m_modules;
    std::vector<std::shared_ptr<PropertySpecImp>> m_specifications;
    std::deque<TestImp> m_tests;
    std::deque<IndicatorImp> m_indicators;
    StateManager m_state;
};

} // namespace zel::test
