#include <engine/plan/Settings.h>

#include <engine/plan/Names.h>

#include <zel/foundation/Exception.h>
#include <zel/model/texts/KeyTextFile.h>

#include <algorithm>

namespace engine {

using zel::String;

namespace {

[[noreturn]] void refuse(std::string const& origin, std::string const& reason)
{
    throw zel::InvalidArgumentException(String(origin + ": " + reason));
}

constexpr std::string_view kTest = "Test.", kGlobal = "Parameter.", kValue = ".value";

// As it stands in a module's own settings file.
bool isOfModuleFile(std::string const& key)
{
    return key.ends_with(kValue) && (key.starts_with(kTest) || key.starts_with(kGlobal));
}

Setting fromKey(std::string key, std::string value, std::string const& origin)
{
    std::string tests;
    if (isOfModuleFile(key)) {
        bool const isTests = key.starts_with(kTest);
        key = key.substr(0, key.size() - kValue.size());
        std::size_t const dot = key.rfind('.');
        if (isTests && dot < kTest.size())
            refuse(origin, "\"" + key + "\" names no parameter");
        if (isTests)
            tests = "*:" + key.substr(kTest.size(), dot - kTest.size());
        key = key.substr(isTests ? dot + 1 : kGlobal.size());
    } else if (key.find(':') != std::string::npos) {
        std::size_t const dot = key.rfind('.');
        if (dot == std::string::npos || dot < key.find(':'))
            refuse(origin, "\"" + key + "\" names no parameter; it is written MODULE:TEST.KEY=VALUE");
        tests = key.substr(0, dot);
        key = key.substr(dot + 1);
    }
    if (key.empty())
        refuse(origin, "there is no key in front of the \"=\"");
    return {tests, key, std::move(value), origin};
}

} // namespace

Setting settingOf(std::string const& text, std::string const& origin)
{
    std::size_t const equals = text.find('=');
    if (equals == std::string::npos)
        refuse(origin, "\"" + text + "\" is not written KEY=VALUE");
    return fromKey(text.substr(0, equals), text.substr(equals + 1), origin);
}

std::vector<Setting> readSettingsFile(std::string const& path)
{
    using State = zel::KeyTextFile::State;
    auto const file = zel::KeyTextFile::load(path, zel::FileSystem::Writers::AsProgram);
    for (zel::KeyTextFile::Issue const& issue : file.issues())
        throw zel::InvalidArgumentException("--settings: " + issue.toString());
    if (file.state() != State::Read)
        refuse("--settings", "there is no file \"" + path + "\"");
    std::vector<Setting> settings;
    for (String const& key : file.keys()) {
        auto const& entry = *file.find(key);
        settings.push_back(
            fromKey(key.toUtf8(), entry.m_text.toUtf8(), path + ":" + std::to_string(entry.m_line)));
    }
    return settings;
}

SettingsUse::SettingsUse(Catalog const& catalog, std::vector<Setting> const& settings)
    : m_catalog(catalog), m_settings(settings), m_tests(settings.size()), m_isUsed(settings.size(), false)
{
    for (std::size_t i = 0; i < settings.size(); ++i) {
        if (settings[i].tests.empty())
            continue;
        try {
            for (Catalog::Place const& place : chooseTests(m_catalog, settings[i].tests).tests)
                m_tests[i].push_back(place.test);
        } catch (zel::InvalidArgumentException const& error) {
            refuse(settings[i].origin, error.getMessage().toUtf8());
        }
    }
}

std::vector<std::pair<std::string, std::string>> SettingsUse::of(Catalog::Place const& place)
{
    std::vector<std::pair<std::string, std::string>> values;
    for (zel::ParameterImp const& parameter : place.test->record.parameters())
        m_knownKeys.push_back(parameter.key());
    for (std::size_t i = 0; i < m_settings.size(); ++i) {
        Setting const& setting = m_settings[i];
        bool const isMeant = m_tests[i].empty() ||
                             std::find(m_tests[i].begin(), m_tests[i].end(), place.test) != m_tests[i].end();
        zel::ParameterImp const* const parameter =
            isMeant ? place.test->record.parameter(String(setting.key)) : nullptr;
        if (!parameter)
            continue;
        zel::ParameterImp tried = *parameter;
        if (auto const error =
                tried.setValueText(String(setting.value), zel::ParameterSourceImp::SETTINGSFILE()))
            refuse(setting.origin, setting.key + "=" + setting.value + " for " +
                                       wordOf(*place.module, *place.test) + ": " + error->m_reason.toUtf8());
        m_isUsed[i] = true;
        std::erase_if(values, [&](auto const& one) { return one.first == setting.key; });
        values.emplace_back(setting.key, setting.value);
    }
    return values;
}

void SettingsUse::requireAllUsed() const
{
    for (std::size_t i = 0; i < m_settings.size(); ++i)
        if (!m_isUsed[i])
            refuse(m_settings[i].origin, "no test that is to run has a parameter \"" + m_settings[i].key +
                                             "\"" + hintFor(m_settings[i].key, m_knownKeys));
}

} // namespace engine
