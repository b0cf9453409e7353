// Names from the hardware database of udev (hwdb.bin, compiled from the lists of PCI and USB ids).
#include <zel/enumerator/buses/HardwareNames.h>

#include <dlfcn.h>
#include <libudev.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace zel {

namespace {

/// libudev as far as it is needed. Loaded at run time: a machine without it still enumerates, only without
/// names. The library stays loaded.
struct Library
{
    decltype(&udev_new) create = nullptr;
    decltype(&udev_hwdb_new) openDatabase = nullptr;
    decltype(&udev_hwdb_get_properties_list_entry) look = nullptr;
    decltype(&udev_list_entry_get_next) next = nullptr;
    decltype(&udev_list_entry_get_name) name = nullptr;
    decltype(&udev_list_entry_get_value) value = nullptr;

    Library()
    {
        void* const library = ::dlopen("libudev.so.1", RTLD_LAZY | RTLD_LOCAL);
        complete = library && find(library, create, "udev_new") &&
                   find(library, openDatabase, "udev_hwdb_new") &&
                   find(library, look, "udev_hwdb_get_properties_list_entry") &&
                   find(library, next, "udev_list_entry_get_next") &&
                   find(library, name, "udev_list_entry_get_name") &&
                   find(library, value, "udev_list_entry_get_value");
    }

    bool complete = false;

private:
    template <typename Function>
    static bool find(void* library, Function& function, char const* symbol)
    {
        function = reinterpret_cast<Function>(::dlsym(library, symbol));
        return function != nullptr;
    }
};

class UdevNames final : public HardwareNames
{
public:
    HardwareName pci(PciId const& id) const override
    {
        // The database has patterns such as "pci:v00008086d000010D3*" and is asked with a whole module alias; its
        // class plays no part in names.
        std::array<char, 64> key{};
        std::snprintf(key.data(), key.size(), "pci:v%08Xd%08Xsv%08Xsd%08Xbc00sc00i00", id.vendor, id.device,
                      id.subsystemVendor, id.subsystemDevice);
        return look(key.data());
    }

    HardwareName usb(UsbId const& id) const override
    {
        std::array<char, 32> key{};
        std::snprintf(key.data(), key.size(), "usb:v%04Xp%04Xd0000", id.vendor, id.product);
        return look(key.data());
    }

private:
    /// Machines have many functions of one kind, and a name never changes: the database answers once for
    /// each.
    HardwareName look(char const* key) const
    {
        std::scoped_lock const lock(m_mutex);
        auto const known = m_answers.find(key);
        if (known != m_answers.end())
            return known->second;
        HardwareName const name = ask(key);
        if (m_answers.size() < kMaxAnswers)
            m_answers.emplace(key, name);
        return name;
    }

    HardwareName ask(char const* key) const
    {
        if (!m_asked) {
            m_asked = true;
            m_library.emplace();
            if (m_library->complete) {
                m_context = m_library->create();
                m_database = m_library->openDatabase(m_context);
            }
        }
        HardwareName name;
        if (!m_database)
            return name;
        for (udev_list_entry* entry = m_library->look(m_database, key, 0); entry;
             entry = m_library->next(entry)) {
            char const* const value = m_library->value(entry);
            if (!value)
                continue;
            if (std::strcmp(m_library->name(entry), "ID_VENDOR_FROM_DATABASE") == 0)
                name.vendor = value;
            else if (std::strcmp(m_library->name(entry), "ID_MODEL_FROM_DATABASE") == 0)
                name.product = value;
        }
        return name;
    }

    static constexpr std::size_t kMaxAnswers = 4096;
    mutable std::mutex m_mutex; // a database handle keeps its last answer, so one question at a time
    mutable std::map<std::string, HardwareName, std::less<>> m_answers;
    mutable bool m_asked = false;
    mutable std::optional<Library> m_library;
    // Kept until the process ends, as the library is.
    mutable udev* m_context = nullptr;
    mutable udev_hwdb* m_database = nullptr;
};

} // namespace

HardwareNames const& HardwareNames::system()
{
    static UdevNames const* const names =
        new UdevNames; // not destroyed: others may still ask while statics end
    return *names;
}

} // namespace zel
