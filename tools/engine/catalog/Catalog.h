#pragma once
// Which modules there are, and what each says of itself.

#include <engine/catalog/Module.h>

#include <zel/model/vocabulary/LanguageImp.h>

#include <memory>
#include <string>
#include <vector>

namespace engine {

struct CatalogRequest
{
    std::vector<std::string> folders; ///< of installed modules; one that does not exist is an empty one
    std::vector<std::string> named; ///< further folders or programs, which somebody named; they have to exist
    zel::LanguageImp language = zel::LanguageImp::en();
    int askMilliseconds = 10'000; ///< that a module may take to describe itself
};

/// Thread rule: none of its own.
class Catalog
{
public:
    /// Looks into the folders and reads each module's metadata, texts and settings. A module without metadata, or with
    /// some that is older than its program, is asked for it. Whatever is wrong with a module costs that module and a
    /// line of complaints(). Throws InvalidArgumentException for a named path that does not exist.
    static Catalog read(CatalogRequest const& request);

    /// Each in natural order of the names, those of folders before named ones. Numbers of tests follow that order.
    std::vector<std::unique_ptr<Module>> const& modules() const noexcept { return m_modules; }
    /// "{path}: {reason}", one line each.
    std::vector<std::string> const& complaints() const noexcept { return m_complaints; }
    void complain(std::string const& line);
    /// The test of that number; nulls when there is none.
    struct Place
    {
        Module* module = nullptr;
        ModuleTest* test = nullptr;
    };
    Place testOfNumber(std::size_t number) const;

private:
    std::vector<std::unique_ptr<Module>> m_modules;
    std::vector<std::string> m_complaints;
};

} // namespace engine
