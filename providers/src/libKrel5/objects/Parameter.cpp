#include <krel5/Parameter.h>

#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/Texts.h>

#include <krel5/ParameterNotSetException.h>
#include <krel5/ParameterNotValidException.h>

#include <zel/foundation/Logger.h>
#include <zel/model/runs/TestRunImp.h>
#include <zel/model/settings/ParameterImp.h>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& instance = zel::LogFactory::getLogger("krel5.Parameter");
    return instance;
}

} // namespace

struct ParameterInternalData
{
    ParameterInternalData()
        : ParameterInternalData(zel::ParameterImp("", "", zel::DataTypeImp(), "", false, false))
    {}
    explicit ParameterInternalData(zel::ParameterImp imp) : declaration(std::move(imp)) {}

    zel::ParameterImp const& inForce() const { return fromRun ? *fromRun : declaration; }

    zel::ParameterImp declaration;
    std::optional<zel::ParameterImp> fromRun;         // in force while it is there
    bool valid = false;                               // the current run has a parameter of this key
    mutable KrelString key, name, description, range; // what the accessors hand out
};

template class DataHolder<ParameterInternalData>;

Parameter::Parameter(KrelString const& key, KrelString const& defaultText, DataType const& type,
                     KrelString const& validRange, bool required, bool isGlobal)
    : m_holder(ParameterInternalData(zel::ParameterImp(checkedKey("Parameter", key).zelString(),
                                                       defaultText.zelString(), type.imp(),
                                                       validRange.zelString(), required, isGlobal)))
{}

Parameter::Parameter(Parameter const& other) = default;
Parameter& Parameter::operator=(Parameter const& other) = default;
Parameter::~Parameter() = default;

KrelString const& Parameter::key() const { return cached(data().key, imp().key()); }
KrelString const& Parameter::localizedName() const { return cached(data().name, imp().name().resolve()); }
KrelString const& Parameter::localizedDescription() const
{
    return cached(data().description, imp().description().resolve());
}
KrelString const& Parameter::validDataRange() const { return cached(data().range, imp().validDataRange()); }

DataType Parameter::type() const { return DataType(imp().type()); }
bool Parameter::isRequired() const { return imp().isRequired(); }
bool Parameter::isset() const { return imp().isSet(); }
ParameterSource Parameter::valueSource() const { return ParameterSource(imp().valueSource()); }

Value Parameter::value() const { return Value(imp().value()); }

bool Parameter::value(Value& out) const
{
    if (!data().valid || !imp().isSet())
        return false;
    out = value();
    return true;
}

KrelString Parameter::toString() const
{
    if (!data().valid)
        throw ParameterNotValidException(KrelString(imp().parentKey()), KrelString(imp().key()));
    if (!imp().isSet())
        throw ParameterNotSetException(KrelString(imp().parentKey()), KrelString(imp().key()));
    return KrelString(imp().value().toString());
}

bool Parameter::getFileGlobalSetting(Value& out) const
{
    return fileSetting(imp().globalSettingsKey(), imp().parentKey(), out);
}

bool Parameter::getFileSettingForParent(zel::String const& parentKey, Value& out) const
{
    return fileSetting(imp().settingsKeyForParent("Test", parentKey), parentKey, out) ||
           fileSetting(imp().settingsKeyForParent("Indicator", parentKey), parentKey, out);
}

bool Parameter::fileSetting(zel::String const& settingsKey, zel::String const& parentKey, Value& out) const
{
    auto const settings = imp().getSettingsResource();
    auto const* const entry = settings->find(settingsKey);
    if (!entry)
        return false;
    zel::ParameterImp copy = imp();
    if (auto const error = copy.setValueText(entry->m_text, zel::ParameterSourceImp::SETTINGSFILE())) {
        ZEL_LOG(logger(), zel::LogLevel::Error)
            << settings->error({settingsKey, entry}, error->m_reason).toString();
        throw ParameterNotValidException(KrelString(parentKey), KrelString(imp().key()));
    }
    out = Value(copy.value());
    return true;
}

void Parameter::resetForTestRun(zel::TestRunImp const& run)
{
    zel::TestImp const* const test = run.test();
    zel::DeviceImp const* const device = run.device();
    ZEL_LOG(logger(), zel::LogLevel::Trace) << "resetForTestRun: TR: " << run.toString()
                                            << " Test: " << (test ? test->guid() : zel::String("NULL"))
                                            << " Device: " << (device ? device->guid() : zel::String("NULL"));

    zel::ParameterImp const* const found = run.parameter(data().declaration.key());
    ParameterInternalData& record = data();
    record.valid = found != nullptr;
    if (found) {
        record.fromRun = *found;
        if (test)
            record.fromRun->setParent("Test", test->keyInModule());
    } else {
        record.fromRun.reset();
        if (test) // whoever asks for the value is told which test has none
            record.declaration.setParent("Test", test->keyInModule());
    }
    ZEL_LOG(logger(), zel::LogLevel::Trace)
        << "resetForTestRun: param: " << imp().key() << " TR: " << run.guid()
        << (record.valid ? " VALID" : " INVALID");
}

void Parameter::bindTo(zel::ParameterImp const& resolved)
{
    data().fromRun = resolved;
    data().valid = true;
}

zel::ParameterImp& Parameter::imp() { return data().fromRun ? *data().fromRun : data().declaration; }
zel::ParameterImp const& Parameter::imp() const { return data().inForce(); }
ParameterInternalData& Parameter::data() { return m_holder.data(); }
ParameterInternalData const& Parameter::data() const { return m_holder.data(); }

} // namespace krel5
