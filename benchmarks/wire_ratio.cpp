// The serialized state against pugixml in one run: the same document built and printed, parsed; memory against the
// document; times of ten times the devices. Processor time, the least of several turns taken alternately, each in a
// process of its own: what a turn costs follows from the heap that it finds, and modules begin with a fresh one.
#include <zel/foundation/Exception.h>
#include <zel/model/state/StateManager.h>
#include <zel/model/wire/Serializable.h>

#include <pugixml.hpp>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <malloc.h>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace {

// Bytes of the heap, counted by operator new, but not while times are taken: pugixml does without.
bool s_isCounting = false;
std::ptrdiff_t s_live = 0, s_most = 0;

std::ptrdiff_t sizeOf(void* block)
{
    return static_cast<std::ptrdiff_t>(malloc_usable_size(block) + sizeof(std::size_t));
}

void* counted(std::size_t size)
{
    void* const block = std::malloc(size);
    if (!block)
        throw std::bad_alloc();
    if (s_isCounting)
        s_most = std::max(s_most, s_live += sizeOf(block));
    return block;
}

void release(void* block) noexcept
{
    if (s_isCounting && block)
        s_live -= sizeOf(block);
    std::free(block);
}

} // namespace

void* operator new(std::size_t size) { return counted(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }

namespace {

using namespace zel;

constexpr int kProperties = 20, kTurns = 7;

using Specifications = std::vector<std::shared_ptr<PropertySpecImp>>;

Specifications const& specifications()
{
    static Specifications const s_all = [] {
        DataTypeImp const types[] = {DataTypeImp::STRING(), DataTypeImp::STRING(), DataTypeImp::UINT32(),
                                     DataTypeImp::STRING(), DataTypeImp::DISCRETEMEASUREMENT()};
        Specifications all;
        for (int i = 0; i < kProperties; ++i)
            all.push_back(std::make_shared<PropertySpecImp>("Property" + String::number(i),
                                                            PropertyCategoryImp::SysInfo(), types[i % 5],
                                                            CapabilityImp::ALL()));
        return all;
    }();
    return s_all;
}

ValueImp valueOf(DataTypeImp const& type, int number)
{
    if (type == DataTypeImp::UINT32())
        return ValueImp(static_cast<unsigned>(number));
    if (type == DataTypeImp::DISCRETEMEASUREMENT())
        return ValueImp(DiscreteMeasurement(UnitType::BYTES(), 1000003ull * static_cast<unsigned>(number)));
    return ValueImp("a value of some length " + String::number(number));
}

std::unique_ptr<StateManager> madeState(int devices)
{
    auto state = std::make_unique<StateManager>();
    for (int d = 0; d < devices; ++d) {
        auto device =
            DeviceImp::createGeneric(CapabilityImp::HardDrive(), CapabilityImp::SATA(), "drive", "/dev/sd",
                                     "a drive", "SATA:0:0:0:" + String::number(d), CapabilityImp("SATA"));
        for (auto const& spec : specifications()) {
            PropertyImp const property(spec, valueOf(spec->type(), d));
            device->addProperty(&property);
        }
        state->addDevice(std::move(device), nullptr);
    }
    static_cast<void>(state->takeChanges());
    return state;
}

struct StringWriter : pugi::xml_writer
{
    std::string text;
    void write(void const* data, std::size_t size) override
    {
        text.append(static_cast<char const*>(data), size);
    }
};

void set(pugi::xml_node& node, char const* name, String const& value)
{
    node.append_attribute(name).set_value(value.toUtf8().c_str());
}

// The same elements and attributes from the same records.
std::string writtenByPugi(StateManager const& state)
{
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("StateManager");
    root.append_attribute("format").set_value("zel-state");
    root.append_attribute("version").set_value(1);
    for (auto const& spec : specifications()) {
        pugi::xml_node node = root.append_child("specification");
        set(node, "name", spec->keyInModule());
        set(node, "key", spec->keyInModule());
        set(node, "type", spec->type().toString());
        set(node, "category", spec->category().toString());
        set(node, "capability", spec->deviceCapability().toString());
    }
    for (std::size_t d = 0; d < state.deviceCount(); ++d) {
        DeviceImp const& device = *state.deviceAtIndex(d);
        pugi::xml_node node = root.append_child("device");
        set(node, "guid", device.guid());
        set(node, "name", device.name());
        set(node, "description", device.description());
        set(node, "osLocator", device.osLocator());
        set(node, "location", device.hwLocator());
        set(node, "type", device.deviceType().toString());
        set(node, "capabilities", device.deviceCapabilities().toString());
        set(node, "busClass", device.busClass().toString());
        set(node, "state", device.state().toString());
        for (std::size_t p = 0; p < device.propertyCount(); ++p) {
            PropertyImp const& property = device.getProperty(p);
            pugi::xml_node child = node.append_child("property");
            set(child, "spec", property.key());
            ValueImp const& value = property.value();
            if (value.type() == DataTypeImp::STRING()) {
                set(child, "value", value.string());
            } else if (value.type() == DataTypeImp::UINT32()) {
                child.append_attribute("value").set_value(value.uint32());
            } else {
                auto const& measurement = value.discreteMeasurement();
                child.append_attribute("value").set_value(
                    static_cast<unsigned long long>(measurement.value()));
                set(child, "unit", measurement.unitType().toString());
            }
        }
    }
    StringWriter writer;
    document.save(writer, "", pugi::format_raw, pugi::encoding_utf8);
    return std::move(writer.text);
}

// Of the work, in a process that has done nothing but what its beginning prepares.
double seconds(std::function<std::function<void()>()> const& beginning)
{
    int ends[2];
    if (pipe(ends) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    pid_t const child = fork();
    if (child == 0) {
        auto const work = beginning();
        std::clock_t const start = std::clock();
        work();
        double const taken = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        _exit(write(ends[1], &taken, sizeof taken) == sizeof taken ? 0 : 1);
    }
    double taken = 0;
    close(ends[1]);
    bool const isThere = child > 0 && read(ends[0], &taken, sizeof taken) == sizeof taken;
    close(ends[0]);
    int status = 0;
    if (!isThere || waitpid(child, &status, 0) != child || status != 0)
        throw std::runtime_error("a turn has failed");
    return taken;
}

void print(char const* what, double ours, double theirs, char const* unit)
{
    std::printf("%-52s %10.1f / %10.1f %s = %5.2f\n", what, ours, theirs, unit, ours / theirs);
}

struct Times
{
    double write = 1e9, pugiWrite = 1e9, read = 1e9, pugiRead = 1e9, merge = 1e9, mergeAgain = 1e9;
};

using State = std::shared_ptr<StateManager>;

State readFrom(std::string const& document)
{
    auto state = std::make_shared<StateManager>();
    Serializable::deserializeUtf8(document, *state);
    return state;
}

// The document alone stays of the state that is written.
std::string documentOf(int devices)
{
    std::string document;
    document = Serializable::serializeUtf8(*madeState(devices), "StateManager");
    malloc_trim(0);
    return document;
}

Times measured(int devices, int turns)
{
    std::string const document = documentOf(devices);
    Times least;
    auto const take = [](double& time, auto const& beginning) { time = std::min(time, seconds(beginning)); };
    auto const written = [&](auto write) {
        return [&document, write] {
            return [state = readFrom(document), write] { static_cast<void>(write(*state)); };
        };
    };
    auto const merged = [&](bool isKnown) {
        return [&document, isKnown] {
            State const from = readFrom(document),
                        into = isKnown ? readFrom(document) : std::make_shared<StateManager>();
            return [=] { into->mergeWithTracking(*from); };
        };
    };
    for (int turn = 0; turn < turns; ++turn) {
        take(least.write,
             written([](auto& state) { return Serializable::serializeUtf8(state, "StateManager"); }));
        take(least.pugiWrite, written(writtenByPugi));
        take(least.read, [&] { return [&] { static_cast<void>(new State(readFrom(document))); }; });
        take(least.pugiRead, [&] {
            return [&] { (new pugi::xml_document)->load_buffer(document.data(), document.size()); };
        });
        take(least.merge, merged(false));
        take(least.mergeAgain, merged(true));
    }
    return least;
}

// How much the heap grew at most during the work, and in the end, in bytes.
std::pair<double, double> growth(std::function<void()> const& work)
{
    s_live = s_most = 0;
    s_isCounting = true;
    work();
    s_isCounting = false;
    return {static_cast<double>(s_most), static_cast<double>(s_live)};
}

void printMemory(int devices)
{
    auto const state = madeState(devices);
    std::string document;
    auto const writing = growth([&] { document = Serializable::serializeUtf8(*state, "StateManager"); });
    document.shrink_to_fit();
    auto const size = static_cast<double>(document.size());
    StateManager read;
    auto const reading = growth([&] { Serializable::deserializeUtf8(document, read); });
    constexpr double kMega = 1e6;
    print("memory, most while writing / document", writing.first / kMega, size / kMega, "MB");
    print("memory, most while reading / document", reading.first / kMega, size / kMega, "MB");
    print("memory, the state that was read / document", reading.second / kMega, size / kMega, "MB");
}

void printExponent(char const* what, double few, double many)
{
    std::printf("%-52s %10.1f -> %10.1f ms: exponent %.3f\n", what, few * 1e3, many * 1e3,
                std::log10(many / few));
}

} // namespace

int main()
{
    Times const small = measured(1'000, 3 * kTurns), middle = measured(10'000, kTurns),
                large = measured(100'000, 3);
    constexpr double kMilli = 1e3;
    print("10,000 devices: written / pugixml built and printed", middle.write * kMilli,
          middle.pugiWrite * kMilli, "ms");
    print("10,000 devices: read / pugixml parsed", middle.read * kMilli, middle.pugiRead * kMilli, "ms");
    printMemory(10'000);
    struct
    {
        char const* what;
        double Times::*time;
    } const rows[] = {{"written", &Times::write},
                      {"read", &Times::read},
                      {"merged into an empty one", &Times::merge},
                      {"merged into an equal one", &Times::mergeAgain}};
    for (auto const& row : rows) {
        printExponent((std::string("1,000 -> 10,000 devices ") + row.what).c_str(), small.*row.time,
                      middle.*row.time);
        printExponent((std::string("10,000 -> 100,000 devices ") + row.what).c_str(), middle.*row.time,
                      large.*row.time);
    }
}
