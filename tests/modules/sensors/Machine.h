#pragma once
// A machine that is found and read as the module does it.

#include <sensors/Poller.h>
#include <sensors/Scanner.h>

#include <chrono>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace krel5::modules::sensors::test {

using namespace std::chrono_literals;

/// What is found and read, by file and key: "sys/class/hwmon/hwmon0/temp1_input Temperature".
class Machine
{
public:
    explicit Machine(std::string const& root) : m_poller(root), m_scanner(root, 1h)
    {
        if (auto const found = m_scanner.take(30s)) {
            m_parts = found->parts;
            m_poller.setParts(m_parts);
        }
    }

    std::map<std::string, double> read()
    {
        std::map<std::string, double> all;
        m_poller.read(2s);
        for (auto const& part : m_parts)
            if (auto const last = m_poller.take(part->id()); last && last->isNew)
                for (auto const& [id, value] : last->readings.values)
                    all[part->path + " " + rowOf(id).key] = value;
        return all;
    }
    Poller::Last last(std::string const& path) { return m_poller.take(part(path).guid).value(); }
    Part const& part(std::string const& path) const
    {
        for (auto const& one : m_parts)
            if (one->path == path)
                return *one;
        throw std::runtime_error("nothing reads " + path);
    }
    Poller& poller() { return m_poller; }
    std::vector<std::shared_ptr<Part const>> const& parts() const { return m_parts; }

private:
    Poller m_poller;
    Scanner m_scanner;
    std::vector<std::shared_ptr<Part const>> m_parts;
};

} // namespace krel5::modules::sensors::test
