#pragma once

#include <zel/foundation/xml/XmlReader.h>
#include <zel/model/state/StateBuilder.h>
#include <zel/model/wire/DeviceWire.h>

#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace zel::wire {

/// Reads one document into a state of its own. What it does not know it passes over.
class StateReader
{
public:
    /// The text outlives the reader.
    explicit StateReader(std::string_view utf8) : m_reader(utf8) {}

    /// Throws DeserializationException. Called once.
    StateBuilder& read();

private:
    void checkRoot();
    void readRecord();
    void readDevice();
    void readTie();
    void placeDevices();
    template <typename Record>
    void add(std::unique_ptr<Record> record);
    void readRun();
    void readIndicatorRunOfState();
    /// Null when there is no such attribute.
    template <typename Record, typename Find>
    Record* tied(std::string_view attribute, Find find) const;
    template <typename Left, typename Right>
    bool tie(Left* left, Right* right);
    template <typename Run>
    void bind(Run& run);

    XmlReader m_reader;
    StateBuilder m_builder;
    Specifications m_specifications;
    DeviceReader m_devices{m_reader, m_specifications};
    std::vector<std::pair<std::size_t, String>> m_parents; // of the device at that index
    std::unordered_set<String> m_runs;
};

} // namespace zel::wire
