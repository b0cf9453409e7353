#pragma once
// Texts of a module in the languages it has, from its `.w4p` files. docs/text-files.md has the format and the
// names.

#include <zel/foundation/String.h>
#include <zel/model/texts/KeyTextFile.h>
#include <zel/model/vocabulary/LanguageImp.h>

#include <memory>
#include <optional>
#include <vector>

namespace zel {

/// The service that finds texts. Files are read on first use and kept until clearCache().
/// Thread rule: every operation may be used from any thread.
class ZEL_EXPORT LocalizedResource
{
public:
    /// The text of the key: from the most particular file that has it, then the plain ones, then the
    /// libraries that the module registered. Nothing when no file has it, or `moduleGuid` is no file name.
    static std::optional<String> find(String const& moduleGuid, String const& key,
                                      LanguageImp const& language);
    /// The same without the plain files, which are in no language: nothing where only those have the key.
    /// They count for the default language.
    static std::optional<String> findInLanguage(String const& moduleGuid, String const& key,
                                                LanguageImp const& language);
    /// Paths of all files that find() asks, in its order: the module's candidates, then those of each library
    /// that it registered. Whoever looks texts up elsewhere walks these, so that all find the same.
    static std::vector<std::string> searchPath(String const& moduleGuid, LanguageImp const& language);

    /// Paths of the files that may hold the module's texts for the current language, customer and variant,
    /// the most particular first and the plain `<guid>.w4p` last.
    static std::vector<std::string> candidates(String const& moduleGuid, LanguageImp const& language);
    /// The first candidate that exists, else the plain one.
    static std::string getLocalizedResource(String const& moduleGuid);
    /// The file's content, absent or not. Never null.
    static std::shared_ptr<KeyTextFile const> load(std::string const& path);
    /// The text of the key in this file, as it is meant. An empty text counts as none, so that a text file
    /// yet to be filled shows the default texts.
    static std::optional<String> textIn(KeyTextFile const& file, String const& key);
    /// A text as it is meant and as it stands in a line; see KeyTextFile.
    static String unescaped(String const& text);
    static String escaped(String const& text);
    /// A key as it stands in front of the `=` of its line: line breaks as in a text, and `\=`, and `\#` in
    /// front.
    static String escapedKey(String const& key);

    /// Texts of `library` serve the module too, after its own.
    static void registerLibrary(String const& moduleGuid, String const& library);

    /// Folder of the files: that of the running program until it is set.
    static std::string defaultPath();
    static void setDefaultPath(std::string const& folder);
    static void clearCache();
};

} // namespace zel
